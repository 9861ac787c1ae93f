#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>

#include "colour/ColorMatrix.h"
#include "platform/icc/IccProfile.h"

namespace ombrel::Color {

// Keys "rXYZ", "gXYZ", "bXYZ", "wtpt": X, Y, Z each.
template <typename T>
using ColorantDictionary = std::map<std::string, std::array<T, 3>>;

namespace CIE {

// The colorants of an ICC profile: X, Y, Z of its red, green, blue and white tags, as the
// profile stores them (primaries adapted to D50).
template <typename T>
class XYZ {
public:
    // The main display.
    XYZ();
    explicit XYZ(unsigned int displayId);
    // Zero colorants for a null profile.
    explicit XYZ(const IccProfile* profile);
    XYZ(const XYZ& other);
    XYZ& operator=(const XYZ& other);
    virtual ~XYZ();

    Math::Vector3<T> GetColorantRed() const { return GetColorants().GetRow(0); }
    Math::Vector3<T> GetColorantGreen() const { return GetColorants().GetRow(1); }
    Math::Vector3<T> GetColorantBlue() const { return GetColorants().GetRow(2); }
    Math::Vector3<T> GetColorantWhitePoint() const { return GetColorants().GetRow(3); }
    const Matrix<T>& GetColorants() const;
    // Empty unless all four tags were read.
    const ColorantDictionary<T>& GetColorantDictionary() const;
    // How many of the four tags were read, in order.
    int GetColorantCount() const;

private:
    struct XYZStruct;
    std::unique_ptr<XYZStruct> xyz_;
};

}  // namespace CIE
}  // namespace ombrel::Color

#pragma once

#include <memory>

#include "colour/ColorMatrix.h"
#include "colour/Sync.h"
#include "colour/XYZ.h"

namespace ombrel::Color {

// A profile's colorants, their chromaticities and its gamma. The white row is the profile's
// "wtpt", not the sum of the primaries; both are D50-relative in an ICC profile.
template <typename T>
class Profile : public Sync {
public:
    // The main display.
    Profile();
    explicit Profile(unsigned int displayId);
    explicit Profile(const IccProfile* profile);
    Profile(const Profile& other);
    Profile& operator=(const Profile& other);
    ~Profile() override;

    T GetDisplayGamma() const;
    Math::Vector2<T> GetChromaticityRed() const;
    Math::Vector2<T> GetChromaticityGreen() const;
    Math::Vector2<T> GetChromaticityBlue() const;
    Math::Vector2<T> GetChromaticityWhitePoint() const;
    const Matrix<T>& GetColorants() const;
    const ColorantDictionary<T>& GetColorantDictionary() const;
    const CIE::XYZ<T>& GetXYZ() const;

private:
    struct ProfileStruct;
    void Setup();
    std::unique_ptr<ProfileStruct> profile_;
};

// The matrices from linear RGB to XYZ and back, of a profile's or of given chromaticities.
// Without usable chromaticities (no profile, a y of 0) both stay the identity.
template <typename T>
class Space : public Profile<T> {
public:
    Space();
    explicit Space(unsigned int displayId);
    explicit Space(const IccProfile* profile);
    // rx, ry, gx, gy, bx, by, wx, wy; the main display's profile stands behind.
    explicit Space(const T* chromaticities);
    Space(const Space& other);
    Space& operator=(const Space& other);
    ~Space() override;

    const Math::Matrix3<T>& GetCIEMatrix() const;
    const Math::Matrix3<T>& GetCIEMatrixInv() const;
    const Matrix<T>& GetChromaticityMatrix() const;
    Math::Vector3<T> GetScale() const;

private:
    struct SpaceStruct;
    void Create(const Matrix<T>& chromaticities);
    std::unique_ptr<SpaceStruct> space_;
};

}  // namespace ombrel::Color

#pragma once

#include <memory>

#include "colour/Matrix3.h"
#include "platform/icc/IccProfile.h"

namespace ombrel::Color {

// The Bradford cone matrix (any direction but -1) or its inverse (-1), as tabled to four
// decimals; the table's inverse is used, not a computed one.
template <typename T>
class BradfordAdaptation {
public:
    explicit BradfordAdaptation(int direction = 1);
    BradfordAdaptation(const BradfordAdaptation&) = default;
    BradfordAdaptation& operator=(const BradfordAdaptation&) = default;
    virtual ~BradfordAdaptation() = default;
    const Math::Matrix3<T>& GetBradfordAdaptation() const { return matrix_; }

private:
    Math::Matrix3<T> matrix_;
};

// D65 as this code adapts to it: chromaticity (0.312727, 0.329023), as XYZ with Y = 1. Made
// once.
template <typename T>
const Math::Vector3<T>& D65White();

// The ratio of the cone responses of D65 and of a display's or profile's white ("wtpt").
template <typename T>
class ConeResponseDomain {
public:
    // The main display.
    ConeResponseDomain();
    explicit ConeResponseDomain(unsigned int displayId);
    explicit ConeResponseDomain(const IccProfile* profile);
    // A white given as XYZ, as a working space's.
    explicit ConeResponseDomain(const Math::Vector3<T>& sourceWhite);
    ConeResponseDomain(const ConeResponseDomain& other);
    ConeResponseDomain& operator=(const ConeResponseDomain& other);
    virtual ~ConeResponseDomain();

    // Within 0.0001 of D65 in each of X, Y and Z.
    bool IsD65() const;
    Math::Vector3<T> GetSourceWhite() const;
    Math::Vector3<T> GetDestinationWhite() const;
    Math::Vector3<T> GetScaleVector() const;
    const Math::Matrix3<T>& GetScaleMatrix() const;

private:
    struct ConeResponseDomainStruct;
    void Setup(const Math::Vector3<T>& source);
    std::unique_ptr<ConeResponseDomainStruct> cone_;
};

// XYZ under the source white to XYZ under D65: B^-1 diag(scale) B, or exactly the identity
// when the white is D65 already. A zero white (no profile) has no finite result.
template <typename T>
class ChromaticAdaptation : public ConeResponseDomain<T> {
public:
    ChromaticAdaptation();
    explicit ChromaticAdaptation(unsigned int displayId);
    explicit ChromaticAdaptation(const IccProfile* profile);
    explicit ChromaticAdaptation(const Math::Vector3<T>& sourceWhite);
    const Math::Matrix3<T>& GetChromaticAdaptation() const { return adaptation_; }

private:
    void Compute();
    Math::Matrix3<T> adaptation_;
};

}  // namespace ombrel::Color

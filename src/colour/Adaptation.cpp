#include "colour/Adaptation.h"

#include <cmath>
#include <mutex>

#include "colour/MathFunctions.h"
#include "colour/XYZ.h"
#include "platform/icc/DisplayProfile.h"

namespace ombrel::Color {

template <typename T>
BradfordAdaptation<T>::BradfordAdaptation(int direction) {
    static const T kForward[9] = {T(0.8951), T(0.2664), T(-0.1614), T(-0.7502), T(1.7135),
                                  T(0.0367), T(0.0389), T(-0.0685), T(1.0296)};
    static const T kInverse[9] = {T(0.9870), T(-0.1471), T(0.1600), T(0.4323), T(0.5184),
                                  T(0.0493), T(-0.0085), T(0.0400), T(0.9685)};
    matrix_.SetMatrix(true, direction == -1 ? kInverse : kForward);
}

template <typename T>
const Math::Vector3<T>& D65White() {
    static Math::Vector3<T> white;
    static std::once_flag once;
    std::call_once(once, [] {
        // Not the working spaces' white (0.312713, 0.329016): they differ in the fifth digit.
        const T x = T(0.312727), y = T(0.329023);
        white = Math::Vector3<T>(x / y, T(1), (T(1) - x - y) / y);
    });
    return white;
}

template <typename T>
struct ConeResponseDomain<T>::ConeResponseDomainStruct {
    bool isD65 = false;
    Math::Vector3<T> source, destination, scale;
    Math::Matrix3<T> scaleMatrix;
};

template <typename T>
ConeResponseDomain<T>::ConeResponseDomain() : ConeResponseDomain(unsigned(kMainDisplayId)) {}

template <typename T>
ConeResponseDomain<T>::ConeResponseDomain(unsigned int displayId)
    : ConeResponseDomain(DisplayProfile(displayId).get()) {}

template <typename T>
ConeResponseDomain<T>::ConeResponseDomain(const IccProfile* profile) {
    Setup(CIE::XYZ<T>(profile).GetColorantWhitePoint());
}

template <typename T>
ConeResponseDomain<T>::ConeResponseDomain(const Math::Vector3<T>& sourceWhite) {
    Setup(sourceWhite);
}

template <typename T>
ConeResponseDomain<T>::ConeResponseDomain(const ConeResponseDomain& other)
    : cone_(std::make_unique<ConeResponseDomainStruct>(*other.cone_)) {}

template <typename T>
ConeResponseDomain<T>& ConeResponseDomain<T>::operator=(const ConeResponseDomain& other) {
    if (this != &other) cone_ = std::make_unique<ConeResponseDomainStruct>(*other.cone_);
    return *this;
}

template <typename T>
ConeResponseDomain<T>::~ConeResponseDomain() = default;

template <typename T>
void ConeResponseDomain<T>::Setup(const Math::Vector3<T>& source) {
    cone_ = std::make_unique<ConeResponseDomainStruct>();
    auto& c = *cone_;
    c.destination = D65White<T>();
    c.source = source;
    const Math::Vector3<T> off = Math::diff(c.source, c.destination);
    c.isD65 = off.x <= T(0.0001) && off.y <= T(0.0001) && off.z <= T(0.0001);
    if (c.isD65) {
        c.scale = Math::Vector3<T>(T(1));
    } else {
        const Math::Matrix3<T> b = BradfordAdaptation<T>().GetBradfordAdaptation();
        const Math::Vector3<T> to = b * c.destination, from = b * c.source;
        c.scale = Math::Vector3<T>(to.x / from.x, to.y / from.y, to.z / from.z);
    }
    c.scaleMatrix = Math::diag(c.scale);
}

template <typename T>
bool ConeResponseDomain<T>::IsD65() const {
    return cone_->isD65;
}
template <typename T>
Math::Vector3<T> ConeResponseDomain<T>::GetSourceWhite() const {
    return cone_->source;
}
template <typename T>
Math::Vector3<T> ConeResponseDomain<T>::GetDestinationWhite() const {
    return cone_->destination;
}
template <typename T>
Math::Vector3<T> ConeResponseDomain<T>::GetScaleVector() const {
    return cone_->scale;
}
template <typename T>
const Math::Matrix3<T>& ConeResponseDomain<T>::GetScaleMatrix() const {
    return cone_->scaleMatrix;
}

template <typename T>
ChromaticAdaptation<T>::ChromaticAdaptation() : ConeResponseDomain<T>() {
    Compute();
}
template <typename T>
ChromaticAdaptation<T>::ChromaticAdaptation(unsigned int displayId) : ConeResponseDomain<T>(displayId) {
    Compute();
}
template <typename T>
ChromaticAdaptation<T>::ChromaticAdaptation(const IccProfile* profile) : ConeResponseDomain<T>(profile) {
    Compute();
}
template <typename T>
ChromaticAdaptation<T>::ChromaticAdaptation(const Math::Vector3<T>& sourceWhite)
    : ConeResponseDomain<T>(sourceWhite) {
    Compute();
}

template <typename T>
void ChromaticAdaptation<T>::Compute() {
    const Math::Vector3<T> s = this->GetScaleVector();
    if (s.x == T(1) && s.y == T(1) && s.z == T(1)) {
        adaptation_ = Math::diag(Math::Vector3<T>(T(1)));
        return;
    }
    adaptation_ = BradfordAdaptation<T>(-1).GetBradfordAdaptation() * this->GetScaleMatrix() *
                  BradfordAdaptation<T>().GetBradfordAdaptation();
}

template class BradfordAdaptation<float>;
template class BradfordAdaptation<double>;
template const Math::Vector3<float>& D65White<float>();
template const Math::Vector3<double>& D65White<double>();
template class ConeResponseDomain<float>;
template class ConeResponseDomain<double>;
template class ChromaticAdaptation<float>;
template class ChromaticAdaptation<double>;

}  // namespace ombrel::Color

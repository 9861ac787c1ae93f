#include "colour/Profile.h"

#include <cmath>

#include "colour/MathFunctions.h"

namespace ombrel::Color {

template <typename T>
struct Profile<T>::ProfileStruct {
    Matrix<T> colorants;
    Math::Vector2<T> red, green, blue, white;
    T gamma = 0;
    ColorantDictionary<T> dictionary;
    std::unique_ptr<CIE::XYZ<T>> xyz;

    ProfileStruct() = default;
    ProfileStruct(const ProfileStruct& o)
        : colorants(o.colorants), red(o.red), green(o.green), blue(o.blue), white(o.white), gamma(o.gamma),
          dictionary(o.dictionary), xyz(std::make_unique<CIE::XYZ<T>>(*o.xyz)) {}
};

template <typename T>
Profile<T>::Profile() : Sync() {
    Setup();
}
template <typename T>
Profile<T>::Profile(unsigned int displayId) : Sync(displayId) {
    Setup();
}
template <typename T>
Profile<T>::Profile(const IccProfile* profile) : Sync(profile) {
    Setup();
}
template <typename T>
Profile<T>::Profile(const Profile& other) : Sync(other), profile_(std::make_unique<ProfileStruct>(*other.profile_)) {}

template <typename T>
Profile<T>& Profile<T>::operator=(const Profile& other) {
    if (this != &other) {
        Sync::operator=(other);
        profile_ = std::make_unique<ProfileStruct>(*other.profile_);
    }
    return *this;
}

template <typename T>
Profile<T>::~Profile() = default;

template <typename T>
void Profile<T>::Setup() {
    profile_ = std::make_unique<ProfileStruct>();
    const IccProfile* icc = GetProfileRef();
    profile_->xyz = std::make_unique<CIE::XYZ<T>>(icc);
    profile_->colorants = profile_->xyz->GetColorants();
    profile_->dictionary = profile_->xyz->GetColorantDictionary();
    profile_->gamma = icc ? T(icc->Gamma()) : T(0);
    Math::Vector2<T>* rows[4] = {&profile_->red, &profile_->green, &profile_->blue, &profile_->white};
    for (int i = 0; i < 4; ++i) {
        const Math::Vector3<T> c = profile_->colorants.GetRow(i);
        const T sum = c.x + c.y + c.z;
        *rows[i] = Math::Vector2<T>(c.x / sum, c.y / sum);
    }
}

template <typename T>
T Profile<T>::GetDisplayGamma() const {
    return profile_->gamma;
}
template <typename T>
Math::Vector2<T> Profile<T>::GetChromaticityRed() const {
    return profile_->red;
}
template <typename T>
Math::Vector2<T> Profile<T>::GetChromaticityGreen() const {
    return profile_->green;
}
template <typename T>
Math::Vector2<T> Profile<T>::GetChromaticityBlue() const {
    return profile_->blue;
}
template <typename T>
Math::Vector2<T> Profile<T>::GetChromaticityWhitePoint() const {
    return profile_->white;
}
template <typename T>
const Matrix<T>& Profile<T>::GetColorants() const {
    return profile_->colorants;
}
template <typename T>
const ColorantDictionary<T>& Profile<T>::GetColorantDictionary() const {
    return profile_->dictionary;
}
template <typename T>
const CIE::XYZ<T>& Profile<T>::GetXYZ() const {
    return *profile_->xyz;
}

template <typename T>
struct Space<T>::SpaceStruct {
    T scale[3] = {0, 0, 0};
    Math::Matrix3<T> cie = Identity(), cieInv = Identity();
    Matrix<T> chromaticities;
    const Profile<T>* profile = nullptr;

    static Math::Matrix3<T> Identity() { return Math::diag(Math::Vector3<T>(T(1))); }
};

template <typename T>
Space<T>::Space() : Profile<T>() {
    Create(Chromaticity<T>()(this->GetChromaticityRed(), this->GetChromaticityGreen(), this->GetChromaticityBlue(),
                             this->GetChromaticityWhitePoint()));
}
template <typename T>
Space<T>::Space(unsigned int displayId) : Profile<T>(displayId) {
    Create(Chromaticity<T>()(this->GetChromaticityRed(), this->GetChromaticityGreen(), this->GetChromaticityBlue(),
                             this->GetChromaticityWhitePoint()));
}
template <typename T>
Space<T>::Space(const IccProfile* profile) : Profile<T>(profile) {
    Create(Chromaticity<T>()(this->GetChromaticityRed(), this->GetChromaticityGreen(), this->GetChromaticityBlue(),
                             this->GetChromaticityWhitePoint()));
}
template <typename T>
Space<T>::Space(const T* chromaticities) : Profile<T>() {
    Create(Chromaticity<T>()(chromaticities));
}
template <typename T>
Space<T>::Space(const Space& other) : Profile<T>(other), space_(std::make_unique<SpaceStruct>(*other.space_)) {
    space_->profile = this;
}
template <typename T>
Space<T>& Space<T>::operator=(const Space& other) {
    if (this != &other) {
        Profile<T>::operator=(other);
        space_ = std::make_unique<SpaceStruct>(*other.space_);
        space_->profile = this;
    }
    return *this;
}
template <typename T>
Space<T>::~Space() = default;

template <typename T>
void Space<T>::Create(const Matrix<T>& c) {
    space_ = std::make_unique<SpaceStruct>();
    space_->chromaticities = c;
    space_->profile = this;
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k)
            if (!std::isfinite(c(i, k))) return;
    for (int i = 0; i < 4; ++i)
        if (c(i, 1) == 0) return;
    // M: a primary's (x/y, 1, z/y) a row.
    Math::Matrix3<T> m;
    for (int i = 0; i < 3; ++i) m.SetRow(i, Math::Vector3<T>(c(i, 0) / c(i, 1), 1, c(i, 2) / c(i, 1)));
    if (std::abs(Math::det(m)) < m.GetTolerance()) return;
    const Math::Matrix3<T> n = Math::inv(m);
    const Math::Vector3<T> white(c(3, 0) / c(3, 1), 1, c(3, 2) / c(3, 1));
    // The scales solve (primaries as columns) s = white, so s = N^T white: a column of N per
    // primary. A row of N, s[i] = N(i,0) Xw + N(i,1) + N(i,2) Zw, gives no white for BT.709.
    Math::Matrix3<T> cie;
    for (int i = 0; i < 3; ++i) {
        space_->scale[i] = n(0, i) * white.x + n(1, i) * white.y + n(2, i) * white.z;
        cie.SetRow(i, m[i] * space_->scale[i]);
    }
    space_->cie = Math::tr(cie);
    space_->cieInv = Math::inv(space_->cie);
}

template <typename T>
const Math::Matrix3<T>& Space<T>::GetCIEMatrix() const {
    return space_->cie;
}
template <typename T>
const Math::Matrix3<T>& Space<T>::GetCIEMatrixInv() const {
    return space_->cieInv;
}
template <typename T>
const Matrix<T>& Space<T>::GetChromaticityMatrix() const {
    return space_->chromaticities;
}
template <typename T>
Math::Vector3<T> Space<T>::GetScale() const {
    return Math::Vector3<T>(space_->scale);
}

template class Profile<float>;
template class Profile<double>;
template class Space<float>;
template class Space<double>;

}  // namespace ombrel::Color

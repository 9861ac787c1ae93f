#include "colour/XYZ.h"

#include <vector>

#include "platform/icc/DisplayProfile.h"

namespace ombrel::Color::CIE {

template <typename T>
struct XYZ<T>::XYZStruct {
    Matrix<T> colorants;
    ColorantDictionary<T> dictionary;
    int count = 0;
};

namespace {

// Big-endian 16.16 fixed point, taken as unsigned as the profile's reader always has.
template <typename T>
T Fixed(const std::vector<uint8_t>& b, size_t at) {
    const uint32_t n = uint32_t(b[at]) << 24 | uint32_t(b[at + 1]) << 16 | uint32_t(b[at + 2]) << 8 | b[at + 3];
    return T(double(n) / 65536.0);
}

}  // namespace

template <typename T>
XYZ<T>::XYZ() : XYZ(unsigned(kMainDisplayId)) {}

template <typename T>
XYZ<T>::XYZ(unsigned int displayId) : XYZ(DisplayProfile(displayId).get()) {}

template <typename T>
XYZ<T>::XYZ(const IccProfile* profile) : xyz_(std::make_unique<XYZStruct>()) {
    if (!profile) return;
    static const char* const kTags[4] = {"rXYZ", "gXYZ", "bXYZ", "wtpt"};
    ColorantDictionary<T> dictionary;
    for (int i = 0; i < 4; ++i) {
        std::vector<uint8_t> bytes;
        if (!profile->RawTag(kTags[i], &bytes) || bytes.size() < 20 || std::string(bytes.begin(), bytes.begin() + 4) != "XYZ ")
            break;
        const Math::Vector3<T> v(Fixed<T>(bytes, 8), Fixed<T>(bytes, 12), Fixed<T>(bytes, 16));
        xyz_->colorants.SetRow(i, v);
        dictionary[kTags[i]] = {v.x, v.y, v.z};
        xyz_->count = i + 1;
    }
    if (xyz_->count == 4) xyz_->dictionary = std::move(dictionary);
}

template <typename T>
XYZ<T>::XYZ(const XYZ& other) : xyz_(std::make_unique<XYZStruct>(*other.xyz_)) {}

template <typename T>
XYZ<T>& XYZ<T>::operator=(const XYZ& other) {
    if (this != &other) xyz_ = std::make_unique<XYZStruct>(*other.xyz_);
    return *this;
}

template <typename T>
XYZ<T>::~XYZ() = default;

template <typename T>
const Matrix<T>& XYZ<T>::GetColorants() const {
    return xyz_->colorants;
}
template <typename T>
const ColorantDictionary<T>& XYZ<T>::GetColorantDictionary() const {
    return xyz_->dictionary;
}
template <typename T>
int XYZ<T>::GetColorantCount() const {
    return xyz_->count;
}

template class XYZ<float>;
template class XYZ<double>;

}  // namespace ombrel::Color::CIE

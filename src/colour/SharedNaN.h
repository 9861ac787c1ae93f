#pragma once

#include <limits>
#include <mutex>

namespace ombrel::Math {

// What an index outside a matrix gives: one value per element type, set to NaN once, so that a
// caller who keeps going computes NaN instead of reading beyond the storage.
template <typename T>
T& SharedNaN() {
    static T value{};
    static std::once_flag once;
    std::call_once(once, [] { value = std::numeric_limits<T>::quiet_NaN(); });
    return value;
}

}  // namespace ombrel::Math

// The element types the system holds; instantiating them here compiles every member once.
#include "colour/MathFunctions.h"

namespace ombrel::Math {

template struct Vector2<float>;
template struct Vector2<double>;
template struct Vector3<float>;
template struct Vector3<double>;
template struct Quaternion<float>;
template struct Quaternion<double>;
template class Matrix3<float>;
template class Matrix3<double>;

}  // namespace ombrel::Math

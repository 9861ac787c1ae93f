#pragma once

#include <iostream>

#include "colour/Vector.h"

namespace ombrel::Color {

// The chromaticities of a standard space: 1 and 2 are two wider-green sets, anything else
// BT.709; all with the white (0.312713, 0.329016).
template <typename T>
class WorkingSpace {
public:
    explicit WorkingSpace(unsigned long which) {
        const T common[8] = {T(0.64), T(0.33), T(0.30), T(0.60), T(0.15), T(0.06), T(0.312713), T(0.329016)};
        for (int i = 0; i < 8; ++i) space_[i] = common[i];
        if (which == 1 || which == 2) {
            space_[0] = which == 1 ? T(0.625) : T(0.63);
            space_[1] = T(0.34);
            space_[2] = which == 1 ? T(0.28) : T(0.31);
            space_[3] = T(0.595);
            space_[4] = T(0.155);
            space_[5] = T(0.07);
        }
    }
    WorkingSpace(const WorkingSpace&) = default;
    WorkingSpace& operator=(const WorkingSpace&) = default;
    virtual ~WorkingSpace() = default;

    Math::Vector2<T> GetWorkingSpaceRed() const { return Math::Vector2<T>(space_); }
    Math::Vector2<T> GetWorkingSpaceGreen() const { return Math::Vector2<T>(space_ + 2); }
    Math::Vector2<T> GetWorkingSpaceBlue() const { return Math::Vector2<T>(space_ + 4); }
    Math::Vector2<T> GetWorkingSpaceWhitePoint() const { return Math::Vector2<T>(space_ + 6); }
    // rx, ry, gx, gy, bx, by, wx, wy.
    const T* GetWorkingSpace() const { return space_; }

    // Rows red, green, blue, white; columns x, y.
    T operator()(int row, int column) const {
        if (row < 0 || row > 3) return OutOfBounds("Row", row);
        if (column < 0 || column > 1) return OutOfBounds("Column", column);
        return space_[2 * row + column];
    }

private:
    static T OutOfBounds(const char* what, int index) {
        std::cerr << ">> ERROR: Core Color - Working Space - WorkingSpace - " << what << " index " << index
                  << " is outside the " << (what[0] == 'R' ? "row" : "column") << " bounds of this matrix!"
                  << std::endl;
        return Math::SharedNaN<T>();
    }

    T space_[8];
};

}  // namespace ombrel::Color

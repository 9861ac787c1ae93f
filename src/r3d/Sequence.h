#pragma once

#include <cstdint>
#include <string>

namespace ombrel::r3d {

// The numbered name of one file of a clip: the run of digits right before the last dot (or at
// the end when there is no dot, or it stands before the third character).
class Sequence {
public:
    explicit Sequence(const std::string& path);

    bool IsNumbered() const { return width_ > 0; }
    int64_t Number() const { return number_; }
    int Width() const { return width_; }
    // 10 to the width, minus 1.
    int64_t Largest() const { return largest_; }
    // The path with the number replaced, written with leading zeros to the width.
    std::string PathForNumber(int64_t number) const;

private:
    std::string prefix_;
    std::string suffix_;
    int64_t number_ = 0;
    int width_ = 0;
    int64_t largest_ = 0;
};

}  // namespace ombrel::r3d

#include "r3d/Sequence.h"

#include <fmt/format.h>

namespace ombrel::r3d {

namespace {
// Numbers wider than this are not chunk numbers we can count.
constexpr int kMaxWidth = 18;
}  // namespace

Sequence::Sequence(const std::string& path) {
    const size_t dot = path.rfind('.');
    const size_t end = (dot == std::string::npos || dot < 2) ? path.size() : dot;
    size_t begin = end;
    while (begin > 0 && path[begin - 1] >= '0' && path[begin - 1] <= '9') --begin;
    const int width = static_cast<int>(end - begin);
    if (width == 0 || width > kMaxWidth) {
        prefix_ = path;
        return;
    }
    prefix_ = path.substr(0, begin);
    suffix_ = path.substr(end);
    width_ = width;
    number_ = std::stoll(path.substr(begin, end - begin));
    largest_ = 1;
    for (int i = 0; i < width; ++i) largest_ *= 10;
    largest_ -= 1;
}

std::string Sequence::PathForNumber(int64_t number) const {
    if (!IsNumbered()) return prefix_;
    return prefix_ + fmt::format("{:0{}}", number, width_) + suffix_;
}

}  // namespace ombrel::r3d

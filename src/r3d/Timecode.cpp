#include "r3d/Timecode.h"

#include <fmt/format.h>

namespace ombrel::r3d {

namespace {
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
unsigned Two(const std::string& t, size_t at) { return unsigned(t[at] - '0') * 10 + unsigned(t[at + 1] - '0'); }
}  // namespace

bool Timecode::IsValidText(const std::string& t, int base, bool firstGeneration) {
    if (t.size() != 11) return false;
    for (size_t at : {0, 3, 6, 9})
        if (!IsDigit(t[at]) || !IsDigit(t[at + 1])) return false;
    const char third = t[8];
    const bool sepOk = third == ':' || (third == '.' && base > 30) || (third == ';' && firstGeneration && base <= 30);
    if (!sepOk) return false;
    if (firstGeneration && (t[2] != third || t[5] != third)) return false;
    return true;
}

bool Timecode::SetTimecode(const std::string& text, int base, bool firstGeneration) {
    if (base < 1 || base > 98 || (base > 30 && base % 2 != 0)) return false;
    valid_ = IsValidText(text, base, firstGeneration);
    text_ = valid_ ? text : std::string(kFallback);
    base_ = base;
    hours_ = Two(text_, 0) % 24;
    minutes_ = Two(text_, 3) % 60;
    seconds_ = Two(text_, 6) % 60;
    frames_ = Two(text_, 9) % unsigned(base);
    countStart_ = (text_[8] == ':' && base > 30 && !firstGeneration) ? 1 : 0;
    return true;
}

std::string Timecode::CalculateNewTC(uint64_t n) const {
    if (base_ <= 0) return {};
    const uint64_t count = n + countStart_;
    uint64_t steps = count;
    uint64_t base = static_cast<uint64_t>(base_);
    if (base_ > 30) {
        steps /= 2;
        base /= 2;
    }
    uint64_t f = frames_ + steps;
    uint64_t s = seconds_ + f / base;
    f %= base;
    uint64_t m = minutes_ + s / 60;
    s %= 60;
    uint64_t h = (hours_ + m / 60) % 24;
    m %= 60;
    if (base_ > 30 && count % 2 == 0) return fmt::format("{:02}.{:02}.{:02}.{:02}", h, m, s, f);
    return fmt::format("{:02}:{:02}:{:02}:{:02}", h, m, s, f);
}

}  // namespace ombrel::r3d

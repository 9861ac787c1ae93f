#pragma once

#include <cstdint>
#include <string>

namespace ombrel::r3d {

// A clip's start timecode and the timecode of any frame behind it.
class Timecode {
public:
    static constexpr const char* kFallback = "01:00:00:00";

    // Takes an eleven-character text "HH:MM:SS:FF", a base (the frame rate rounded to an
    // integer) and whether the clip is of the first generation. False, and nothing changes,
    // for a base outside 1 to 98 or an odd base above 30. An invalid text counts as
    // "01:00:00:00".
    bool SetTimecode(const std::string& text, int base, bool firstGeneration);

    // The text of frame n behind the start. Above 30 frames per second two frames share a
    // timecode step, and the one of even count has "." between its fields.
    std::string CalculateNewTC(uint64_t n) const;

    bool IsSet() const { return base_ > 0; }
    bool TextWasValid() const { return valid_; }
    // The text as it goes to the metadata: the given one, or the fallback.
    const std::string& Text() const { return text_; }
    int Base() const { return base_; }

    static bool IsValidText(const std::string& text, int base, bool firstGeneration);

private:
    std::string text_;
    int base_ = 0;
    bool valid_ = false;
    unsigned hours_ = 0, minutes_ = 0, seconds_ = 0, frames_ = 0;
    unsigned countStart_ = 0;
};

}  // namespace ombrel::r3d

#include "library/FileParser.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <string>
#include <tuple>

namespace ombrel {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr uint32_t kLast = std::numeric_limits<uint32_t>::max();

// Fields may run past two digits, so split at the colons: hours, minutes, seconds, frames.
std::array<long, 4> Split(const std::string& tc) {
    std::array<long, 4> f{};
    size_t at = 0;
    for (long& v : f) {
        v = std::atol(tc.c_str() + at);
        at = tc.find(':', at) + 1;
    }
    return f;
}

// Frames to text: 29.97 counts real seconds (86400 frames are 2882 whole seconds, and 86400 less
// 2882 x 29.97 cut to 86373 leaves 27 frames); 23 up to 24 counts as 24; at 59.94 the last frame
// of some seconds reads 60; hours run on past a day; rates that count nothing give zero.
TEST(Timecode, FramesToText) {
    using Row = std::tuple<uint32_t, float, const char*>;
    const Row rows[] = {
        {86400, 24.0f, "01:00:00:00"}, {86400, 23.976f, "01:00:00:00"}, {0, 25.0f, "00:00:00:00"},
        {90061, 25.0f, "01:00:02:11"}, {109831, 30.0f, "01:01:01:01"},  {86400, 29.97f, "00:48:02:27"},
        {30, 29.97f, "00:00:01:01"},   {119, 59.94f, "00:00:01:60"},    {8640000, 24.0f, "100:00:00:00"},
        {24, 23.0f, "00:00:01:00"},    {24, 23.5f, "00:00:01:00"},      {24, 23.999f, "00:00:01:00"},
        {0, 0.0f, "00:00:00:00"},      {86400, 0.0f, "00:00:00:00"},    {kLast, 0.0f, "00:00:00:00"},
        {1, -24.0f, "00:00:00:00"},    {kLast, -24.0f, "00:00:00:00"},  {86400, kInf, "00:00:00:00"},
        {kLast, kInf, "00:00:00:00"}};
    for (const auto& [frame, rate, text] : rows) {
        EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(frame, rate), text) << frame << " at " << rate;
    }
    // The largest frame number still gives whole fields at any rate.
    for (float r : {24.0f, 29.97f, 0.001f}) {
        const auto f = Split(FileParser::GetStringOfTimecodeFPS(kLast, r));
        EXPECT_TRUE(f[1] < 60 && f[2] < 60) << r;
    }
}

// Text to frames: anything strictly between 29 and 30 counts as 30, 23 up to 24 as 24; any
// separator will do and what is no number reads as 0, field by field; short text and rates that
// count nothing give frame 0.
TEST(Timecode, TextToFrames) {
    using Row = std::tuple<const char*, float, int32_t>;
    const Row rows[] = {
        {"01:00:00:00", 24.0f, 86400},  {"01:00:00:00", 23.976f, 86400}, {"01:00:00:00", 29.97f, 108000},
        {"01:00:00:00", 30.0f, 108000}, {"00:01:02:03", 25.0f, 1553},    {"10:00:00:00", 50.0f, 1800000},
        {"00:00:01:01", 29.97f, 31},    {"01:00:00:00", 59.94f, 215784}, {"00:00:01:00", 23.0f, 24},
        {"00:00:01:00", 23.999f, 24},   {"00:00:01:00", 22.99f, 22},     {"00:00:01:00", 29.5f, 30},
        {"00:00:01:00", 29.0f, 29},     {"01:00:00:00", 0.0f, 0},        {"01:00:00:00", kNaN, 0},
        {"99:00:00:00", 1e30f, 0}};
    for (const auto& [text, rate, frame] : rows) {
        EXPECT_EQ(FileParser::GetIntOfTimecodeFPS(text, rate), frame) << text << " at " << rate;
    }
    using Text = std::pair<const char*, int32_t>;
    const Text texts[] = {{"01:02:03:04", 89356}, {"01:02:03;04", 89356}, {"01.02.03.04", 89356},
                          {"01;02;03;04", 89356}, {"01x02x03x04", 89356}, {"01:02:03:04~", 89356},
                          {"xx:01:00:00", 1440},  {"01:00:00:ab", 86400}, {"1a:00:00:05", 86405},
                          {"--:--:--:--", 0},     {"01:00:00:0", 0},      {"01:00:00", 0}};
    for (const auto& [text, frame] : texts) EXPECT_EQ(FileParser::GetIntOfTimecodeFPS(text, 24.0f), frame) << text;
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("", 24.0f), 0);
}

// Every frame of the first hour, then every 11th to the end of the day. Text at 29.97 counts
// real seconds while parsing counts 30, so what parses at 29.97 is 30-frame text. At 59.94 the
// parse sums single-precision products and cuts, so a frame may come back one off, never more.
TEST(Timecode, TextRoundTripsOverADay) {
    const struct {
        float textRate, parseRate;
        uint32_t day;
        long lastFrame, slack;
    } rows[] = {{23.976f, 23.976f, 2073600, 23, 0}, {24, 24, 2073600, 23, 0}, {25, 25, 2160000, 24, 0},
                {30, 30, 2592000, 29, 0},           {50, 50, 4320000, 49, 0}, {48, 48, 4147200, 47, 0},
                {60, 60, 5184000, 59, 0},           {23, 23, 2073600, 23, 0}, {30, 29.97f, 2592000, 29, 0},
                {59.94f, 59.94f, 5178816, 60, 1}};
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << r.textRate << " read at " << r.parseRate);
        long exact = 0, seen = 0;
        for (uint32_t f = 0; f < r.day; f += (f < r.day / 24 ? 1 : 11)) {
            const std::string tc = FileParser::GetStringOfTimecodeFPS(f, r.textRate);
            const long back = FileParser::GetIntOfTimecodeFPS(tc, r.parseRate);
            ASSERT_LE(std::labs(back - static_cast<long>(f)), r.slack) << tc << " for " << f;
            exact += back == static_cast<long>(f);
            ++seen;
            const auto x = Split(tc);
            ASSERT_TRUE(tc.size() == 11 && x[0] < 24 && x[1] < 60 && x[2] < 60 && x[3] <= r.lastFrame) << tc;
        }
        EXPECT_GT(exact, seen * 9 / 10);
        if (r.slack == 0) {
            EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(r.day, r.textRate).substr(0, 9), "24:00:00:");
        }
    }
}

TEST(Timecode, GetTimecodeTakesElevenCharactersAtMost) {
    EXPECT_EQ(FileParser::GetTimecode("01:02:03:04garbage"), "01:02:03:04");
    EXPECT_EQ(FileParser::GetTimecode("01:02"), "01:02");
    EXPECT_EQ(FileParser::GetTimecode(nullptr), "");
    const char raw[11] = {'1', '0', ':', '0', '0', ':', '0', '0', ':', '1', '2'};  // no terminator
    EXPECT_EQ(FileParser::GetTimecode(raw), "10:00:00:12");
}

}  // namespace
}  // namespace ombrel

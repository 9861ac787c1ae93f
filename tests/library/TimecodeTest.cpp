#include "library/FileParser.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

namespace ombrel {
namespace {

struct Fields {
    long hours, minutes, seconds, frames;
};

Fields Split(const std::string& tc) {
    // Fields may run past two digits, so split at the colons.
    const size_t a = tc.find(':'), b = tc.find(':', a + 1), c = tc.find(':', b + 1);
    return {std::atol(tc.substr(0, a).c_str()), std::atol(tc.substr(a + 1, b - a - 1).c_str()),
            std::atol(tc.substr(b + 1, c - b - 1).c_str()), std::atol(tc.substr(c + 1).c_str())};
}

uint32_t FramesInADay(float rate) { return static_cast<uint32_t>(std::ceil(static_cast<double>(rate) * 86400.0)); }

// Every frame of the first hour, then every 11th to the end of the day: each field
// boundary is met early and the sweep still reaches the large numbers.
template <typename Fn>
void ForFramesOfADay(uint32_t day, Fn fn) {
    const uint32_t hour = day / 24;
    for (uint32_t f = 0; f < day; f += (f < hour ? 1 : 11)) fn(f);
}

TEST(Timecode, WorkedExamples) {
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(86400, 24.0f), "01:00:00:00");
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(86400, 23.976f), "01:00:00:00");
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(0, 25.0f), "00:00:00:00");
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(90061, 25.0f), "01:00:02:11");
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(108000 + 1800 + 31, 30.0f), "01:01:01:01");
    // 29.97 counts real seconds: 86400 frames are 2882 whole seconds, and 86400 less
    // 2882 x 29.97 cut to 86373 leaves 27 frames.
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(86400, 29.97f), "00:48:02:27");
    // A day is no limit: hours run on past two digits.
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(24u * 3600u * 100u, 24.0f), "100:00:00:00");

    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:00", 24.0f), 86400);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:00", 23.976f), 86400);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:00", 29.97f), 108000);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:00", 30.0f), 108000);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("00:01:02:03", 25.0f), 1553);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("10:00:00:00", 50.0f), 1800000);
}

TEST(Timecode, RateCorrectionsDifferBetweenTheTwoDirections) {
    // 23.0 up to 24.0 counts as 24 both ways; 24.0 itself is exact.
    for (float r : {23.0f, 23.5f, 23.976f, 23.999f}) {
        EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("00:00:01:00", r), 24) << r;
        EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(24, r), "00:00:01:00") << r;
    }
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("00:00:01:00", 22.99f), 22);
    // Parsing counts anything strictly between 29 and 30 as 30; 29 itself stays.
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("00:00:01:00", 29.5f), 30);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("00:00:01:00", 29.0f), 29);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("00:00:01:00", 30.0f), 30);
}

TEST(Timecode, At2997TextCountsRealSecondsWhileParsingCountsThirtySoTheyAreNoInverse) {
    const float r = 29.97f;
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(30, r), "00:00:01:01");
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("00:00:01:01", r), 31);
    // What parses at 29.97 is 30-frame text: that pair does round trip over a day.
    const uint32_t day = FramesInADay(30.0f);
    for (uint32_t f = 0; f < day; f += 7) {
        ASSERT_EQ(FileParser::GetIntOfTimecodeFPS(FileParser::GetStringOfTimecodeFPS(f, 30.0f), r),
                  static_cast<int32_t>(f))
            << f;
    }
}

TEST(Timecode, TextRoundTripsOverADayAtWholeAndNominalRates) {
    for (float r : {23.976f, 24.0f, 25.0f, 30.0f, 50.0f, 48.0f, 60.0f, 23.0f}) {
        // 23.976 footage carries 24-frame timecode, so its day is one of 24 frames a second.
        const float nominal = r < 24.0f ? 24.0f : r;
        const uint32_t day = FramesInADay(nominal);
        const long perSecond = static_cast<long>(nominal);
        ForFramesOfADay(day, [&](uint32_t f) {
            const std::string tc = FileParser::GetStringOfTimecodeFPS(f, r);
            ASSERT_EQ(tc.size(), 11u) << r << " " << f;
            ASSERT_EQ(FileParser::GetIntOfTimecodeFPS(tc, r), static_cast<int32_t>(f)) << r << " " << tc;
            if (f % 97 != 0) return;
            const Fields x = Split(tc);
            ASSERT_LT(x.hours, 24) << tc;
            ASSERT_LT(x.minutes, 60) << tc;
            ASSERT_LT(x.seconds, 60) << tc;
            ASSERT_LT(x.frames, perSecond) << tc;
        });
        EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(day, r).substr(0, 9), "24:00:00:") << r;
    }
}

TEST(Timecode, At5994SinglePrecisionTruncationKeepsRoundTripsWithinOneFrameAndFramesMayReadSixty) {
    // Parsing adds hours, minutes and seconds in separate float products and cuts the sum,
    // so a frame can come back one off; it never drifts further. Text cuts each second's
    // start to a whole frame, so the last frame of some seconds reads 60.
    const float r = 59.94f;
    const uint32_t day = FramesInADay(r);
    long exact = 0, seen = 0;
    ForFramesOfADay(day, [&](uint32_t f) {
        const std::string tc = FileParser::GetStringOfTimecodeFPS(f, r);
        const long back = FileParser::GetIntOfTimecodeFPS(tc, r);
        ASSERT_LE(std::labs(back - static_cast<long>(f)), 1) << tc;
        exact += back == static_cast<long>(f);
        ++seen;
        const Fields x = Split(tc);
        ASSERT_LT(x.seconds, 60) << tc;
        ASSERT_LE(x.frames, 60) << tc;
    });
    EXPECT_GT(exact, seen * 9 / 10);
    EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(119, r), "00:00:01:60");
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:00", r), 215784);
}

TEST(Timecode, ForgivingParseOfShortOddOrSeparatedText) {
    for (const char* tc : {"01:02:03:04", "01:02:03;04", "01.02.03.04", "01;02;03;04", "01x02x03x04"}) {
        EXPECT_EQ(FileParser::GetIntOfTimecodeFPS(tc, 24.0f), 86400 + 2880 + 72 + 4) << tc;
    }
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:02:03:04 trailing", 24.0f), 89356);
    for (const char* tc : {"", "01:00:00", "01:00:00:0"}) {
        EXPECT_EQ(FileParser::GetIntOfTimecodeFPS(tc, 24.0f), 0) << tc;
    }
    // What is no number reads as 0, field by field.
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("xx:01:00:00", 24.0f), 1440);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:ab", 24.0f), 86400);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("1a:00:00:05", 24.0f), 86405);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("??:??:??:??", 24.0f), 0);
    // A rate that counts nothing gives frame 0 rather than garbage.
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:00", 0.0f), 0);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("01:00:00:00", std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(FileParser::GetIntOfTimecodeFPS("99:00:00:00", 1e30f), 0);
}

TEST(Timecode, RatesThatCountNothingGiveZeroTimecode) {
    for (uint32_t f : {0u, 1u, 86400u, std::numeric_limits<uint32_t>::max()}) {
        EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(f, 0.0f), "00:00:00:00") << f;
        EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(f, -24.0f), "00:00:00:00") << f;
        EXPECT_EQ(FileParser::GetStringOfTimecodeFPS(f, std::numeric_limits<float>::infinity()), "00:00:00:00");
    }
    // The largest frame number still gives whole fields at any rate.
    for (float r : {24.0f, 29.97f, 0.001f}) {
        const std::string tc = FileParser::GetStringOfTimecodeFPS(std::numeric_limits<uint32_t>::max(), r);
        const Fields x = Split(tc);
        EXPECT_LT(x.minutes, 60) << tc;
        EXPECT_LT(x.seconds, 60) << tc;
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

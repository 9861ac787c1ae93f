// Movie sources rendered to movies: the output keeps the source's exact rate, and the source's
// sound goes in for the frames rendered, linear PCM cut at the sample, other codecs at packets.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "CliSupport.h"
#include "support/Movies.h"

namespace ombrel {
namespace {

using namespace clitest;

struct SoundRow {
    const char* name;
    const char* picture;  // 30 frames of a test pattern
    const char* source;   // the container by its extension
    const char* codec;    // of the source's sound
    const char* frames;   // --frames; empty: all 30
    const char* video;    // the output's rate, and its time base: the source's time scale
    int64_t first;        // the part of the source's sound that the output holds, at 48 kHz
    int64_t samples;
};

const SoundRow kSoundRows[] = {
    {"PcmWholeAt23976", "rate=24000/1001:duration=1.23", "a.mov", "pcm_s16le", "", "24000/1001|time_base=1/24000", 0,
     60060},
    {"PcmPartAt23976", "rate=24000/1001:duration=1.23", "a.mov", "pcm_s16le", "--frames 3-26",
     "24000/1001|time_base=1/24000", 6006, 48048},
    {"PcmPartAt2997", "rate=30000/1001:duration=0.98", "a.mov", "pcm_s24le", "--frames 1-2",
     "30000/1001|time_base=1/30000", 1602, 3203},
    {"AacPartAt25", "rate=25:duration=1.18", "a.mp4", "aac", "--frames 5-14", "25/1|time_base=1/12800", 9600, 19200},
};

void PrintTo(const SoundRow& r, std::ostream* os) { *os << r.name; }

class MovieSoundCli : public ::testing::TestWithParam<SoundRow> {};

std::vector<std::string> PacketHashes(const std::string& path) {
    std::istringstream in(
        test::Probe("-select_streams a -show_packets -show_data_hash md5 -show_entries packet=data_hash", path));
    std::vector<std::string> hashes;
    for (std::string line; std::getline(in, line);)
        if (const size_t at = line.find("data_hash="); at != std::string::npos) hashes.push_back(line.substr(at));
    return hashes;
}

TEST_P(MovieSoundCli, TheMovieKeepsTheRateAndTheSoundOfTheFramesRendered) {
    const SoundRow& row = GetParam();
    test::TempDir dir;
    const std::string source = dir / row.source;
    // Two channels that differ and never repeat, so that a shift or a swap shows.
    // (A frame count, -frames:v, would end the sound with the pictures' encoding.)
    ASSERT_TRUE(
        test::MakeMovie("-f lavfi -i 'aevalsrc=sin(n*n/1e7)|0.5*cos(n/40):s=48000:d=2' -f lavfi -i "
                        "testsrc=size=64x48:" +
                            std::string(row.picture) + " -c:v libx264 -c:a " + row.codec,
                        source));
    const auto r = Ombrel("render --format mov " + std::string(row.frames) + " --out " + Quoted(dir / "out") + " " +
                          Quoted(source));
    ASSERT_EQ(r.status, 0) << r.output;
    const std::string movie = dir / "out/a.mov";
    EXPECT_EQ(test::Probe("-select_streams v -show_entries stream=time_base,avg_frame_rate", movie),
              std::string("avg_frame_rate=") + row.video + "\n");
    if (std::string(row.codec) != "aac") {
        EXPECT_EQ(test::Probe("-select_streams a -show_entries stream=duration_ts", movie),
                  "duration_ts=" + std::to_string(row.samples) + "\n");
        const int bytes = std::string(row.codec) == "pcm_s24le" ? 6 : 4;
        const auto pcm = test::RunShell(
            "ffmpeg -v error -i '" + movie + "' -map 0:a -c copy -f data - | md5sum; ffmpeg -v error -i '" + source +
            "' -map 0:a -c copy -f data - 2>/dev/null | tail -c +" + std::to_string(row.first * bytes + 1) +
            " | head -c " + std::to_string(row.samples * bytes) + " | md5sum");
        EXPECT_EQ(pcm.output.substr(0, 32), pcm.output.substr(pcm.output.find('\n') + 1, 32)) << pcm.output;
        return;
    }
    // Whole packets of 1024 samples, one after another as in the source, that cover the part.
    const auto out = PacketHashes(movie), all = PacketHashes(source);
    ASSERT_GE(out.size() * 1024, size_t(row.samples));
    EXPECT_LE(out.size() * 1024, size_t(row.samples + 2048));
    EXPECT_NE(std::search(all.begin(), all.end(), out.begin(), out.end()), all.end());
}

INSTANTIATE_TEST_SUITE_P(Sources, MovieSoundCli, ::testing::ValuesIn(kSoundRows),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace ombrel

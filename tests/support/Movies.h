#pragma once

// Small real movies made with the ffmpeg command line, for tests that need FFmpeg to
// meet the genuine article.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "support/Shell.h"
#include "support/TempDir.h"

namespace ombrel::test {

// Runs ffmpeg with the given arguments and writes `out`. Fails the test when it does not.
inline bool MakeMovie(const std::string& args, const std::string& out) {
    const std::string cmd =
        "ffmpeg -nostdin -hide_banner -loglevel error -y " + args + " '" + out + "' > /dev/null 2>&1";
    const int rc = std::system(cmd.c_str());
    EXPECT_EQ(rc, 0) << cmd;
    return rc == 0;
}

// A picture of 64 x 48 at `rate` ("24", "24000/1001"), `frames` long.
inline std::string TestPattern(const std::string& rate, int frames) {
    return "-f lavfi -i testsrc=size=64x48:rate=" + rate + " -frames:v " + std::to_string(frames);
}

// Uncompressed RGB: 9216 bytes a frame, so the size of the file is known in advance.
inline constexpr const char* kRawVideo = " -c:v rawvideo -pix_fmt rgb24";

// Replaces the first `from` after `after` in the file; false when there is none.
inline bool PatchBytes(const std::string& path, const std::string& after, const std::string& from,
                       const std::string& to) {
    std::string bytes = ReadWholeFile(path);
    const size_t anchor = bytes.find(after);
    const size_t at = anchor == std::string::npos ? anchor : bytes.find(from, anchor);
    if (at == std::string::npos) return false;
    WriteWholeFile(path, bytes.replace(at, from.size(), to));
    return true;
}

// What ffprobe says of a file's `what` (e.g. "-select_streams v -show_entries stream=width"),
// one line a record, fields as "key=value|key=value".
inline std::string Probe(const std::string& what, const std::string& path) {
    return RunShell("ffprobe -v error " + what + " -of compact=p=0 '" + path + "'").output;
}

// The video packets' `fields` ("pts,duration") in one line, sorted: B-frames leave the file out
// of order.
inline std::string SortedPackets(const std::string& path, const std::string& fields) {
    std::istringstream packets(Probe("-select_streams v -show_entries packet=" + fields, path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(packets, line);) lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    std::string out;
    for (const auto& line : lines) out += (out.empty() ? "" : " ") + line;
    return out;
}

// The mean PSNR over all frames of a movie against a frame sequence ("dpx/%06d.dpx"), in 16-bit RGB.
inline double Psnr(const std::string& movie, const std::string& framePattern) {
    const auto r = RunShell("ffmpeg -nostdin -v info -i '" + movie + "' -i '" + framePattern +
                            "' -lavfi '[0:v]format=rgb48le[a];[1:v]format=rgb48le[b];[a][b]psnr' -f null - 2>&1 "
                            "| grep -o 'average:[0-9.inf]*'");
    EXPECT_TRUE(r.output.starts_with("average:")) << r.output;
    return std::atof(r.output.c_str() + std::string("average:").size());
}

}  // namespace ombrel::test

#include "library/FileParser.h"

#include "core/Log.h"
#include "datafile/DataFile.h"
#include "library/FileParserHooks.h"
#include "platform/movie/MovieProbe.h"
#include "platform/movie/TestMovies.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace ombrel {
namespace {

TEST(FileParser, OnlyTheFirstFileOfAnR3DClipIsAClip) {
    // Accepted: the first span file, any case, names without a span number.
    for (const char* path :
         {"/Volumes/A/A001_C002_0101AB_001.R3D", "/v/a001_c002_0101ab_001.r3d", "A001_C002_0101AB_001.r3D",
          "/v/clip.r3d", "/v/MyClip.R3D", "/v/clip_abc.r3d", "/v/clip_01.r3d", "/v/clip_0012.r3d", "/v/x.r3d",
          "/v/abc.R3D", "/v/.r3d", "/v/take_1a3.r3d"}) {
        EXPECT_TRUE(FileParser::IsR3DFile(path)) << path;
    }
    // Refused: later span files, other extensions, nothing at all.
    for (const char* path : {"/Volumes/A/A001_C002_0101AB_002.R3D", "/v/clip_002.r3d", "/v/clip_000.R3D",
                             "/v/clip_999.r3d", "/v/clip.r3d.mov", "/v/clip.mov", "/v/clip.r3dx", "/v/r3d", ""}) {
        EXPECT_FALSE(FileParser::IsR3DFile(path)) << path;
    }
}

TEST(FileParser, ATwentyCharacterR3DNameIsAClipWhateverItsSpanNumberByTheFirstRule) {
    EXPECT_TRUE(FileParser::IsR3DFile("/v/A001_C002_01_002.R3D"));  // 20 characters
    EXPECT_TRUE(FileParser::IsR3DFile("A001_C002_01_007.r3d"));
    EXPECT_FALSE(FileParser::IsR3DFile("/v/A001_C002_012_002.R3D"));  // 21 characters
    EXPECT_FALSE(FileParser::IsR3DFile("/v/A001_C002_0_002.R3D"));    // 19 characters
}

TEST(FileParser, UseableMovieIsDecidedByExtensionAndSizeNotByDecoding) {
    test::TempDir dir;
    auto sized = [&](const std::string& name, size_t bytes) {
        std::ofstream(dir / name, std::ios::binary) << std::string(bytes, '\0');
        return dir / name;
    };
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(sized("exact.MOV", 1000000)));
    EXPECT_TRUE(FileParser::IsUseableQuicktimeMov(sized("over.MOV", 1000001)));
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(sized("empty.mov", 0)));
    for (const char* ext : {"mov", "MPG", "avi", "mpeg", "Mp4", "m4v"}) {
        EXPECT_TRUE(FileParser::IsUseableQuicktimeMov(sized(std::string("big.") + ext, 1000001))) << ext;
    }
    for (const char* ext : {"mkv", "mxf", "r3d", "txt", "mov.txt"}) {
        EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(sized(std::string("big.") + ext, 1000001))) << ext;
    }
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(""));
    // A file we cannot look at is listed; opening it reports the problem later.
    EXPECT_TRUE(FileParser::IsUseableQuicktimeMov(dir / "missing.mov"));

    // A real movie under a megabyte is not listed, though FFmpeg can decode it.
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 5), dir / "small.mov"));
    EXPECT_TRUE(IsDecodableMovie(dir / "small.mov"));
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(dir / "small.mov"));
    // 121 uncompressed frames of 9216 bytes put the next one over.
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 121) + test::kRawVideo, dir / "large.mov"));
    EXPECT_TRUE(IsDecodableMovie(dir / "large.mov"));
    EXPECT_TRUE(FileParser::IsUseableQuicktimeMov(dir / "large.mov"));
    // Big enough and rightly named, yet no movie: listed by the rule, refused by the probe.
    std::string text;
    while (text.size() <= 1000000) text += "a text file that was renamed\n";
    test::WriteWholeFile(dir / "renamed.mov", text);
    EXPECT_TRUE(FileParser::IsUseableQuicktimeMov(dir / "renamed.mov"));
    EXPECT_FALSE(IsDecodableMovie(dir / "renamed.mov"));
}

TEST(FileParser, DisplayNamesOfR3DClipsAndMovies) {
    const std::string r3d = "/Volumes/Card/A001_C002_0101AB_001.R3D";
    EXPECT_EQ(FileParser::DisplayNameForPath(r3d), "A001_C002_0101AB");
    EXPECT_EQ(FileParser::DisplayReelNameForPath(r3d), "A001");
    EXPECT_EQ(FileParser::DisplayClipNameForPath(r3d), "002");
    EXPECT_EQ(FileParser::DisplayNameForPath("B012_C117_1231ZZ_001.r3d"), "B012_C117_1231ZZ");
    EXPECT_EQ(FileParser::DisplayReelNameForPath("B012_C117_1231ZZ_001.r3d"), "B012");
    EXPECT_EQ(FileParser::DisplayClipNameForPath("B012_C117_1231ZZ_001.r3d"), "117");

    const std::string movie = "/Users/ed/Interview take 3.mov";
    EXPECT_EQ(FileParser::DisplayNameForPath(movie), "Interview take 3.mov");
    EXPECT_EQ(FileParser::DisplayReelNameForPath(movie), "");
    EXPECT_EQ(FileParser::DisplayClipNameForPath(movie), "");
    // A later span file is no clip, so it keeps its whole name and has no reel.
    EXPECT_EQ(FileParser::DisplayNameForPath("/v/A001_C002_0101AB_002.R3D"), "A001_C002_0101AB_002.R3D");
    EXPECT_EQ(FileParser::DisplayReelNameForPath("/v/A001_C002_0101AB_002.R3D"), "");
    for (auto fn :
         {&FileParser::DisplayNameForPath, &FileParser::DisplayReelNameForPath, &FileParser::DisplayClipNameForPath}) {
        EXPECT_EQ(fn(""), "");
    }
}

TEST(FileParser, ShortR3DNamesGiveWhatCharactersThereAre) {
    // "MyClip.R3D" loses its last 8 characters like any R3D name.
    EXPECT_EQ(FileParser::DisplayNameForPath("/v/MyClip.R3D"), "My");
    EXPECT_EQ(FileParser::DisplayReelNameForPath("/v/MyClip.R3D"), "MyCl");
    EXPECT_EQ(FileParser::DisplayClipNameForPath("/v/MyClip.R3D"), ".R3");
    // Under 8 characters there is nothing to cut: the name without extension.
    EXPECT_EQ(FileParser::DisplayNameForPath("/v/ab.r3d"), "ab");
    EXPECT_EQ(FileParser::DisplayReelNameForPath("/v/ab.r3d"), "ab.r");
    EXPECT_EQ(FileParser::DisplayClipNameForPath("/v/ab.r3d"), "");
    EXPECT_EQ(FileParser::DisplayReelNameForPath("/v/a.r3d"), "a.r3");
    EXPECT_EQ(FileParser::DisplayClipNameForPath("/v/abc.r3d"), "d");
}

TEST(FileParser, CacheNamesFlattenSeparatorsAndSoCollide) {
    EXPECT_EQ(FileParser::PathHashForPath("/Volumes/Card A/A001_C002_0101AB_001.R3D"),
              "_Volumes_Card A_A001_C002_0101AB_001.R3D");
    EXPECT_EQ(FileParser::PathHashForPath("C:\\media\\x.mov"), "C__media_x.mov");
    EXPECT_EQ(FileParser::PathHashForPath(""), "");
    EXPECT_EQ(FileParser::PathHashForPath("/a/b_c.mov"), FileParser::PathHashForPath("/a_b/c.mov"));
    EXPECT_EQ(FileParser::PathHashForPath("/a:b/c.mov"), FileParser::PathHashForPath("/a/b\\c.mov"));
    EXPECT_EQ(FileParser::PathHashForPath("/a/b").find('/'), std::string::npos);
}

TEST(FileParser, CreatesFoldersWithTheirMissingParents) {
    test::TempDir dir;
    namespace fs = std::filesystem;
    EXPECT_TRUE(FileParser::CreateDirectoryWithIntermediaries(dir / "a/b/c"));
    EXPECT_TRUE(fs::is_directory(dir / "a/b/c"));
    EXPECT_TRUE(FileParser::CreateDirectoryWithIntermediaries(dir / "a/b/c"));  // already there
    EXPECT_TRUE(FileParser::CreateDirectoryWithIntermediaries(dir / "x/y/"));
    EXPECT_TRUE(fs::is_directory(dir / "x/y"));
    EXPECT_FALSE(FileParser::CreateDirectoryWithIntermediaries(""));
    EXPECT_FALSE(FileParser::CreateDirectoryWithIntermediaries("/"));
    EXPECT_FALSE(FileParser::CreateDirectoryWithIntermediaries("q"));
    // A file in the way of a parent: refused, and the file is left alone.
    test::WriteWholeFile(dir / "file", "keep me");
    EXPECT_FALSE(FileParser::CreateDirectoryWithIntermediaries(dir / "file/sub/deeper"));
    EXPECT_EQ(test::ReadWholeFile(dir / "file"), "keep me");
    // An existing file counts as there.
    EXPECT_TRUE(FileParser::CreateDirectoryWithIntermediaries(dir / "file"));
    // No right to write: refused without a crash.
    fs::create_directory(dir / "locked");
    fs::permissions(dir / "locked", fs::perms::owner_read | fs::perms::owner_exec);
    if (::geteuid() != 0) { EXPECT_FALSE(FileParser::CreateDirectoryWithIntermediaries(dir / "locked/new")); }
    fs::permissions(dir / "locked", fs::perms::owner_all);
}

TEST(FileParser, UnscrambledDataComesBackWithItsTail) {
    test::TempDir dir;
    const std::string payload = "stock table bytes \x01\x02\xff and more";
    ASSERT_EQ(ScrambleDataToFile(dir / "t.tin", payload.data(), payload.size(), nullptr), 0);
    const auto bytes = FileParser::GetUnscrambledData(dir / "t.tin");
    ASSERT_TRUE(bytes.has_value());
    ASSERT_EQ(bytes->size(), payload.size() + kContainerTailSize);
    EXPECT_EQ(std::string(bytes->begin(), bytes->begin() + payload.size()), payload);

    LogCapture log;
    EXPECT_FALSE(FileParser::GetUnscrambledData(dir / "missing.tin").has_value());
    EXPECT_TRUE(log.Contains("Error: File doesn't exist at"));
}

TEST(FileParser, PanelsAnswerAsACancelUntilTheWindowRegistersThem) {
    EXPECT_EQ(FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("/start", true, false, "Choose"), "/start");
    EXPECT_EQ(FileParser::ChooseSavePath("Save"), "");

    std::string seen;
    FilePanels panels;
    panels.browse = [&](const std::string& path, bool dir, bool file, const std::string& title) {
        seen = path + "|" + (dir ? "d" : "-") + (file ? "f" : "-") + "|" + title;
        return std::string("/picked");
    };
    panels.chooseSave = [&](const std::string& title) { return "/saved/" + title; };
    SetFilePanels(panels);
    EXPECT_EQ(FileParser::BrowseFromPathNeedDirectoryNeedFileTitle("", false, true, "Choose Project File"), "/picked");
    EXPECT_EQ(seen, "|-f|Choose Project File");
    EXPECT_EQ(FileParser::ChooseSavePath("p.xml"), "/saved/p.xml");
    SetFilePanels({});
    EXPECT_EQ(FileParser::ChooseSavePath("p.xml"), "");
}

TEST(FileParser, SystemFactsForTheUsageReport) {
    int32_t major = -1, minor = -1;
    FileParser::getSystemVersionMajorminor(&major, &minor);
    EXPECT_GE(major, 3);  // any kernel this runs on
    EXPECT_GE(minor, 0);
    FileParser::getSystemVersionMajorminor(nullptr, nullptr);

    // The memory size agrees with the kernel's own count.
    std::ifstream meminfo("/proc/meminfo");
    std::string key;
    int64_t kB = 0;
    while (meminfo >> key && key != "MemTotal:") meminfo.ignore(1 << 12, '\n');
    meminfo >> kB;
    ASSERT_GT(kB, 0);
    EXPECT_NEAR(static_cast<double>(FileParser::RamInMegs()), kB / 1024.0, kB / 1024.0 * 0.05);
    EXPECT_GE(FileParser::ClockSpeedInMHz(), 0);
}

}  // namespace
}  // namespace ombrel

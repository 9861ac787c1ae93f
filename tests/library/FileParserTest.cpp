#include "library/FileParser.h"

#include "datafile/DataFile.h"
#include "library/FileParserHooks.h"
#include "library/R3DFileMeta.h"
#include "platform/movie/MovieProbe.h"
#include "platform/movie/TestMovies.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace ombrel {
namespace {

// Per path: whether it is a clip (only the first span file of an R3D clip, any case, or a name
// without span number; a 20-character R3D name whatever its number), its display, reel and clip
// names (an R3D name loses its last 8 characters), its cache name (separators flattened, so
// names collide) and the record's names for matching.
TEST(FileParser, NamesOfPathsMatchTheirReference) {
    std::string out;
    for (const char* path : {"/Volumes/Card A/A001_C002_0101AB_001.R3D",
                             "/v/a001_c002_0101ab_001.r3d",
                             "B012_C117_1231ZZ_001.r3D",
                             "/v/clip.r3d",
                             "/v/MyClip.R3D",
                             "/v/clip_abc.r3d",
                             "/v/clip_01.r3d",
                             "/v/clip_0012.r3d",
                             "/v/x.r3d",
                             "/v/a.r3d",
                             "/v/ab.r3d",
                             "/v/abc.R3D",
                             "/v/.r3d",
                             "/v/take_1a3.r3d",
                             "/v/A001_C002_01_002.R3D",
                             "A001_C002_01_007.r3d",
                             "/v/A001_C002_012_002.R3D",
                             "/v/A001_C002_0_002.R3D",
                             "/v/A001_C002_0101AB_002.R3D",
                             "/v/clip_000.R3D",
                             "/v/clip_999.r3d",
                             "/v/clip.r3d.mov",
                             "/v/clip.r3dx",
                             "/v/r3d",
                             "",
                             "/Users/ed/Interview take 3.mov",
                             "C:\\media\\x.mov",
                             "/a/b_c.mov",
                             "/a_b/c.mov",
                             "/a:b/c.mov",
                             "/a/b\\c.mov",
                             "/v/exactly16chars.x",
                             "/v/seventeen_chars.m",
                             "/v/fifteen_chars.m"}) {
        R3DFileMeta meta;
        meta.setPath(path);
        out += std::string("[") + path + "] clip " + (FileParser::IsR3DFile(path) ? "yes" : "no") + ", name [" +
               FileParser::DisplayNameForPath(path) + "] reel [" + FileParser::DisplayReelNameForPath(path) +
               "] clip [" + FileParser::DisplayClipNameForPath(path) + "] cache [" + FileParser::PathHashForPath(path) +
               "] prefix [" + meta.R3dPrefix() + "] base [" + meta.BaseFilename() + "] short [" + meta.ShortName() +
               "]\n";
    }
    EXPECT_TRUE(test::MatchesRef("library/path-names.txt", out));
}

TEST(FileParser, UseableMovieIsDecidedByExtensionAndSizeNotByDecoding) {
    test::TempDir dir;
    const struct {
        const char* name;
        size_t bytes;
        bool listed;
    } rows[] = {{"exact.MOV", 1000000, false}, {"over.MOV", 1000001, true},    {"empty.mov", 0, false},
                {"big.mov", 1000001, true},    {"big.MPG", 1000001, true},     {"big.avi", 1000001, true},
                {"big.mpeg", 1000001, true},   {"big.Mp4", 1000001, true},     {"big.m4v", 1000001, true},
                {"big.mkv", 1000001, false},   {"big.mxf", 1000001, false},    {"big.r3d", 1000001, false},
                {"big.txt", 1000001, false},   {"big.mov.txt", 1000001, false}};
    for (const auto& r : rows) {
        std::ofstream(dir / r.name, std::ios::binary) << std::string(r.bytes, '\0');
        EXPECT_EQ(FileParser::IsUseableQuicktimeMov(dir / r.name), r.listed) << r.name;
    }
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(""));
    // A file we cannot look at is listed; opening it reports the problem later.
    EXPECT_TRUE(FileParser::IsUseableQuicktimeMov(dir / "missing.mov"));
    // A real movie under a megabyte is not listed, while zeros of the right size and name are.
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("24", 5), dir / "small.mov"));
    EXPECT_TRUE(IsDecodableMovie(dir / "small.mov"));
    EXPECT_FALSE(FileParser::IsUseableQuicktimeMov(dir / "small.mov"));
    EXPECT_FALSE(IsDecodableMovie(dir / "big.mov"));
}

TEST(FileParser, CreatesFoldersWithTheirMissingParents) {
    test::TempDir dir;
    namespace fs = std::filesystem;
    test::WriteWholeFile(dir / "file", "keep me");
    fs::create_directory(dir / "locked");
    fs::permissions(dir / "locked", fs::perms::owner_read | fs::perms::owner_exec);
    const struct {
        std::string path;
        bool made;
    } rows[] = {{dir / "a/b/c", true},
                {dir / "a/b/c", true},
                {dir / "x/y/", true},
                {"", false},
                {"/", false},
                {"q", false},
                {dir / "file/sub/deeper", false},  // a file in the way of a parent
                {dir / "file", true},              // an existing file counts as there
                {dir / "locked/new", ::geteuid() == 0}};
    for (const auto& r : rows) EXPECT_EQ(FileParser::CreateDirectoryWithIntermediaries(r.path), r.made) << r.path;
    EXPECT_TRUE(fs::is_directory(dir / "a/b/c"));
    EXPECT_TRUE(fs::is_directory(dir / "x/y"));
    EXPECT_EQ(test::ReadWholeFile(dir / "file"), "keep me");
    fs::permissions(dir / "locked", fs::perms::owner_all);
}

TEST(FileParser, UnscrambledDataIsTheDataFileReadersWithItsTail) {
    test::TempDir dir;
    const std::string payload = "stock table bytes \x01\x02\xff and more";
    ASSERT_EQ(ScrambleDataToFile(dir / "t.tin", payload.data(), payload.size(), nullptr), 0);
    const auto bytes = FileParser::GetUnscrambledData(dir / "t.tin");
    ASSERT_TRUE(bytes.has_value());
    EXPECT_EQ(bytes, GetUnscrambledData(dir / "t.tin"));
    EXPECT_EQ(std::string(bytes->begin(), bytes->begin() + payload.size()), payload);
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

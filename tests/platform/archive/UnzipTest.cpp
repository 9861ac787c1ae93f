#include <gtest/gtest.h>

#include <filesystem>

#include "platform/archive/Unzip.h"
#include "support/TempDir.h"
#include "support/ZipMaker.h"

namespace ombrel::platform {
namespace {

namespace fs = std::filesystem;
using test::ZipMember;

std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::recursive_directory_iterator(dir)) names.push_back(e.path().lexically_relative(dir).string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(Unzip, PlacesTopLevelEntriesReplacingOldOnesAndSkipsResourceForks) {
    test::TempDir dir;
    fs::create_directories(dir / "Pack");
    test::WriteWholeFile(dir / "Pack/old.tin", "old");
    ASSERT_TRUE(test::MakeZip(dir / "p.zip", {{"Pack/", "", ZipMember::kFolder}, {"Pack/a.tin", "table"},
                                              {"Pack/b.tin", "a.tin", ZipMember::kSymlink},
                                              {"__MACOSX/Pack/._a.tin", "fork"}, {"readme.txt", "hi"}}));
    ASSERT_TRUE(UnzipArchive(dir / "p.zip", dir.path()).ok());
    EXPECT_EQ(Listing(dir.path()),
              (std::vector<std::string>{"Pack", "Pack/a.tin", "Pack/b.tin", "p.zip", "readme.txt"}));
    EXPECT_EQ(test::ReadWholeFile(dir / "Pack/b.tin"), "table");
}

struct Hostile {
    const char* what;
    std::vector<ZipMember> members;
    UnzipLimits limits;
    const char* message;
};

class UnzipRefuses : public ::testing::TestWithParam<Hostile> {};

TEST_P(UnzipRefuses, LeavesTheFolderAsItWas) {
    const Hostile& h = GetParam();
    test::TempDir dir;
    fs::create_directories(dir / "in");
    test::WriteWholeFile(dir / "in/Pack", "keep");
    ASSERT_TRUE(test::MakeZip(dir / "in/p.zip", h.members));
    const Status s = UnzipArchive(dir / "in/p.zip", dir / "in", nullptr, h.limits);
    EXPECT_NE(s.message().find(h.message), std::string::npos) << s.message();
    EXPECT_EQ(Listing(dir / "in"), (std::vector<std::string>{"Pack", "p.zip"}));
    EXPECT_EQ(test::ReadWholeFile(dir / "in/Pack"), "keep");
    EXPECT_FALSE(fs::exists(dir / "x"));
}

const ZipMember kFine{"Pack", "new", ZipMember::kFile};

INSTANTIATE_TEST_SUITE_P(
    Hostile, UnzipRefuses,
    ::testing::Values(
        Hostile{"dotdot", {kFine, {"../x", "evil"}}, {}, "has a name with \"..\""},
        Hostile{"inner_dotdot", {kFine, {"a/../../x", "evil"}}, {}, "has a name with \"..\""},
        Hostile{"absolute", {kFine, {"/tmp/ombrel-abs-x", "evil"}}, {}, "has an absolute name"},
        Hostile{"link_out", {kFine, {"d/l", "../../x", ZipMember::kSymlink}}, {}, "links out of the folder"},
        Hostile{"absolute_link", {kFine, {"l", "/etc", ZipMember::kSymlink}}, {}, "links out of the folder"},
        Hostile{"bytes", {kFine, {"big", std::string(5000, 'z')}}, {4096, 100}, "more than 4096 bytes"},
        Hostile{"entries", {kFine, {"a", "1"}, {"b", "2"}}, {1000, 2}, "more than 2 entries"}),
    [](const auto& info) { return std::string(info.param.what); });

}  // namespace
}  // namespace ombrel::platform

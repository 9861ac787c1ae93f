#include "core/Paths.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace ombrel {
namespace {

TEST(Paths, ComponentsAndExtensions) {
    EXPECT_EQ(LastPathComponent("/a/b/A001_C001_0101AB_001.R3D"), "A001_C001_0101AB_001.R3D");
    EXPECT_EQ(LastPathComponent("/a/b/"), "b");
    EXPECT_EQ(LastPathComponent("clip.mov"), "clip.mov");
    EXPECT_EQ(PathExtension("/x/clip.tar.gz"), "gz");
    EXPECT_EQ(PathExtension("/x.d/clip"), "");
    EXPECT_EQ(PathExtension("/x/.hidden"), "");
    EXPECT_EQ(DeletingPathExtension("/x.d/clip.mov"), "/x.d/clip");
    EXPECT_EQ(DeletingPathExtension("/x.d/clip"), "/x.d/clip");
    EXPECT_EQ(AppendingPathComponent("/out/", "/A001_C001/"), "/out/A001_C001");
    EXPECT_EQ(AppendingPathComponent("/out", "A001/C001"), "/out/A001/C001");
    EXPECT_EQ(AppendingPathComponent("/", "x"), "/x");
}

TEST(Paths, FoldersFollowHomeAndDataRootFollowsTheEnvironment) {
    std::string oldHome = std::getenv("HOME") ? std::getenv("HOME") : "";
    ::setenv("HOME", "/tmp/somebody", 1);
    EXPECT_EQ(DocumentsFolder(), "/tmp/somebody/Documents/Ombrel");
    EXPECT_EQ(AutosaveFolder(), "/tmp/somebody/Documents/Ombrel/Autosave");
    EXPECT_EQ(ExpandTilde("~/Documents/x"), "/tmp/somebody/Documents/x");
    EXPECT_EQ(ExpandTilde("/abs/~"), "/abs/~");
    ::setenv("HOME", oldHome.c_str(), 1);

    std::string oldData = std::getenv("OMBREL_DATA_DIR") ? std::getenv("OMBREL_DATA_DIR") : "";
    ::setenv("OMBREL_DATA_DIR", "/opt/data", 1);
    EXPECT_EQ(DataRoot(), "/opt/data");
    EXPECT_EQ(ProfilesFolder(), "/opt/data/Profiles");
    EXPECT_EQ(ResourcesFolder(), "/opt/data/Resources");
    ::unsetenv("OMBREL_DATA_DIR");
    EXPECT_FALSE(DataRoot().empty());
    if (!oldData.empty()) ::setenv("OMBREL_DATA_DIR", oldData.c_str(), 1);
}

}  // namespace
}  // namespace ombrel

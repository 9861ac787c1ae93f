#include "core/Paths.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/TempDir.h"

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
    {
        test::ScopedEnv home("HOME", "/tmp/somebody");
        EXPECT_EQ(DocumentsFolder(), "/tmp/somebody/Documents/Ombrel");
        EXPECT_EQ(AutosaveFolder(), "/tmp/somebody/Documents/Ombrel/Autosave");
        EXPECT_EQ(ExpandTilde("~/Documents/x"), "/tmp/somebody/Documents/x");
        EXPECT_EQ(ExpandTilde("/abs/~"), "/abs/~");
    }
    {
        test::ScopedDataRoot data("/opt/data");
        EXPECT_EQ(DataRoot(), "/opt/data");
        EXPECT_EQ(ProfilesFolder(), "/opt/data/Profiles");
        EXPECT_EQ(ResourcesFolder(), "/opt/data/Resources");
    }
    test::ScopedEnv none("OMBREL_DATA_DIR", nullptr);
    EXPECT_FALSE(DataRoot().empty());
}

}  // namespace
}  // namespace ombrel

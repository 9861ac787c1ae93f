#include "library/R3DFileMeta.h"

#include "library/FileParser.h"
#include "platform/movie/TestMovies.h"
#include "r3d/sdk/SdkClips.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

namespace ombrel {
namespace {

// Every field of a record, one a line, for the reference files; the path by its file name, as
// the clips are written to a fresh folder each run.
std::string Describe(const R3DFileMeta& m) {
    std::ostringstream o;
    o << "path " << std::filesystem::path(m.path()).filename().string() << "\nreel " << m.reel() << "\nclip "
      << m.clip() << "\nframeCount " << m.frameCount() << "\nfps " << m.fps() << "\ntimecode " << m.timecodeIn()
      << " - " << m.timecodeOut() << "\nedgecode " << m.edgecodeIn() << " - " << m.edgecodeOut() << "\nframes "
      << m.frameIn() << " - " << m.frameOut() << "\nedgeFrames " << m.edgeFrameIn() << " - " << m.edgeFrameOut()
      << "\nR3dPrefix " << m.R3dPrefix() << "\nBaseFilename " << m.BaseFilename() << "\nShortName " << m.ShortName()
      << "\n";
    return o.str();
}

sdktest::SdkClip SilentClip(int frames, uint32_t rate, uint16_t scale, const char* absolute, const char* edge) {
    sdktest::SdkClip c = sdktest::BasicClip(16, 8, frames);
    c.spec.rateNumerator = rate;
    c.spec.rateDenominator = scale;
    c.spec.absoluteTimecode = absolute;
    c.spec.edgeTimecode = edge;
    c.spec.audioChannels = 0;
    c.audioBlocks.clear();
    return c;
}

// An R3D clip, read through the camera SDK stand-in, counts from its start timecode and ends one
// past its last frame (23.976 counts in 24s); a movie runs from zero to its last frame without
// timecode.
TEST(R3DFileMeta, RecordsOfClipsAndMoviesMatchTheirReferences) {
    test::TempDir dir;
    ASSERT_EQ(
        sdktest::WriteSdkClip(dir / "A001_C002_0101AB_001.R3D", SilentClip(100, 24, 1, "01:00:00:00", "00:00:10:00")),
        "");
    ASSERT_EQ(sdktest::WriteSdkClip(dir / "A002_C010_0202CD_001.R3D",
                                    SilentClip(2, 24000, 1001, "11:22:33:12", "10:00:00:00")),
              "");
    ASSERT_TRUE(test::MakeMovie(test::TestPattern("25", 50), dir / "known interview.mov"));
    const struct {
        const char* ref;
        std::string path;
        bool isR3d;
    } rows[] = {
        {"r3d-clip", dir / "A001_C002_0101AB_001.R3D", true},
        {"r3d-clip-23976", dir / "A002_C010_0202CD_001.R3D", true},
        {"movie", dir / "known interview.mov", false},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.ref);
        R3DFileMeta meta;
        ASSERT_TRUE(meta.LoadMetadataFromPathIsR3d(r.path, r.isR3d));
        EXPECT_EQ(meta.path(), r.path);
        EXPECT_TRUE(test::MatchesRef(std::string("library/") + r.ref + ".txt", Describe(meta)));
    }
}

TEST(R3DFileMeta, AFileThatIsNoClipIsNoCandidate) {
    test::TempDir dir;
    test::WriteWholeFile(dir / "A001_C002_0101AB_001.R3D", std::string(5000, 'x'));
    test::WriteWholeFile(dir / "notes.mov", std::string(5000, 'x'));
    for (const auto& [name, isR3d] :
         {std::pair{"A001_C002_0101AB_001.R3D", true}, std::pair{"A009_C002_0101AB_001.R3D", true},
          std::pair{"notes.mov", false}, std::pair{"missing.mov", false}}) {
        R3DFileMeta meta;
        EXPECT_FALSE(meta.LoadMetadataFromPathIsR3d(dir / name, isR3d)) << name;
        EXPECT_EQ(meta.path() + std::to_string(meta.frameCount()), "0") << name;
    }
}

}  // namespace
}  // namespace ombrel

// The movie exporter's set-up when the movie is already there.
#include <gtest/gtest.h>

#include "support/RenderQueueFixture.h"
#include "support/Shell.h"

namespace ombrel {
namespace {

class MovieExporterSetup : public test::SequenceRenderTest {};

// A movie to be kept that appears after its clip was queued (here: the same clip queued twice)
// stays as it is; the clip fails with "File already exists", and the refusal stops the run.
TEST_F(MovieExporterSetup, AMovieToBeKeptStaysAndTheRunStops) {
    test::TestPatternConfig config;
    config.frames = 2;
    test::ScopedTestPatternSources sources(config);
    out_->SelectFormatMenuTag(5);
    out_->setOverwrite(1);
    const auto first = Item("B002_C003.mp4", 2), again = Item("B002_C003.mp4", 2), next = Item("B002_C004.mp4", 2);
    Run({first, again, next});
    EXPECT_EQ(first->errorMessage(), "");
    EXPECT_EQ(again->errorMessage(), "File already exists: " + Out("B002_C003.mov"));
    EXPECT_EQ(test::RunShell(
                  "ffprobe -v error -select_streams v -count_frames -show_entries stream=nb_read_frames -of csv=p=0 '" +
                  Out("B002_C003.mov") + "'")
                  .output,
              "2\n");
    EXPECT_EQ(FilesIn(Out("")), std::vector<std::string>{"B002_C003.mov"});
}

}  // namespace
}  // namespace ombrel

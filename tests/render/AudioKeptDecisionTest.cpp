// Output that is to be kept includes its sound: an ".au" already beside the frames is not
// extracted again when the user keeps existing output; it is when output may be replaced.
#include <gtest/gtest.h>

#include "support/FrameFiles.h"
#include "support/RenderQueueFixture.h"

namespace ombrel {
namespace {

using test::TestPatternConfig;

class AudioKeptDecision : public test::SequenceRenderTest {};

TEST_F(AudioKeptDecision, KeepsExistingAuWhenOutputIsKept_NotExtractedAgain) {
    struct Row {
        const char* name;
        int overwrite;  // 1 keeps existing output
        bool extracted;
    };
    for (const Row& row : {Row{"existing output kept", 1, false}, Row{"output replaced", 0, true}}) {
        SCOPED_TRACE(row.name);
        RenderManager::Instance().Reset();
        TestPatternConfig config;
        config.frames = 3;
        config.audioChannels = 2;
        auto log = std::make_shared<test::TestPatternLog>();
        test::ScopedTestPatternSources sources(config, log);
        out_->setFormat(kFormatDpx);
        out_->setOverwrite(row.overwrite);
        // Frames straight into the output folder, beside the sound of an earlier run.
        out_->setFolders(3);
        const std::string folder = Out("run-" + std::to_string(row.overwrite));
        out_->setOutputDirectory(folder);
        std::filesystem::create_directories(folder);
        const std::string au = folder + "/A001_C001_0101AB.au";
        test::WriteWholeFile(au, "sound of an earlier run");

        auto item = Item("A001_C001_0101AB_001.R3D", config.frames);
        Run({item});
        EXPECT_FALSE(item->errorState()) << item->errorMessage();
        EXPECT_EQ(FilesIn(folder).size(), 4u) << "three frames and the sound";
        EXPECT_EQ(log->audioPaths.size(), row.extracted ? 1u : 0u);
        if (row.extracted)
            EXPECT_NE(test::ReadWholeFile(au), "sound of an earlier run");
        else
            EXPECT_EQ(test::ReadWholeFile(au), "sound of an earlier run");
    }
}

}  // namespace
}  // namespace ombrel

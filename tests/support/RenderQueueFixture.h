#pragma once

// A render queue that runs the renderers of the build on test pattern clips.

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "core/MainQueue.h"
#include "model/SettingsManager.h"
#include "render/DefaultRenderers.h"
#include "render/FrameProcessor.h"
#include "render/RenderManager.h"
#include "sources/testing/TestPatternSource.h"
#include "support/FileFaults.h"
#include "support/TempDir.h"

namespace ombrel::test {

// The main queue served by this thread, the render queue idle and empty with its own clock and
// no usage sink, and no settings stacks: where every render test starts.
inline void ResetRenderQueue() {
    auto& q = MainQueue::Instance();
    q.AdoptCurrentThread();
    q.Reopen();
    q.ServePending();
    auto& rm = RenderManager::Instance();
    rm.WaitUntilExit();
    rm.Reset();
    rm.setClock(nullptr);
    rm.setUsageEventSink(nullptr);
    SettingsManager::Instance().ClearAll();
}

class SequenceRenderTest : public ::testing::Test {
protected:
    void SetUp() override {
        ResetRenderQueue();
        RegisterDefaultRenderers();
        out_ = OutputSettings::Make();
        out_->setOutputDirectory(dir_ / "out");
    }
    void TearDown() override {
        auto& rm = RenderManager::Instance();
        rm.CancelRender("test over");
        rm.WaitUntilExit();
        rm.Reset();
        rm.setRendererFactory(nullptr);
        MainQueue::Instance().Reopen();
    }

    // A queued clip of the test pattern; `name` decides the source kind (".R3D" or a movie).
    RenderManagerItemPtr Item(const std::string& name, int frames, ClipSettingsPtr clip = nullptr) {
        if (!clip) clip = ClipSettings::Make();
        clip->setTotalFrames(static_cast<float>(frames));
        return RenderManagerItem::Make(ClipPath(name), frames, clip, out_);
    }
    std::string ClipPath(const std::string& name) const { return dir_ / ("clips/" + name); }
    std::string Out(const std::string& relative) const { return dir_ / ("out/" + relative); }

    // Queues the items and runs the queue to its end, serving the main thread. `step`, when
    // given, is called on the main thread while the run goes on, until it answers true.
    void Run(const std::vector<RenderManagerItemPtr>& items, const std::function<bool()>& step = {}) {
        auto& rm = RenderManager::Instance();
        for (const auto& item : items) ASSERT_TRUE(rm.AddItem(item)) << item->errorMessage();
        rm.StartRender(nullptr);
        if (step)
            MainQueue::Instance().ServeUntil([&] { return step() || rm.activeThreads() == 0; },
                                             std::chrono::milliseconds(1));
        rm.WaitUntilExit();
        MainQueue::Instance().ServePending();
    }

    static std::vector<std::string> FilesIn(const std::string& folder) {
        std::vector<std::string> names;
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(folder, ec))
            if (e.is_regular_file()) names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    TempDir dir_;
    OutputSettingsPtr out_;
};

// The identity look stage that cancels the run once it has drawn one chosen frame.
class CancellingProcessor : public IdentityFrameProcessor {
public:
    explicit CancellingProcessor(int cancelAfterDrawOf) : cancelAt_(cancelAfterDrawOf) {}
    void SetGrainFrame(uint64_t seed, int64_t frame) override {
        IdentityFrameProcessor::SetGrainFrame(seed, frame);
        frame_ = frame;
    }
    bool RenderUsingR3DRenderBuffer(const FrameDrawParams& params) override {
        const bool drawn = IdentityFrameProcessor::RenderUsingR3DRenderBuffer(params);
        if (frame_ == cancelAt_) RenderManager::Instance().CancelRender("Cancelling at user's request");
        return drawn;
    }

private:
    int64_t cancelAt_;
    int64_t frame_ = -1;
};

}  // namespace ombrel::test

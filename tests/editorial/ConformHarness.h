#pragma once
// What the conform tests share: a port that records what the conform shows, and R3D clips to conform to.
#include "core/Paths.h"
#include "editorial/ConformPort.h"
#include "r3d/sdk/SdkClips.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ombrel::test {

struct RecordingPort : ConformPort {
    void SetStageLabel(int stage, const std::string& text) override { labels[stage - 1] = text; }
    void SetStageAlpha(int stage, double alpha) override { alphas[stage - 1] = alpha; }
    void SetStageIcon(int stage, StageIcon icon) override { icons[stage - 1] = icon; }
    void SetStageSpinner(int, bool) override {}
    void AppendLog(const std::string& text) override {
        log += text;
        if (onLog) onLog(text);
    }
    void ReplaceLog(const std::string& text) override { log = text; }
    void SetEdlButtons(bool enabled) override { buttons += enabled ? "Y" : "N"; }
    void RemoveAllItems() override { shotList.push_back("<cleared>"); }
    void AddPath(const std::string& path) override { shotList.push_back(LastPathComponent(path)); }
    void SetFileSnippets(const std::map<std::string, FCPFile>& f) override { files = f.size(); }
    void RemoveAllClips() override { ++clipsRemoved; }

    std::string labels[4], log, buttons;
    double alphas[4] = {};
    StageIcon icons[4] = {};
    std::vector<std::string> shotList;
    size_t files = 0;
    int clipsRemoved = 0;
    std::function<void(const std::string&)> onLog;

    std::string Stages() const {
        std::string s;
        for (int i = 0; i < 4; ++i) s += std::string(StageIconName(icons[i])) + ":" + labels[i] + "|";
        return s;
    }
};

// A clip of `frames` frames starting at `timecode`, in files of `perFile` frames.
inline void Clip(const std::string& path, const std::string& timecode, int frames, uint32_t perFile = 0) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    sdktest::SdkClip c = sdktest::BasicClip(16, 8, frames);
    c.spec.rateNumerator = 24;
    c.spec.rateDenominator = 1;
    c.spec.audioChannels = 0;
    c.audioBlocks.clear();
    c.spec.absoluteTimecode = timecode;
    c.spec.edgeTimecode = "00:00:00:00";
    c.spec.framesPerFile = perFile;
    ASSERT_EQ(sdktest::WriteSdkClip(path, c), "");
}

}  // namespace ombrel::test

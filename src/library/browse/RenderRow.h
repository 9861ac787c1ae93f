#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ombrel {

// What a row of the render table is drawn from: the clip's name and the render fields of
// the record on top of its stack.
struct ProgressCell {
    std::string title;
    std::string renderErrorMsg;
    std::optional<std::vector<int>> snippets;
    float totalFrames = 0.0f;
    int flaggedFrameCount = 0;
    bool acquired = false;
    float framesRendered = 0.0f;
    int32_t userFrameIn = 0;
    int32_t userFrameOut = 0;
    int errorState = 0;
};

// A span of the progress bar, in fractions of its width.
struct ProgressSpan {
    double from = 0.0;
    double to = 0.0;
    uint32_t rgb = 0;
    double alpha = 1.0;
    bool operator==(const ProgressSpan&) const = default;
};

// How the row looks: two lines of text, the end images, and the bar under the text.
struct RenderRowLook {
    static constexpr uint32_t kGround = 0x393939;
    static constexpr double kBarHeight = 10.0;

    std::string title;
    std::string errorMessage;  // why the render failed, for a tooltip; empty when it did not
    std::optional<std::string> detail;  // the second line; none for a clip of unknown length
    bool finished = false;
    // "Complete" and "ShowInFinder" follow the second line.
    bool completeImages = false;
    bool barShown = false;
    std::vector<ProgressSpan> spans;  // drawn in order over the ground
};

RenderRowLook RenderRowForCell(const ProgressCell& cell);

}  // namespace ombrel

#include "library/browse/RenderRow.h"

#include <algorithm>
#include <cstdio>

#include "render/RenderManager.h"

namespace ombrel {
namespace {

constexpr uint32_t kProgressColour = 0x0C8000;
constexpr uint32_t kFailedColour = 0x331100;

std::string Printed(const char* format, int a, int b = 0) {
    char text[96];
    std::snprintf(text, sizeof text, format, a, b);
    return text;
}

}  // namespace

RenderRowLook RenderRowForCell(const ProgressCell& cell) {
    RenderRowLook row;
    row.title = cell.title;
    row.errorMessage = cell.renderErrorMsg;
    const float totalFrames = cell.totalFrames;
    const float rendered = cell.framesRendered;
    const double p = totalFrames > 0.0f ? rendered / totalFrames : 0.0;
    const bool inOut = !cell.snippets && cell.userFrameOut > 0 && totalFrames - 1.0f >= cell.userFrameOut;
    const float total = inOut ? static_cast<float>(cell.userFrameOut + 1 - cell.userFrameIn) : totalFrames;
    const float done = inOut ? rendered - static_cast<float>(cell.userFrameIn) : rendered;
    row.finished = rendered == totalFrames || (inOut && rendered >= static_cast<float>(cell.userFrameOut));

    if (cell.errorState == 3) {
        row.detail = kFileExistsNotRendering;
    } else if (p == 0.0 && cell.errorState == 0 && !cell.acquired) {
        if (totalFrames > 0.0f) row.detail = Printed("Queued %i frames...", static_cast<int>(total));
    } else if (row.finished) {
        row.detail = Printed("%i Frames Complete", static_cast<int>(total));
        row.completeImages = true;
    } else {
        row.detail = Printed("%i of %i frames completed", static_cast<int>(done), static_cast<int>(total));
    }

    row.barShown = cell.acquired && !row.finished;
    if (!row.barShown) return row;
    if (cell.errorState == 2) {
        row.spans.push_back({0.0, p, kFailedColour, 1.0});
        return row;
    }
    std::vector<int> pairs;
    if (cell.snippets) {
        pairs = *cell.snippets;
        row.spans.push_back({0.0, p, kProgressColour, 0.5});
    } else if (inOut) {
        pairs = {cell.userFrameIn, cell.userFrameOut};
        row.spans.push_back({0.0, p, kProgressColour, 0.5});
    } else {
        row.spans.push_back({0.0, p, kProgressColour, 1.0});
    }
    for (size_t i = 0; totalFrames > 0.0f && i + 1 < pairs.size(); i += 2) {
        const float from = static_cast<float>(pairs[i]);
        const float to = std::min(static_cast<float>(pairs[i + 1]), rendered);
        // A range not reached yet, or one that runs backwards, draws nothing.
        if (from > rendered || to <= from) continue;
        row.spans.push_back({from / totalFrames, to / totalFrames, kProgressColour, 1.0});
    }
    return row;
}

}  // namespace ombrel

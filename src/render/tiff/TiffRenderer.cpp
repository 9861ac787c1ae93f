#include "render/tiff/TiffRenderer.h"

#include "render/tiff/FrameFile.h"

namespace ombrel {

bool TiffRenderer::Refuse(const std::string& problem) const {
    FailItem(sourcePath() + " cannot be rendered as TIFF: " + problem);
    return false;
}

bool TiffRenderer::LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) {
    // An asked size is checked before the source allocates frames of it.
    if (item && item->outputSettings()) {
        const OutputSize size = item->outputSettings()->size();
        if (size.width > 1.0f) {
            const std::string problem =
                TiffSizeProblem(static_cast<int64_t>(size.width), static_cast<int64_t>(size.height));
            if (!problem.empty()) {
                item->Fail(item->filePath() + " cannot be rendered as TIFF: " + problem);
                return false;
            }
        }
    }
    if (!RenderBase::LoadSettingsForRenderManagerItem(item)) return false;
    const std::string problem = TiffSizeProblem(renderSource()->OutputWidth(), renderSource()->OutputHeight());
    return problem.empty() || Refuse(problem);
}

bool TiffRenderer::BeginFrameSequence(const RenderSetup& /*setup*/, int /*first*/, int /*last*/) {
    std::string problem;
    if (!file_.Reset(static_cast<int>(renderSource()->OutputWidth()), static_cast<int>(renderSource()->OutputHeight()),
                     &problem))
        return Refuse(problem);
    return true;
}

void TiffRenderer::PrepareFrameForWriting(const RenderSetup& /*setup*/, int /*frame*/, uint8_t* buffer) {
    // Swapped once into the file image; every path of the frame gets the same bytes.
    file_.SetPixels(reinterpret_cast<const uint16_t*>(buffer));
}

bool TiffRenderer::WriteFrameToPath(const RenderSetup& /*setup*/, int frame, uint8_t* /*buffer*/,
                                    const std::string& path) {
    std::string error;
    if (WriteFrameFile(path, file_.data(), file_.size(), overwrite(), &error)) return true;
    // The queue logs the item's message with the clip's path when the clip ends.
    FailItem("Frame " + std::to_string(frame) + " was not written (" + error + "); the clip stops here");
    return false;
}

void TiffRenderer::EndFrameSequence(const RenderSetup& /*setup*/, bool /*completed*/) { file_ = TiffFrameFile(); }

}  // namespace ombrel

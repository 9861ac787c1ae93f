#include "render/dpx/DpxRenderer.h"

#include "render/tiff/FrameFile.h"

namespace ombrel {

namespace {

DpxTimecode ToDpx(const TimecodeValues& tc) { return {tc.hours, tc.minutes, tc.seconds, tc.frames}; }

}  // namespace

bool DpxRenderer::Refuse(const std::string& problem) const {
    FailItem(sourcePath() + " cannot be rendered as DPX: " + problem);
    return false;
}

bool DpxRenderer::LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) {
    // An asked size is checked before the source allocates frames of it.
    if (item && item->outputSettings()) {
        const OutputSize size = item->outputSettings()->size();
        if (size.width > 1.0f) {
            const std::string problem =
                DpxFile::SizeProblem(static_cast<int64_t>(size.width), static_cast<int64_t>(size.height));
            if (!problem.empty()) {
                item->Fail(item->filePath() + " cannot be rendered as DPX: " + problem);
                return false;
            }
        }
    }
    if (!RenderBase::LoadSettingsForRenderManagerItem(item)) return false;
    const std::string problem = DpxFile::SizeProblem(renderSource()->OutputWidth(), renderSource()->OutputHeight());
    return problem.empty() || Refuse(problem);
}

bool DpxRenderer::BeginFrameSequence(const RenderSetup& /*setup*/, int first, int /*last*/) {
    RenderSource& source = *renderSource();
    const int width = static_cast<int>(source.OutputWidth());
    const int height = static_cast<int>(source.OutputHeight());
    DpxHeader header;
    DpxFile::InitHeaderWidthHeightFramesFPSFilenameTimecodeCreated(
        &header, width, height, static_cast<int>(source.FramesInClip()), source.FramesPerSecond(),
        DpxFile::FirstFrameName(first), ToDpx(source.Timecode(0)), std::chrono::system_clock::now());
    std::string problem;
    if (!file_.Reset(header, width, height, &problem)) return Refuse(problem);
    return true;
}

void DpxRenderer::PrepareFrameForWriting(const RenderSetup& /*setup*/, int /*frame*/, uint8_t* buffer) {
    // Packed once into the file image; only the header's per-frame fields change per path.
    file_.SetPixels(reinterpret_cast<const uint16_t*>(buffer));
}

bool DpxRenderer::WriteFrameToPath(const RenderSetup& /*setup*/, int frame, uint8_t* /*buffer*/,
                                   const std::string& path) {
    DpxFile::UpdateHeaderWithTimecodeForFramePath(file_.header(), ToDpx(renderSource()->Timecode(frame)), frame, path);
    std::string error;
    if (WriteFrameFile(path, file_.data(), file_.size(), overwrite(), &error)) return true;
    // The queue logs the item's message with the clip's path when the clip ends.
    FailItem("Frame " + std::to_string(frame) + " was not written (" + error + "); the clip stops here");
    return false;
}

void DpxRenderer::EndFrameSequence(const RenderSetup& /*setup*/, bool /*completed*/) { file_ = DpxFrameFile(); }

}  // namespace ombrel

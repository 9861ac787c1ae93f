#include "render/FrameSequenceRenderer.h"

#include <span>

#include "render/FrameFile.h"

namespace ombrel {

FrameSequenceRenderer::FrameSequenceRenderer(std::unique_ptr<FrameFileFormat> format) : format_(std::move(format)) {}

std::string FrameSequenceRenderer::Refusal(const std::string& path, const std::string& problem) const {
    return path + " cannot be rendered as " + format_->Name() + ": " + problem;
}

bool FrameSequenceRenderer::LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) {
    // An asked size is checked before the source allocates frames of it.
    if (item && item->outputSettings()) {
        const OutputSize size = item->outputSettings()->size();
        if (size.width > 1.0f) {
            const std::string problem =
                format_->SizeProblem(static_cast<int64_t>(size.width), static_cast<int64_t>(size.height));
            if (!problem.empty()) {
                item->Fail(Refusal(item->filePath(), problem));
                return false;
            }
        }
    }
    if (!RenderBase::LoadSettingsForRenderManagerItem(item)) return false;
    const std::string problem = format_->SizeProblem(renderSource()->OutputWidth(), renderSource()->OutputHeight());
    if (problem.empty()) return true;
    FailItem(Refusal(sourcePath(), problem));
    return false;
}

std::vector<FrameTarget> FrameSequenceRenderer::FrameTargetsForFrame(const RenderSetup& setup, int frame) const {
    return SequenceTargetsForFrame(setup, frame, format_->Extension());
}

bool FrameSequenceRenderer::BeginFrameSequence(const RenderSetup& /*setup*/, int first, int /*last*/) {
    RenderSource& source = *renderSource();
    FrameClip clip;
    clip.width = static_cast<int>(source.OutputWidth());
    clip.height = static_cast<int>(source.OutputHeight());
    if (const std::string problem = format_->SizeProblem(clip.width, clip.height); !problem.empty()) {
        FailItem(Refusal(sourcePath(), problem));
        return false;
    }
    clip.firstFrame = first;
    clip.framesInClip = static_cast<int>(source.FramesInClip());
    clip.fps = source.FramesPerSecond();
    clip.startTimecode = source.Timecode(0);
    clip.created = std::chrono::system_clock::now();
    format_->Begin(clip);
    return true;
}

void FrameSequenceRenderer::WriteFrame(RenderSetup& setup, int frame, uint8_t* buffer) {
    const std::vector<FrameTarget> targets = FrameTargetsForFrame(setup, frame);
    if (targets.empty()) return;
    // Packed once; every file of the frame gets the same pixel bytes.
    const std::span<const uint8_t> pixels(buffer,
                                          DrawnPacked(buffer) ? format_->PackedBytes() : format_->PackInPlace(buffer));
    const TimecodeValues timecode = renderSource()->Timecode(frame);
    for (const FrameTarget& t : targets) {
        const FrameFileParts parts = format_->PartsForFile(frame, timecode, t.path);
        const std::span<const uint8_t> file[] = {parts.head, pixels, parts.tail};
        if (const Status s = WriteFrameFile(t.path, file, overwrite()); !s.ok()) {
            // The queue logs the item's message with the clip's path when the clip ends.
            FailItem("Frame " + std::to_string(frame) + " was not written (" + s.message() + "); the clip stops here");
            continue;
        }
        if (t.job >= 0 && static_cast<size_t>(t.job) < setup.jobs.size())
            ++setup.jobs[static_cast<size_t>(t.job)].framesWritten;
    }
}

}  // namespace ombrel

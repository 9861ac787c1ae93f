#pragma once

#include <memory>
#include <string>

#include "render/FrameFileFormat.h"
#include "render/RenderBase.h"

namespace ombrel {

// Renders a clip into a sequence of frame files, one per frame, of any FrameFileFormat. The
// frame loop, folders and naming are those of RenderBase; each frame is packed once and
// written whole to each of its paths.
class FrameSequenceRenderer final : public RenderBase {
public:
    explicit FrameSequenceRenderer(std::unique_ptr<FrameFileFormat> format);

    // Refuses, with a message, an output size that the format cannot hold.
    bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) override;

    const FrameFileFormat& format() const { return *format_; }

protected:
    bool WritesFrames() const override { return true; }
    bool OutputWantsRGBA() const override { return format_->WantsRGBA(); }
    PixelPacking OutputPacking() const override { return format_->Packing(); }
    std::chrono::milliseconds MovieFramePollInterval() const override { return format_->MovieFramePollInterval(); }
    std::vector<FrameTarget> FrameTargetsForFrame(const RenderSetup& setup, int frame) const override;
    bool BeginFrameSequence(const RenderSetup& setup, int first, int last) override;
    void WriteFrame(RenderSetup& setup, int frame, uint8_t* buffer) override;

private:
    // The item's message for a size the format cannot hold.
    std::string Refusal(const std::string& path, const std::string& problem) const;

    std::unique_ptr<FrameFileFormat> format_;
};

// The maker a format registers with: `RegisterRendererMaker(kFormatX, SequenceOf<XFormat>)`.
template <typename Format>
std::unique_ptr<Renderer> SequenceOf() {
    return std::make_unique<FrameSequenceRenderer>(std::make_unique<Format>());
}

}  // namespace ombrel

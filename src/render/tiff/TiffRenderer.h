#pragma once

#include <string>

#include "render/RenderBase.h"
#include "render/tiff/TiffFile.h"

namespace ombrel {

// Renders a clip into a sequence of uncompressed 16-bit RGB TIFF files, one per frame
// (output format 21). The frame loop, folders and naming are those of RenderBase; this
// class lays out the file, fills it once per frame and writes it to each of the frame's paths.
class TiffRenderer : public RenderBase {
public:
    // Refuses, with a message, an output size that the file's entries cannot hold.
    bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) override;

protected:
    bool WritesFrames() const override { return true; }
    std::string FrameFileExtension() const override { return "tiff"; }
    bool OutputWantsRGBA() const override { return false; }
    bool BeginFrameSequence(const RenderSetup& setup, int first, int last) override;
    void PrepareFrameForWriting(const RenderSetup& setup, int frame, uint8_t* buffer) override;
    bool WriteFrameToPath(const RenderSetup& setup, int frame, uint8_t* buffer, const std::string& path) override;
    void EndFrameSequence(const RenderSetup& setup, bool completed) override;

private:
    bool Refuse(const std::string& problem) const;

    TiffFrameFile file_;
};

}  // namespace ombrel

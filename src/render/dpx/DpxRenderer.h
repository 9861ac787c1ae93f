#pragma once

#include <string>

#include "render/RenderBase.h"
#include "render/dpx/DpxFile.h"

namespace ombrel {

// Renders a clip into a sequence of 10-bit RGB DPX files, one per frame (output format 20).
// The header is built once per clip; each frame is packed once and written to each of its
// paths with that path's name, frame position and time code in the header.
class DpxRenderer : public RenderBase {
public:
    // Refuses, with a message, an output size whose file the header's size field cannot hold.
    bool LoadSettingsForRenderManagerItem(const RenderManagerItemPtr& item) override;

protected:
    bool WritesFrames() const override { return true; }
    std::string FrameFileExtension() const override { return "dpx"; }
    bool OutputWantsRGBA() const override { return true; }
    std::chrono::milliseconds MovieFramePollInterval() const override { return std::chrono::milliseconds(40); }
    bool BeginFrameSequence(const RenderSetup& setup, int first, int last) override;
    void PrepareFrameForWriting(const RenderSetup& setup, int frame, uint8_t* buffer) override;
    bool WriteFrameToPath(const RenderSetup& setup, int frame, uint8_t* buffer, const std::string& path) override;
    void EndFrameSequence(const RenderSetup& setup, bool completed) override;

private:
    bool Refuse(const std::string& problem) const;

    DpxFrameFile file_;
};

}  // namespace ombrel

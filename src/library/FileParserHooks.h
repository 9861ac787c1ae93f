#pragma once

// Services that the file rules call on but that live in higher floors: the usage report,
// the TIFF writer and the file panels of the window.
// Each registers itself here at start-up; until then the rules fall back as noted.

#include <functional>
#include <string>

namespace ombrel {

// Named events for the usage report. Without a sink they are dropped.
using UsageEventSink = std::function<void(const std::string& name, const std::string& data)>;
void SetUsageEventSink(UsageEventSink sink);
UsageEventSink GetUsageEventSink();

// The render engine's compact 16-bit TIFF writer: w x h packed RGB samples in host order to a
// path. 0 when the file was written, 1 when it could not be made, with the reason in `error`.
// Without a writer nothing is written and the answer is 1.
using CompactTiffWriter =
    std::function<int(int width, int height, const uint16_t* samples, const std::string& path, std::string* error)>;
void SetCompactTiffWriter(CompactTiffWriter writer);
CompactTiffWriter GetCompactTiffWriter();

// Modal file panels of the window. Without them a browse answers as a cancel would.
struct FilePanels {
    std::function<std::string(const std::string& path, bool needDirectory, bool needFile, const std::string& title)>
        browse;
    std::function<std::string(const std::string& title)> chooseSave;
};
void SetFilePanels(FilePanels panels);
FilePanels GetFilePanels();

}  // namespace ombrel

#pragma once

// Services that the file rules call on but that live in higher floors: the usage report
// and the file panels of the window.
// Each registers itself here at start-up; until then the rules fall back as noted.

#include <functional>
#include <string>

namespace ombrel {

// Named events for the usage report. Without a sink they are dropped.
using UsageEventSink = std::function<void(const std::string& name, const std::string& data)>;
void SetUsageEventSink(UsageEventSink sink);
UsageEventSink GetUsageEventSink();

// Modal file panels of the window. Without them a browse answers as a cancel would.
struct FilePanels {
    std::function<std::string(const std::string& path, bool needDirectory, bool needFile, const std::string& title)>
        browse;
    std::function<std::string(const std::string& title)> chooseSave;
};
void SetFilePanels(FilePanels panels);
FilePanels GetFilePanels();

}  // namespace ombrel

#pragma once

#include "library/FCPFile.h"

#include <map>
#include <string>

namespace ombrel {

// A stage's result icon; kNone hides it.
enum class StageIcon { kNone, kDone, kFailed, kAlert };
// "Done", "Failed", "Alert", or an empty text for kNone.
const char* StageIconName(StageIcon icon);

// What the conform shows and changes outside itself: the sheet of the window, or the command
// line. Every call comes on the main thread; stages run on a worker hop there to make them.
class ConformPort {
public:
    virtual ~ConformPort() = default;

    // Stages are 1 to 4.
    virtual void SetStageLabel(int stage, const std::string& text) = 0;
    virtual void SetStageAlpha(int stage, double alpha) = 0;
    virtual void SetStageIcon(int stage, StageIcon icon) = 0;
    virtual void SetStageSpinner(int stage, bool running) = 0;

    // The detail log: text appended at its end, or everything replaced by `text`.
    virtual void AppendLog(const std::string& text) = 0;
    virtual void ReplaceLog(const std::string& text) = 0;

    // false while a run goes on: the start button reads "CANCEL" and browsing is off.
    virtual void SetEdlButtons(bool enabled) = 0;
    virtual void EnableViewDetails() {}

    // The conform's shot list.
    virtual void RemoveAllItems() = 0;
    // A path already listed is ignored.
    virtual void AddPath(const std::string& path) = 0;
    virtual void SetFileSnippets(const std::map<std::string, FCPFile>& files) = 0;
    virtual void ReloadGUI() {}

    // The settings manager drops the settings of every clip.
    virtual void RemoveAllClips() = 0;
};

}  // namespace ombrel

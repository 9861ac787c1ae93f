#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace ombrel {

struct VolumeDescription;

// What the browse models need of a list, an outline or the film strip on screen. The models
// call these on the main thread; a view that does not care about one leaves it as it is.
class ListView {
public:
    virtual ~ListView() = default;
    // The rows changed: ask the model for them again.
    virtual void ReloadData() {}
    // Draw now, not at the next pass of the event loop.
    virtual void Display() {}
    virtual std::vector<size_t> SelectedRowIndexes() const { return {}; }
    virtual void SelectRowIndexes(const std::vector<size_t>& /*rows*/) {}
    // A tree is disabled while a scan runs, so that no second scan starts from it.
    virtual void SetEnabled(bool /*enabled*/) {}
};

// The window's side of the browse tab: the viewer and the volume and folder trees.
class BrowseController {
public:
    virtual ~BrowseController() = default;
    // Brings the viewer back in line with the shot list after clips were removed.
    virtual void ResetToCurrentFile() = 0;
    // The index of the clip in the viewer, or -1.
    virtual int GetCurrentFileIndex() = 0;
    // A volume was chosen: the folder tree starts at it now.
    virtual void SourceDriveChanged(const VolumeDescription& volume) = 0;
    // Volumes came or went.
    virtual void RedisplayDriveTree() = 0;
    virtual void ShotListUpdated() = 0;
};

}  // namespace ombrel

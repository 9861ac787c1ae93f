#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "model/RenderPreset.h"

namespace ombrel {

// The presets behind one preset bar of the main window, in the order shown.
// Main thread only; the window binds its view to presetList().
class PresetListModel {
public:
    const std::vector<RenderPresetPtr>& presetList() const { return presetList_; }
    size_t count() const { return presetList_.size(); }
    bool ContainsPresetWithID(const std::string& presetID) const;
    // Sorts by rising presetNumber; presets of equal number keep their order.
    void Rearrange();
    // Empties the list one item at a time.
    void DeleteAll();
    // Removes the presets at the selected indexes (those past the end are ignored) and
    // lets the manager drop them from its lookup.
    void Delete(std::vector<size_t> selection);

protected:
    std::vector<RenderPresetPtr> presetList_;
};

// Presets of the project (the older kind, kept in the project file).
class PresetDataSource : public PresetListModel {
public:
    void AddPreset(RenderPresetPtr preset);
};

// Presets of the current library.
class FactoryPresetDataSource : public PresetListModel {
public:
    // Adds and rearranges.
    void AddPreset(RenderPresetPtr preset);
};

}  // namespace ombrel

#include "model/PresetDataSource.h"

#include <algorithm>

#include "model/SettingsManager.h"

namespace ombrel {

bool PresetListModel::ContainsPresetWithID(const std::string& presetID) const {
    return std::any_of(presetList_.begin(), presetList_.end(),
                       [&](const RenderPresetPtr& p) { return p->presetID() == presetID; });
}

void PresetListModel::Rearrange() {
    std::stable_sort(presetList_.begin(), presetList_.end(),
                     [](const RenderPresetPtr& a, const RenderPresetPtr& b) { return b->sortOrder(*a); });
}

void PresetListModel::DeleteAll() {
    while (!presetList_.empty()) presetList_.pop_back();
}

void PresetListModel::Delete(std::vector<size_t> selection) {
    std::sort(selection.begin(), selection.end());
    selection.erase(std::unique(selection.begin(), selection.end()), selection.end());
    bool removed = false;
    for (auto it = selection.rbegin(); it != selection.rend(); ++it) {
        if (*it >= presetList_.size()) continue;
        presetList_.erase(presetList_.begin() + static_cast<std::ptrdiff_t>(*it));
        removed = true;
    }
    if (removed) SettingsManager::Instance().ReformPresetLookup();
}

void PresetDataSource::AddPreset(RenderPresetPtr preset) {
    if (preset) presetList_.push_back(std::move(preset));
}

void FactoryPresetDataSource::AddPreset(RenderPresetPtr preset) {
    if (!preset) return;
    presetList_.push_back(std::move(preset));
    Rearrange();
}

}  // namespace ombrel

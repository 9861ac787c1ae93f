#include "model/SettingsManager.h"

#include <array>

#include "core/Paths.h"

namespace ombrel {
namespace {

struct SizeEntry {
    int tag;
    OutputSize size;
};
constexpr std::array<SizeEntry, 8> kSizes = {{{0, {0, 0}},
                                              {1, {640, 480}},
                                              {2, {1024, 768}},
                                              {3, {1280, 720}},
                                              {4, {1920, 1080}},
                                              {5, {2048, 1152}},
                                              {6, {2048, 1536}},
                                              {7, {4096, 2034}}}};
constexpr int kCustomSizeTag = 101;

}  // namespace

std::vector<ClipSettingsPtr>& SettingsManager::StackLocked(const std::string& path) {
    auto& stack = settingsDictionary_[path];
    while (stack.size() >= kMaxStackDepth) stack.erase(stack.begin());
    return stack;
}

ClipSettingsPtr SettingsManager::SettingsForClip(const std::string& path) const {
    std::lock_guard lock(lock_);
    auto it = settingsDictionary_.find(path);
    if (it == settingsDictionary_.end() || it->second.empty()) return nullptr;
    return it->second.back();
}

std::vector<ClipSettingsPtr> SettingsManager::GetStackForClip(const std::string& path) {
    std::lock_guard lock(lock_);
    return StackLocked(path);
}

void SettingsManager::PushSettingsForClip(const ClipSettings& settings, const std::string& path) {
    if (path.empty()) return;
    std::lock_guard lock(lock_);
    auto& stack = StackLocked(path);
    if (!stack.empty() && settings.IsTheSameAs(*stack.back())) return;
    auto copy = ClipSettings::Make();
    copy->CopySettingsFrom(settings);
    stack.push_back(std::move(copy));
}

ClipSettingsPtr SettingsManager::PopSettingsForClip(const std::string& path) {
    std::lock_guard lock(lock_);
    auto it = settingsDictionary_.find(path);
    if (it == settingsDictionary_.end() || it->second.empty()) return nullptr;
    auto top = it->second.back();
    it->second.pop_back();
    return top;
}

void SettingsManager::ClearAll() {
    std::lock_guard lock(lock_);
    settingsDictionary_.clear();
}

OutputSize SettingsManager::customOutputSize() const {
    std::lock_guard lock(lock_);
    return customOutputSize_;
}

void SettingsManager::setCustomOutputSize(OutputSize size) {
    std::lock_guard lock(lock_);
    customOutputSize_ = size;
}

OutputSize SettingsManager::SizeForTag(int tag) {
    for (const auto& e : kSizes)
        if (e.tag == tag) return e.size;
    if (tag == kCustomSizeTag) {
        OutputSize custom = Instance().customOutputSize();
        if (custom.width > 0.0f) return custom;
    }
    return {};
}

int SettingsManager::TagForSize(OutputSize size) {
    OutputSize custom = Instance().customOutputSize();
    if (custom.width > 0.0f && custom == size) return kCustomSizeTag;
    for (const auto& e : kSizes)
        if (e.size == size) return e.tag;
    return kCustomSizeTag;
}

std::string SettingsManager::PresetLibraryRootPath() { return DataFolder() + "/.presets"; }

std::string SettingsManager::PresetLibraryPathForName(const std::string& name) {
    return AppendingPathComponent(PresetLibraryRootPath(), name);
}

}  // namespace ombrel

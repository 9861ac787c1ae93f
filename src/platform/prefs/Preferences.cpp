#include "platform/prefs/Preferences.h"

#include "core/Log.h"

namespace ombrel::platform {

std::optional<PlistValue> MemoryPreferencesStore::Read(const std::string& key) const {
    std::lock_guard lock(mutex_);
    const auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return it->second;
}

Status MemoryPreferencesStore::Write(const std::string& key, const PlistValue& value) {
    if (value.isNull()) return Remove(key);
    std::lock_guard lock(mutex_);
    values_[key] = value;
    return OkStatus();
}

Status MemoryPreferencesStore::Remove(const std::string& key) {
    std::lock_guard lock(mutex_);
    values_.erase(key);
    return OkStatus();
}

std::vector<std::string> MemoryPreferencesStore::Keys() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> keys;
    for (const auto& [key, value] : values_) keys.push_back(key);
    return keys;
}

namespace {

std::mutex& SharedMutex() {
    static std::mutex m;
    return m;
}

std::shared_ptr<PreferencesStore>& SharedStore() {
    static std::shared_ptr<PreferencesStore> store = std::make_shared<MemoryPreferencesStore>();
    return store;
}

}  // namespace

Preferences::Preferences(std::shared_ptr<PreferencesStore> store) : store_(std::move(store)) {
    if (!store_) store_ = std::make_shared<MemoryPreferencesStore>();
}

Preferences Preferences::Shared() {
    std::lock_guard lock(SharedMutex());
    return Preferences(SharedStore());
}

void Preferences::SetSharedStore(std::shared_ptr<PreferencesStore> store) {
    std::lock_guard lock(SharedMutex());
    SharedStore() = store ? std::move(store) : std::make_shared<MemoryPreferencesStore>();
}

std::optional<PlistValue> Preferences::objectForKey(const std::string& key) const { return store_->Read(key); }

std::optional<bool> Preferences::boolForKey(const std::string& key) const {
    const auto v = store_->Read(key);
    if (!v || !v->isNumber()) return std::nullopt;
    return v->asBool();
}

std::optional<int64_t> Preferences::integerForKey(const std::string& key) const {
    const auto v = store_->Read(key);
    if (!v || !v->isNumber()) return std::nullopt;
    return v->asInt();
}

std::optional<std::string> Preferences::stringForKey(const std::string& key) const {
    const auto v = store_->Read(key);
    if (!v || !v->isString()) return std::nullopt;
    return v->asString();
}

void Preferences::setObject(const std::string& key, const PlistValue& value) {
    const Status s = store_->Write(key, value);
    if (!s.ok()) LogError("Preference \"{}\" not stored: {}", key, s.message());
}

void Preferences::removeObjectForKey(const std::string& key) {
    const Status s = store_->Remove(key);
    if (!s.ok()) LogError("Preference \"{}\" not removed: {}", key, s.message());
}

std::vector<std::string> Preferences::Keys() const { return store_->Keys(); }

void Preferences::Synchronize() {
    const Status s = store_->Sync();
    if (!s.ok()) LogError("Preferences not saved: {}", s.message());
}

}  // namespace ombrel::platform

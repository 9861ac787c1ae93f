#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "core/PlistValue.h"
#include "core/Status.h"

namespace ombrel::platform {

// Where preference values live. Values are property-list values; a store decides how to
// keep them. Every operation may be called from any thread.
class PreferencesStore {
public:
    virtual ~PreferencesStore() = default;
    virtual std::optional<PlistValue> Read(const std::string& key) const = 0;
    virtual Status Write(const std::string& key, const PlistValue& value) = 0;
    virtual Status Remove(const std::string& key) = 0;
    // Sorted.
    virtual std::vector<std::string> Keys() const = 0;
    // Makes what was written durable; a memory store has nothing to do.
    virtual Status Sync() { return OkStatus(); }
};

class MemoryPreferencesStore : public PreferencesStore {
public:
    std::optional<PlistValue> Read(const std::string& key) const override;
    Status Write(const std::string& key, const PlistValue& value) override;
    Status Remove(const std::string& key) override;
    std::vector<std::string> Keys() const override;

private:
    mutable std::mutex mutex_;
    std::map<std::string, PlistValue> values_;
};

// Typed reading and writing of per-user preferences by key. A value of another type than
// asked reads as absent, and the caller's default applies.
class Preferences {
public:
    explicit Preferences(std::shared_ptr<PreferencesStore> store);

    // The process's preferences: a memory store until the application installs its own.
    static Preferences Shared();
    static void SetSharedStore(std::shared_ptr<PreferencesStore> store);

    std::optional<PlistValue> objectForKey(const std::string& key) const;
    std::optional<bool> boolForKey(const std::string& key) const;
    std::optional<int64_t> integerForKey(const std::string& key) const;
    std::optional<std::string> stringForKey(const std::string& key) const;

    // A failed write is logged: preferences are never worth stopping the user's work for.
    void setObject(const std::string& key, const PlistValue& value);
    void setBool(const std::string& key, bool value) { setObject(key, PlistValue(value)); }
    void setInteger(const std::string& key, int64_t value) { setObject(key, PlistValue(value)); }
    void removeObjectForKey(const std::string& key);
    std::vector<std::string> Keys() const;
    void Synchronize();

    PreferencesStore& store() const { return *store_; }

private:
    std::shared_ptr<PreferencesStore> store_;
};

}  // namespace ombrel::platform

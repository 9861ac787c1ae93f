#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "platform/prefs/Preferences.h"

class QSettings;

namespace ombrel {

// The user's preferences in an INI file: scalars as plain text, dictionaries and arrays as
// XML property-list text. Reading gives back the type: "true"/"false", whole numbers, other
// numbers, property lists, text.
class IniPreferencesStore : public platform::PreferencesStore {
public:
    explicit IniPreferencesStore(const std::string& path);
    ~IniPreferencesStore() override;

    // $XDG_CONFIG_HOME/Ombrel/Ombrel.conf, with ~/.config for an unset XDG_CONFIG_HOME.
    static std::string DefaultPath();

    std::optional<PlistValue> Read(const std::string& key) const override;
    Status Write(const std::string& key, const PlistValue& value) override;
    Status Remove(const std::string& key) override;
    std::vector<std::string> Keys() const override;
    Status Sync() override;

    // The text a value is stored as, and back.
    static std::string ToText(const PlistValue& value);
    static PlistValue FromText(const std::string& text);

private:
    mutable std::mutex mutex_;
    std::unique_ptr<QSettings> settings_;
    std::string path_;
};

}  // namespace ombrel

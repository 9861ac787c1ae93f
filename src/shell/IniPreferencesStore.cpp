#include "shell/IniPreferencesStore.h"

#include <QSettings>
#include <QString>

#include <cstdlib>
#include <regex>

#include "core/Paths.h"

namespace ombrel {

IniPreferencesStore::IniPreferencesStore(const std::string& path)
    : settings_(std::make_unique<QSettings>(QString::fromStdString(path), QSettings::IniFormat)), path_(path) {}

IniPreferencesStore::~IniPreferencesStore() {
    std::lock_guard lock(mutex_);
    settings_->sync();
}

std::string IniPreferencesStore::DefaultPath() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    const std::string base = xdg && *xdg ? std::string(xdg) : HomeFolder() + "/.config";
    return base + "/Ombrel/Ombrel.conf";
}

std::string IniPreferencesStore::ToText(const PlistValue& value) {
    switch (value.type()) {
        case PlistValue::Type::Bool:
            return value.asBool() ? "true" : "false";
        case PlistValue::Type::Integer:
            return std::to_string(value.asInt());
        case PlistValue::Type::Real: {
            char text[64];
            std::snprintf(text, sizeof text, "%.17g", value.asReal());
            std::string s(text);
            // Keeps a whole real a real when read back.
            if (s.find_first_of(".eEn") == std::string::npos) s += ".0";
            return s;
        }
        case PlistValue::Type::String:
            return value.asString();
        default:
            return value.ToXml();
    }
}

PlistValue IniPreferencesStore::FromText(const std::string& text) {
    static const std::regex kInteger(R"(^-?\d+$)");
    static const std::regex kReal(R"(^-?(\d+\.\d*|\.\d+|\d+)([eE][-+]?\d+)?$)");
    if (text == "true") return PlistValue(true);
    if (text == "false") return PlistValue(false);
    if (std::regex_match(text, kInteger)) return PlistValue(static_cast<int64_t>(std::strtoll(text.c_str(), nullptr, 10)));
    if (std::regex_match(text, kReal)) return PlistValue(std::strtod(text.c_str(), nullptr));
    if (text.rfind("<?xml", 0) == 0 && text.find("<plist") != std::string::npos) {
        PlistValue out;
        if (PlistValue::FromXml(text, &out).ok()) return out;
    }
    return PlistValue(text);
}

std::optional<PlistValue> IniPreferencesStore::Read(const std::string& key) const {
    std::lock_guard lock(mutex_);
    const QString k = QString::fromStdString(key);
    if (!settings_->contains(k)) return std::nullopt;
    return FromText(settings_->value(k).toString().toStdString());
}

Status IniPreferencesStore::Write(const std::string& key, const PlistValue& value) {
    if (value.isNull()) return Remove(key);
    std::lock_guard lock(mutex_);
    settings_->setValue(QString::fromStdString(key), QString::fromStdString(ToText(value)));
    return OkStatus();
}

Status IniPreferencesStore::Remove(const std::string& key) {
    std::lock_guard lock(mutex_);
    settings_->remove(QString::fromStdString(key));
    return OkStatus();
}

std::vector<std::string> IniPreferencesStore::Keys() const {
    std::lock_guard lock(mutex_);
    std::vector<std::string> keys;
    for (const QString& k : settings_->allKeys()) keys.push_back(k.toStdString());
    std::sort(keys.begin(), keys.end());
    return keys;
}

Status IniPreferencesStore::Sync() {
    std::lock_guard lock(mutex_);
    settings_->sync();
    if (settings_->status() != QSettings::NoError) return IoError("cannot write the preferences file " + path_);
    return OkStatus();
}

}  // namespace ombrel

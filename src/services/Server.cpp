#include "services/Server.h"

#include <cstdio>
#include <cstdlib>

#include "platform/prefs/Preferences.h"

#ifndef OMBREL_DEFAULT_SERVER_URL
#define OMBREL_DEFAULT_SERVER_URL ""
#endif
#ifndef OMBREL_VERSION
#define OMBREL_VERSION "0"
#endif

namespace ombrel::services {

std::string ServerURL() {
    std::string url;
    if (const char* env = std::getenv("OMBREL_SERVER_URL"); env && *env)
        url = env;
    else
        url = platform::Preferences::Shared().stringForKey("ServerURL").value_or(OMBREL_DEFAULT_SERVER_URL);
    if (!url.empty() && url.back() != '/') url += '/';
    return url;
}

bool Offline() {
    if (const char* env = std::getenv("OMBREL_OFFLINE"); env && std::string(env) == "1") return true;
    return platform::Preferences::Shared().boolForKey("Offline").value_or(false);
}

Status ResolveLocation(const std::string& location, std::string* url) {
    if (location.find("://") != std::string::npos) {
        *url = location;
        return OkStatus();
    }
    const std::string server = ServerURL();
    if (server.empty())
        return NotFoundError("The download location \"" + location +
                             "\" is relative to the server, and no server is configured (preference \"ServerURL\" "
                             "or OMBREL_SERVER_URL)");
    *url = server + (location.rfind('/', 0) == 0 ? location.substr(1) : location);
    return OkStatus();
}

std::string DownloadPageURL(bool withEmail) {
    const std::string server = ServerURL();
    if (server.empty()) return {};
    return server + "Download/download_file.aspx?software_id=1" + (withEmail ? "&email=" : "");
}

std::string PercentEscape(const std::string& text) {
    static const std::string kKept = "-._~!$&'()*+,;=:@/?";
    std::string out;
    for (const unsigned char c : text) {
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
            kKept.find(static_cast<char>(c)) != std::string::npos) {
            out += static_cast<char>(c);
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X", c);
            out += hex;
        }
    }
    return out;
}

std::string ApplicationVersion() { return OMBREL_VERSION; }

double VersionAsDouble(const std::string& text) {
    const char* s = text.c_str();
    while (*s == ' ' || *s == '\t' || *s == '\n' || *s == '\r') ++s;
    const char c = *s == '+' || *s == '-' ? s[1] : *s;
    if (!((c >= '0' && c <= '9') || c == '.')) return 0.0;
    char* end = nullptr;
    const double v = std::strtod(s, &end);
    return end == s ? 0.0 : v;
}

}  // namespace ombrel::services

#include "core/Paths.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace ombrel {

std::string HomeFolder() {
    if (const char* h = std::getenv("HOME"); h && *h) return h;
    if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir) return pw->pw_dir;
    return "/tmp";
}

std::string ExpandTilde(const std::string& path) {
    if (path == "~") return HomeFolder();
    if (path.rfind("~/", 0) == 0) return HomeFolder() + path.substr(1);
    return path;
}

std::string DocumentsFolder() { return HomeFolder() + "/Documents/Ombrel"; }
std::string AutosaveFolder() { return DocumentsFolder() + "/Autosave"; }
std::string RenderFolder() { return DocumentsFolder() + "/Render"; }
std::string ThumbnailsFolder() { return DocumentsFolder() + "/Thumbnails"; }
std::string DataFolder() { return DocumentsFolder() + "/Data"; }

std::string DataRoot() {
    namespace fs = std::filesystem;
    if (const char* d = std::getenv("OMBREL_DATA_DIR"); d && *d) return d;
    std::error_code ec;
#ifdef OMBREL_INSTALL_DATA_DIR
    if (fs::is_directory(OMBREL_INSTALL_DATA_DIR, ec)) return OMBREL_INSTALL_DATA_DIR;
#endif
#ifdef OMBREL_BUILD_DATA_DIR
    return OMBREL_BUILD_DATA_DIR;
#else
    return "/usr/share/tessaly";
#endif
}

std::string ProfilesFolder() { return DataRoot() + "/Profiles"; }
std::string ResourcesFolder() { return DataRoot() + "/Resources"; }

std::string UserProfilesFolder() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    const std::string base = xdg && *xdg ? std::string(xdg) : HomeFolder() + "/.local/share";
    return base + "/ombrel/Profiles";
}

std::string LastPathComponent(const std::string& path) {
    std::string p = path;
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    auto slash = p.rfind('/');
    return slash == std::string::npos ? p : p.substr(slash + 1);
}

std::string PathExtension(const std::string& path) {
    std::string last = LastPathComponent(path);
    auto dot = last.rfind('.');
    if (dot == std::string::npos || dot == 0) return {};
    return last.substr(dot + 1);
}

std::string DeletingPathExtension(const std::string& path) {
    std::string ext = PathExtension(path);
    std::string p = path;
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    if (ext.empty()) return p;
    return p.substr(0, p.size() - ext.size() - 1);
}

std::string AppendingPathComponent(const std::string& dir, const std::string& component) {
    if (dir.empty()) return component;
    std::string d = dir;
    while (d.size() > 1 && d.back() == '/') d.pop_back();
    std::string c = component;
    size_t start = 0;
    while (start < c.size() && c[start] == '/') ++start;
    c = c.substr(start);
    while (!c.empty() && c.back() == '/') c.pop_back();
    if (c.empty()) return d;
    return d == "/" ? d + c : d + "/" + c;
}

}  // namespace ombrel

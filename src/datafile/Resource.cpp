#include "datafile/Resource.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "core/Log.h"
#include "core/Paths.h"

namespace ombrel {

std::string ResourcePath(const std::string& name) { return AppendingPathComponent(DataRoot(), name); }

std::string FindResource(const std::string& name, std::string* whyMissing) {
    const std::string path = ResourcePath(name);
    std::error_code ec;
    if (std::filesystem::is_regular_file(path, ec) && ::access(path.c_str(), R_OK) == 0) return path;
    if (whyMissing) {
        const char* env = std::getenv("OMBREL_DATA_DIR");
        const bool fromEnv = env && *env;
        *whyMissing = "Missing resource \"" + name + "\": no readable file at " + path + " (data root " + DataRoot() +
                      (fromEnv ? ", set by OMBREL_DATA_DIR" : "") +
                      "). The installation is broken: reinstall, or point OMBREL_DATA_DIR at a data root that "
                      "holds it.";
    }
    return {};
}

std::string RequireResource(const std::string& name) {
    std::string why;
    std::string path = FindResource(name, &why);
    if (!path.empty()) return path;
    Log()->critical("{}{}", kErrorPrefix, why);
    Log()->flush();
    std::abort();
}

}  // namespace ombrel

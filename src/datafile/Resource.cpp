#include "datafile/Resource.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "core/Log.h"
#include "core/Paths.h"

namespace ombrel {

std::string ResourcePath(const std::string& name) { return AppendingPathComponent(DataRoot(), name); }

Status FindResource(const std::string& name, std::string* path) {
    const std::string where = ResourcePath(name);
    std::error_code ec;
    if (std::filesystem::is_regular_file(where, ec) && ::access(where.c_str(), R_OK) == 0) {
        if (path) *path = where;
        return OkStatus();
    }
    const char* env = std::getenv("OMBREL_DATA_DIR");
    const bool fromEnv = env && *env;
    return NotFoundError("Missing resource \"" + name + "\": no readable file at " + where + " (data root " +
                         DataRoot() + (fromEnv ? ", set by OMBREL_DATA_DIR" : "") +
                         "). The installation is broken: reinstall, or point OMBREL_DATA_DIR at a data root that "
                         "holds it.");
}

std::string RequireResource(const std::string& name) {
    std::string path;
    const Status found = FindResource(name, &path);
    if (found.ok()) return path;
    Log()->critical("{}{}", kErrorPrefix, found.message());
    Log()->flush();
    std::abort();
}

}  // namespace ombrel

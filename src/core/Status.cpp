#include "core/Status.h"

#include <cerrno>
#include <cstring>

namespace ombrel {

Status SystemError(const char* what, const std::string& path, int err) {
    const Status::Code code = err == ENOENT   ? Status::Code::kNotFound
                              : err == EEXIST ? Status::Code::kExists
                                              : Status::Code::kIo;
    return {code, std::string(what) + " " + path + ": " + std::strerror(err)};
}

}  // namespace ombrel

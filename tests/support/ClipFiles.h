#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace ombrel::test {

// Files the browser takes by name and size only: an R3D name needs no content, a movie only
// its size (sparse, so nothing is written).
inline std::string Touch(const std::string& path, uintmax_t size = 0) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path).put('x');
    std::filesystem::resize_file(path, size);
    return path;
}
// The smallest movie the browser takes for a clip.
constexpr uintmax_t kMovieSize = 1000001;

}  // namespace ombrel::test

#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace ombrel::test {

TempDir::TempDir() {
    std::string base = std::filesystem::temp_directory_path().string() + "/ombrel-test-XXXXXX";
    if (!::mkdtemp(base.data())) ADD_FAILURE() << "cannot make a scratch folder";
    path_ = base;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(path_, ec);
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void WriteWholeFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* v = std::getenv(name)) {
        hadValue_ = true;
        oldValue_ = v;
    }
    value ? ::setenv(name, value, 1) : ::unsetenv(name);
}

ScopedEnv::~ScopedEnv() { hadValue_ ? ::setenv(name_.c_str(), oldValue_.c_str(), 1) : ::unsetenv(name_.c_str()); }

}  // namespace ombrel::test

#include "RefFile.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace ombrel::test {

std::string RefPath(const std::string& name) { return std::string(OMBREL_TEST_REF_DIR) + "/" + name; }

::testing::AssertionResult MatchesRef(const std::string& name, const std::string& actual) {
    const std::string path = RefPath(name);
    const char* regen = std::getenv("OMBREL_REGEN_REF");
    if (regen && std::string(regen) == "1") {
        std::error_code ec;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ec);
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out << actual;
        if (!out) return ::testing::AssertionFailure() << "could not write " << path;
        return ::testing::AssertionSuccess();
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return ::testing::AssertionFailure()
               << "no reference file " << path << " (run tests/ref/regenerate and review the diff)";
    }
    std::ostringstream ss;
    ss << in.rdbuf();
    const std::string expected = ss.str();
    if (expected == actual) return ::testing::AssertionSuccess();
    // Name the first differing line so a failure reads without a diff tool.
    std::istringstream e(expected), a(actual);
    std::string el, al;
    for (int line = 1;; ++line) {
        const bool he = static_cast<bool>(std::getline(e, el));
        const bool ha = static_cast<bool>(std::getline(a, al));
        if (!he && !ha) break;
        if (!he || !ha || el != al) {
            return ::testing::AssertionFailure()
                   << path << " differs at line " << line << "\n  expected: " << (he ? el : "<end>")
                   << "\n  actual:   " << (ha ? al : "<end>");
        }
    }
    return ::testing::AssertionFailure() << path << " differs (line endings or a final newline)";
}

}  // namespace ombrel::test

#pragma once

#include <string>

namespace ombrel::test {

// A scratch folder removed with everything in it when the test ends.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Points OMBREL_DATA_DIR at another root while alive, then puts back what was there (or
// nothing).
class ScopedDataRoot {
public:
    explicit ScopedDataRoot(const std::string& root);
    ~ScopedDataRoot();
    ScopedDataRoot(const ScopedDataRoot&) = delete;
    ScopedDataRoot& operator=(const ScopedDataRoot&) = delete;

    // The root in force before this one; empty when there was none.
    const std::string& previous() const { return oldValue_; }

private:
    bool hadValue_ = false;
    std::string oldValue_;
};

std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& bytes);

}  // namespace ombrel::test

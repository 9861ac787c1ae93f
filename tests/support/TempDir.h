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

// Sets an environment variable (or, given null, unsets it) while alive, then puts back what
// was there (or nothing).
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

    // The value in force before this one; empty when there was none.
    const std::string& previous() const { return oldValue_; }

private:
    std::string name_;
    bool hadValue_ = false;
    std::string oldValue_;
};

// Points OMBREL_DATA_DIR at another root while alive; a scoped HOME is ScopedEnv("HOME", ...).
class ScopedDataRoot : public ScopedEnv {
public:
    explicit ScopedDataRoot(const std::string& root) : ScopedEnv("OMBREL_DATA_DIR", root.c_str()) {}
};

std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& bytes);

}  // namespace ombrel::test

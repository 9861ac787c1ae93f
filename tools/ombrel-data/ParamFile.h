#pragma once

// The plain parameter files under data/: one "key value value ..." line per parameter, '#'
// starts a comment, blank lines are ignored. A key given once keeps its first line.

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ombrel::filmdata {

class ParamFile {
public:
    // False with a message (file and line) when the file cannot be read or a line is bad.
    bool Load(const std::string& path, std::string* error);
    // Parses text as if it came from `name`.
    bool Parse(const std::string& text, const std::string& name, std::string* error);

    const std::string& path() const { return path_; }
    bool Has(const std::string& key) const { return values_.count(key) != 0; }

    // The words after the key, joined by one space; fallback when absent.
    std::string Text(const std::string& key, const std::string& fallback = {}) const;

    // Numbers: false (with a message) when the key is missing and no fallback applies, or a
    // word is not a number, or the count is wrong.
    bool Number(const std::string& key, double* out, std::string* error) const;
    // Optional keys: a missing key leaves *value as it is; a malformed one is an error.
    bool Optional(const std::string& key, double* value, std::string* error) const;
    bool OptionalTriple(const std::string& key, std::array<double, 3>* value, std::string* error) const;
    // One value stands for all three.
    bool Triple(const std::string& key, std::array<double, 3>* out, std::string* error) const;
    bool Numbers(const std::string& key, size_t count, std::vector<double>* out, std::string* error) const;

private:
    std::optional<std::vector<double>> Parsed(const std::string& key, std::string* error) const;

    std::string path_;
    std::map<std::string, std::vector<std::string>> values_;
};

// Splits a line at TABs (the catalogue's fields hold spaces).
std::vector<std::string> SplitTabs(const std::string& line);
std::string Trim(const std::string& text);

}  // namespace ombrel::filmdata

#include "ombrel-data/ParamFile.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace ombrel::filmdata {

std::string Trim(const std::string& text) {
    const char* space = " \t\r\n";
    const size_t first = text.find_first_not_of(space);
    if (first == std::string::npos) return {};
    const size_t last = text.find_last_not_of(space);
    return text.substr(first, last - first + 1);
}

std::vector<std::string> SplitTabs(const std::string& line) {
    std::vector<std::string> fields;
    size_t start = 0;
    while (true) {
        const size_t tab = line.find('\t', start);
        fields.push_back(Trim(line.substr(start, tab == std::string::npos ? std::string::npos : tab - start)));
        if (tab == std::string::npos) break;
        start = tab + 1;
    }
    return fields;
}

bool ParamFile::Load(const std::string& path, std::string* error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        if (error) *error = "cannot read " + path;
        return false;
    }
    std::ostringstream text;
    text << in.rdbuf();
    return Parse(text.str(), path, error);
}

bool ParamFile::Parse(const std::string& text, const std::string& name, std::string* error) {
    path_ = name;
    values_.clear();
    std::istringstream lines(text);
    std::string line;
    int number = 0;
    while (std::getline(lines, line)) {
        ++number;
        const size_t hash = line.find('#');
        if (hash != std::string::npos) line.erase(hash);
        std::istringstream words(line);
        std::string key;
        if (!(words >> key)) continue;
        std::vector<std::string> rest;
        for (std::string word; words >> word;) rest.push_back(word);
        if (rest.empty()) {
            if (error) *error = name + ":" + std::to_string(number) + ": \"" + key + "\" has no value";
            return false;
        }
        values_.emplace(key, std::move(rest));
    }
    return true;
}

std::string ParamFile::Text(const std::string& key, const std::string& fallback) const {
    auto it = values_.find(key);
    if (it == values_.end()) return fallback;
    std::string joined;
    for (const auto& word : it->second) {
        if (!joined.empty()) joined += ' ';
        joined += word;
    }
    return joined;
}

std::optional<std::vector<double>> ParamFile::Parsed(const std::string& key, std::string* error) const {
    auto it = values_.find(key);
    if (it == values_.end()) {
        if (error) *error = path_ + ": \"" + key + "\" is missing";
        return std::nullopt;
    }
    std::vector<double> numbers;
    for (const auto& word : it->second) {
        errno = 0;
        char* end = nullptr;
        const double value = std::strtod(word.c_str(), &end);
        if (end == word.c_str() || *end != '\0' || errno == ERANGE) {
            if (error) *error = path_ + ": \"" + key + "\": \"" + word + "\" is not a number";
            return std::nullopt;
        }
        numbers.push_back(value);
    }
    return numbers;
}

bool ParamFile::Numbers(const std::string& key, size_t count, std::vector<double>* out, std::string* error) const {
    auto numbers = Parsed(key, error);
    if (!numbers) return false;
    if (numbers->size() != count) {
        if (error)
            *error = path_ + ": \"" + key + "\" needs " + std::to_string(count) + " numbers, has " +
                     std::to_string(numbers->size());
        return false;
    }
    *out = std::move(*numbers);
    return true;
}

bool ParamFile::Number(const std::string& key, double* out, std::string* error) const {
    std::vector<double> numbers;
    if (!Numbers(key, 1, &numbers, error)) return false;
    *out = numbers[0];
    return true;
}

bool ParamFile::Optional(const std::string& key, double* value, std::string* error) const {
    return !Has(key) || Number(key, value, error);
}

bool ParamFile::OptionalTriple(const std::string& key, std::array<double, 3>* value, std::string* error) const {
    return !Has(key) || Triple(key, value, error);
}

bool ParamFile::Triple(const std::string& key, std::array<double, 3>* out, std::string* error) const {
    auto numbers = Parsed(key, error);
    if (!numbers) return false;
    if (numbers->size() == 1) {
        out->fill((*numbers)[0]);
        return true;
    }
    if (numbers->size() != 3) {
        if (error) *error = path_ + ": \"" + key + "\" needs 1 or 3 numbers";
        return false;
    }
    *out = {(*numbers)[0], (*numbers)[1], (*numbers)[2]};
    return true;
}

}  // namespace ombrel::filmdata

#pragma once

// Documents of a reference file, each under "=== <name>", run one by one through a reader; what
// each gives, with the lines it logged, is compared with a second reference file.
#include "core/Log.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace ombrel::test {

inline std::vector<std::pair<std::string, std::string>> XmlCases(const std::string& refName) {
    std::istringstream in(ReadWholeFile(RefPath(refName)));
    std::vector<std::pair<std::string, std::string>> cases;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("=== ", 0) == 0)
            cases.emplace_back(line.substr(4), "");
        else if (!cases.empty())
            cases.back().second += line + "\n";
    }
    return cases;
}

// `run` reads the document at the path it is given under the case's name and answers its dump.
inline std::string RunXmlCases(const std::string& refName, const std::string& fileName,
                               const std::function<std::string(const std::string&, const std::string&)>& run) {
    std::string out;
    for (const auto& [name, document] : XmlCases(refName)) {
        TempDir dir;
        WriteWholeFile(dir / fileName, document);
        LogCapture log;
        out += "=== " + name + "\n" + run(name, dir / fileName);
        for (std::string line : log.Lines()) {
            for (size_t at; (at = line.find(dir.path())) != std::string::npos;) line.replace(at, dir.path().size(), "<dir>");
            out += "  log: " + line + "\n";
        }
    }
    return out;
}

}  // namespace ombrel::test

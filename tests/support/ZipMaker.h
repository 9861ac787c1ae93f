#pragma once

#include <string>
#include <vector>

namespace ombrel::test {

// A member of a zip made for a test: a file with its bytes, a folder, or a link to `data`.
struct ZipMember {
    enum Kind { kFile, kFolder, kSymlink };
    std::string name;
    std::string data;
    Kind kind = kFile;
};

// Writes the members as they are, hostile names included; false when libarchive refused.
bool MakeZip(const std::string& path, const std::vector<ZipMember>& members);

}  // namespace ombrel::test

#include "damage/Treatments.h"

#include <algorithm>
#include <filesystem>

#include "core/Paths.h"
#include "damage/AnimationSequence.h"
#include "datafile/Resource.h"

namespace ombrel {

namespace fs = std::filesystem;

std::vector<std::string> BuiltInTreatments() {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(ResourcePath("Resources/Damage"), ec), end; !ec && it != end; it.increment(ec))
        if (it->path().extension() == ".plist" && it->is_regular_file(ec)) names.push_back(it->path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

Status FindTreatment(const std::string& nameOrFile, std::string* path) {
    std::error_code ec;
    const std::string asFile = ExpandTilde(nameOrFile);
    std::string found;
    if (!nameOrFile.empty() && fs::is_regular_file(asFile, ec)) {
        found = asFile;
    } else if (!nameOrFile.empty() && nameOrFile.find('/') == std::string::npos) {
        const std::string user = AnimationSequence::AnimPathForName(nameOrFile);
        if (fs::is_regular_file(user, ec)) found = user;
        else if (!FindResource("Resources/Damage/" + nameOrFile + ".plist", &found).ok()) found.clear();
    }
    if (!found.empty()) {
        if (path) *path = found;
        return OkStatus();
    }
    std::string list;
    for (const std::string& n : BuiltInTreatments()) list += (list.empty() ? "" : ", ") + n;
    return NotFoundError("No damage treatment \"" + nameOrFile + "\": no such file, none of that name in " +
                         DataFolder() + ", and none built in (built in: " + (list.empty() ? "none" : list) + ")");
}

}  // namespace ombrel

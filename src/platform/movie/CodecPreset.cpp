#include "platform/movie/CodecPreset.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <array>
#include <fstream>
#include <map>
#include <sstream>

#include "core/Paths.h"

namespace ombrel {
namespace {

// The codec's four characters read back to front, except tag 9, which reads forward.
constexpr std::array<const char*, kFactoryCodecTags> kBaseNames = {"doci", "ncpa", "hcpa", "scpa", "h4pa",
                                                                   "1cva", "v4pm", "yuv2", "012v", "ap4h"};

std::string Trim(const std::string& s) {
    const size_t b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

}  // namespace

std::string CodecPresetBaseName(int tag) {
    return tag >= 0 && tag < kFactoryCodecTags ? kBaseNames[static_cast<size_t>(tag)] : "";
}

std::string CodecPresetPath(int tag) {
    const std::string name = CodecPresetBaseName(tag);
    return name.empty() ? name : ResourcesFolder() + "/Codecs/" + name + ".dat";
}

Status ReadCodecPreset(const std::string& path, int tag, CodecPreset* preset) {
    std::ifstream in(path);
    if (!in) return NotFoundError("codec preset " + path + " cannot be read");
    std::map<std::string, std::string> values;
    std::string line;
    for (int n = 1; std::getline(in, line); ++n) {
        const std::string where = "codec preset " + path + " line " + std::to_string(n) + ": ";
        line = Trim(line);
        if (line.empty() || line[0] == '#') continue;
        const size_t eq = line.find('=');
        if (eq == std::string::npos) return InvalidError(where + "no \"key = value\"");
        const std::string key = Trim(line.substr(0, eq));
        if (key != "title" && key != "fourcc" && key != "encoder" && key != "pixel_format" && key != "options")
            return InvalidError(where + "unknown key \"" + key + "\"");
        if (!values.emplace(key, Trim(line.substr(eq + 1))).second)
            return InvalidError(where + "\"" + key + "\" given twice");
    }
    const std::string where = "codec preset " + path + ": ";
    for (const char* key : {"title", "fourcc", "encoder", "pixel_format", "options"})
        if (!values.count(key)) return InvalidError(where + "no \"" + key + "\"");
    CodecPreset p;
    p.tag = tag;
    p.title = values["title"];
    p.fourCC = values["fourcc"];
    p.encoder = values["encoder"];
    p.pixelFormat = values["pixel_format"];
    // Quotes keep a code that ends in a space, as 'raw '.
    if (p.fourCC.size() == 6 && p.fourCC.front() == '\'' && p.fourCC.back() == '\'') p.fourCC = p.fourCC.substr(1, 4);
    if (p.fourCC.size() != 4) return InvalidError(where + "fourcc \"" + p.fourCC + "\" is not four characters");
    if (!p.encoder.empty() && av_get_pix_fmt(p.pixelFormat.c_str()) == AV_PIX_FMT_NONE)
        return InvalidError(where + "unknown pixel format \"" + p.pixelFormat + "\"");
    std::istringstream options(values["options"]);
    for (std::string option; options >> option;) {
        const size_t eq = option.find('=');
        if (eq == 0 || eq == std::string::npos || eq + 1 == option.size())
            return InvalidError(where + "option \"" + option + "\" is not key=value");
        p.options.emplace_back(option.substr(0, eq), option.substr(eq + 1));
    }
    *preset = std::move(p);
    return OkStatus();
}

Status LoadCodecPreset(int tag, CodecPreset* preset) {
    const std::string path = CodecPresetPath(tag);
    if (path.empty()) return NotFoundError("no codec preset has the tag " + std::to_string(tag));
    return ReadCodecPreset(path, tag, preset);
}

}  // namespace ombrel

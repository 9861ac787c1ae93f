#include "model/ProjectFile.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "core/AtomicFile.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/PlistLimits.h"
#include "core/RegularFile.h"
#include "datafile/Resource.h"
#include "model/LookRanges.h"

namespace ombrel {
namespace fs = std::filesystem;

namespace {

constexpr const char* kAutosaveResource = "Resources/temp_save.xml";

int LineAt(std::string_view text, ptrdiff_t offset) {
    if (offset < 0) return 1;
    const size_t end = std::min(text.size(), static_cast<size_t>(offset));
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(end), '\n'));
}

std::string Trimmed(const char* s) {
    std::string t = s ? s : "";
    auto notSpace = [](unsigned char c) { return !std::isspace(c); };
    t.erase(t.begin(), std::find_if(t.begin(), t.end(), notSpace));
    t.erase(std::find_if(t.rbegin(), t.rend(), notSpace).base(), t.end());
    return t;
}

// The first element that a property-list reader cannot take, with why; libplist says
// only that it failed, so this walk finds the place to show the user.
struct Fault {
    pugi::xml_node node;
    std::string why;
};

bool CheckValue(const pugi::xml_node& node, int depth, Fault* fault);

bool Fail(const pugi::xml_node& node, std::string why, Fault* fault) {
    fault->node = node;
    fault->why = std::move(why);
    return false;
}

bool CheckDict(const pugi::xml_node& dict, int depth, Fault* fault) {
    pugi::xml_node pendingKey;
    for (pugi::xml_node child = dict.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) continue;
        if (!pendingKey) {
            if (std::strcmp(child.name(), "key") != 0)
                return Fail(child, std::string("<") + child.name() + "> where a <key> belongs", fault);
            pendingKey = child;
            continue;
        }
        if (std::strcmp(child.name(), "key") == 0)
            return Fail(pendingKey, std::string("key \"") + pendingKey.child_value() + "\" has no value", fault);
        if (!CheckValue(child, depth + 1, fault)) return false;
        pendingKey = pugi::xml_node();
    }
    if (pendingKey)
        return Fail(pendingKey, std::string("key \"") + pendingKey.child_value() + "\" has no value", fault);
    return true;
}

// `depth` counts the containers around the node; the walk stops at the bound the reader
// refuses, before the recursion can run out of stack.
bool CheckValue(const pugi::xml_node& node, int depth, Fault* fault) {
    const std::string name = node.name();
    if ((name == "dict" || name == "array") && depth >= kMaxPlistDepth)
        return Fail(node, "nested deeper than " + std::to_string(kMaxPlistDepth) + " levels", fault);
    const std::string text = Trimmed(node.child_value());
    if (name == "dict") return CheckDict(node, depth, fault);
    if (name == "array") {
        for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
            if (child.type() == pugi::node_element && !CheckValue(child, depth + 1, fault)) return false;
        return true;
    }
    if (name == "string" || name == "true" || name == "false" || name == "date" || name == "data") return true;
    if (name == "integer") {
        size_t i = (!text.empty() && (text[0] == '-' || text[0] == '+')) ? 1 : 0;
        const bool hex = text.compare(i, 2, "0x") == 0 || text.compare(i, 2, "0X") == 0;
        if (hex) i += 2;
        const bool digits =
            i < text.size() && std::all_of(text.begin() + static_cast<ptrdiff_t>(i), text.end(),
                                           [hex](unsigned char c) { return hex ? std::isxdigit(c) : std::isdigit(c); });
        return digits ? true : Fail(node, "\"" + text + "\" is not an integer", fault);
    }
    if (name == "real") {
        char* end = nullptr;
        errno = 0;
        std::strtod(text.c_str(), &end);
        const bool ok = !text.empty() && end && *end == '\0';
        return ok ? true : Fail(node, "\"" + text + "\" is not a number", fault);
    }
    if (name == "key") return Fail(node, "a <key> outside a <dict>", fault);
    return Fail(node, "<" + name + "> is not a property-list element", fault);
}

// Why an XML text is not a property list, and on which line; empty when it is one.
// libplist takes much that is not (a key without a value, an integer of letters) and
// names no line when it refuses, so this walk comes first.
std::string LocateFault(const std::string& text) {
    pugi::xml_document doc;
    // Without end-of-line conversion offsets stay those of the file.
    const unsigned options = pugi::parse_default & ~pugi::parse_eol;
    pugi::xml_parse_result parsed = doc.load_buffer(text.data(), text.size(), options);
    if (parsed.status == pugi::status_no_document_element) return "line 1: no XML element in the file";
    if (!parsed) return "line " + std::to_string(LineAt(text, parsed.offset)) + ": " + parsed.description();
    pugi::xml_node root = doc.document_element();
    if (std::strcmp(root.name(), "plist") != 0)
        return "line " + std::to_string(LineAt(text, root.offset_debug())) + ": the document is <" + root.name() +
               ">, not <plist>";
    pugi::xml_node value;
    for (pugi::xml_node child = root.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) continue;
        if (value) return "line " + std::to_string(LineAt(text, child.offset_debug())) + ": a second value in <plist>";
        value = child;
    }
    if (!value) return "line " + std::to_string(LineAt(text, root.offset_debug())) + ": <plist> holds no value";
    Fault fault;
    if (!CheckValue(value, 0, &fault))
        return "line " + std::to_string(LineAt(text, fault.node.offset_debug())) + ": " + fault.why;
    return {};
}

std::string PercentDecoded(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size() && std::isxdigit(static_cast<unsigned char>(s[i + 1])) &&
            std::isxdigit(static_cast<unsigned char>(s[i + 2]))) {
            out.push_back(static_cast<char>(std::strtol(s.substr(i + 1, 2).c_str(), nullptr, 16)));
            i += 2;
        } else {
            out.push_back(s[i]);
        }
    }
    return out;
}

// A file's "sourcePath" as the shot list reads it: escapes decoded, a file URL made a path.
std::string SourcePathOf(const PlistValue& file) {
    std::string p = PercentDecoded(PercentDecoded(file["sourcePath"].asString()));
    if (p.rfind("file://localhost/", 0) == 0) p = p.substr(16);
    if (p.rfind("file://", 0) == 0) p = p.substr(7);
    return p;
}

}  // namespace

Status ProjectFile::ReadPropertyList(const std::string& path, PlistValue* out) {
    std::string text;
    if (Status read = ReadRegularFile(path, &text); !read.ok()) return read;
    const bool binary = text.rfind("bplist", 0) == 0;
    if (!binary) {
        if (std::string fault = LocateFault(text); !fault.empty()) return InvalidError(path + ", " + fault);
    }
    PlistValue value;
    if (!PlistValue::FromXml(text, &value).ok())
        return InvalidError(path + (binary ? ": not a readable binary property list" : ": not a property list"));
    if (out) *out = std::move(value);
    return OkStatus();
}

Status ProjectFile::WritePropertyList(const PlistValue& dict, const std::string& path, const Writer& writer) {
    const std::string xml = dict.ToXml();
    if (xml.empty()) {
        const std::string why = "Cannot turn the project into a property list; nothing written to " + path;
        LogWarn("{}", why);
        return InvalidError(why);
    }
    Status written = writer ? writer(path, xml) : WriteFileAtomically(path, xml);
    if (!written.ok()) {
        LogWarn("Error writing to {}", path);
        if (written.message().empty())
            written = {written.code(), "Error writing to " + path};
        else
            LogWarn("{}", written.message());
    }
    return written;
}

PlistValue ProjectFile::ProjectDictionary(const ProjectState& state) {
    PlistValue dict = SettingsManager::Instance().GetProjectDictionary();
    dict.set("outputSettings", state.outputSettings.propertyList());
    if (state.currentOpenFile && !state.currentOpenFile->empty()) dict.set("CurrentOpenFile", *state.currentOpenFile);
    dict.set("SnippetList", state.snippetList.isDict() ? state.snippetList : PlistValue::MakeDict());
    dict.set("AppVersion", state.appVersion);
    return dict;
}

Status ProjectFile::SaveProjectToPath(const std::string& path, const ProjectState& state, const Writer& writer) {
    return WritePropertyList(ProjectDictionary(state), path, writer);
}

Status ProjectFile::LoadProjectAtPath(const std::string& path, ProjectState* state,
                                      SettingsManager::Migration migration) {
    PlistValue dict;
    Status read = ReadPropertyList(path, &dict);
    if (read.ok() && !dict.isDict())
        read = InvalidError(path + ": not a project file (its top level is not a dictionary)");
    if (!read.ok()) {
        LogDebug("Cannot load the project {}", read.message());
        return read;
    }
    auto& sm = SettingsManager::Instance();
    ProjectState loaded;
    loaded.hasPaths = dict.contains("Paths");
    if (loaded.hasPaths) {
        sm.ClearSettingsManager();
        for (const auto& p : dict["Paths"].asArray()) {
            const std::string clip = p.asString();
            if (clip.empty()) continue;
            sm.RegisterPath(clip);
            if (std::find(loaded.paths.begin(), loaded.paths.end(), clip) == loaded.paths.end())
                loaded.paths.push_back(clip);
        }
    }
    for (const auto& [clip, settings] : dict["clips"].asDict()) {
        loaded.clips.push_back(clip);
        if (std::string why = ClipDictionaryFault(settings); !why.empty()) loaded.clipFaults[clip] = std::move(why);
    }
    loaded.olderPresets = dict["Presets"].size();
    loaded.snippetList = dict["SnippetList"];
    loaded.outputSettings.LoadFromDictionary(dict["outputSettings"]);
    loaded.libraryName = LibraryNameForProjectPath(path);
    sm.LoadProjectFileNamedAtPath(dict, loaded.libraryName, path, migration);
    if (const std::string open = dict["CurrentOpenFile"].asString(); !open.empty()) loaded.currentOpenFile = open;
    loaded.appVersion = dict["AppVersion"].asString();
    if (state) *state = std::move(loaded);
    return OkStatus();
}

std::string ProjectFile::LibraryNameForProjectPath(const std::string& path) {
    const std::string name = DeletingPathExtension(LastPathComponent(path));
    return name == kAutosaveName ? SettingsManager::kDefaultPresetLibrary : name;
}

std::string ProjectFile::PathWithProjectExtension(const std::string& path) {
    if (path.empty() || !PathExtension(path).empty()) return path;
    return path + "." + kExtension;
}

std::string ProjectFile::AutosavePath() {
    const std::string folder = AutosaveFolder();
    std::error_code ec;
    fs::create_directories(folder, ec);
    const std::string path = AppendingPathComponent(folder, std::string(kAutosaveName) + "." + kExtension);
    if (fs::exists(path, ec)) return path;
    std::string resource;
    if (const Status found = FindResource(kAutosaveResource, &resource); !found.ok()) {
        LogWarn("{}", found.message());
        return path;
    }
    std::ifstream in(resource, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    const Status written = in ? WriteFileAtomically(path, ss.str()) : Status();
    if (!in || !written.ok()) LogWarn("Cannot make the autosave file: {}", written.message());
    return path;
}

PlistValue ProjectFile::SnippetsForPath(const PlistValue& snippetList, const std::string& path) {
    for (const auto& [key, file] : snippetList.asDict()) {
        if (SourcePathOf(file) == path) return file["KVCSnippetList"];
    }
    return {};
}

void ProjectFile::SetSnippetsForSettingsAndPath(ClipSettings& settings, const PlistValue& snippetList,
                                                const std::string& path) {
    PlistValue ranges = SnippetsForPath(snippetList, path);
    if (!ranges.isArray()) {
        settings.SetSnippetsFromArray(PlistValue{});
        return;
    }
    PlistValue partial = PlistValue::MakeDict();
    partial.set("Handle", 0);
    partial.set("PullType", 1);
    partial.set("SnippetList", ranges);
    settings.setPartialClipDictionary(std::move(partial));
    settings.SetSnippetsFromArray(ranges);
}

int ProjectFile::ReplacePathInSnippetList(PlistValue& snippetList, const std::string& oldPath,
                                          const std::string& newPath) {
    if (!snippetList.isDict()) return 0;
    int changed = 0;
    PlistValue updated = snippetList;
    for (const auto& [key, file] : snippetList.asDict()) {
        if (SourcePathOf(file) != oldPath) continue;
        PlistValue moved = file;
        moved.set("sourcePath", newPath);
        moved.set("name", LastPathComponent(newPath));
        updated.set(key, std::move(moved));
        ++changed;
    }
    snippetList = std::move(updated);
    return changed;
}

}  // namespace ombrel

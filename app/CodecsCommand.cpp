#include "CodecsCommand.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "RenderCommand.h"
#include "platform/movie/MovieWriter.h"

namespace ombrel::cli {
namespace {

std::string Json(const std::string& s) {
    std::string out = "\"";
    for (const char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        if (static_cast<unsigned char>(c) < 0x20) {
            char esc[8];
            std::snprintf(esc, sizeof esc, "\\u%04x", c);
            out += esc;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

struct Row {
    int tag;
    CodecPreset preset;
    Status test;
};

}  // namespace

CLI::App* AddCodecsCommand(CLI::App& app, CodecsOptions& o) {
    CLI::App* codecs = app.add_subcommand("codecs", "The movie codecs by tag, and whether each encodes here");
    codecs->add_flag("--json", o.json, "Print one JSON object");
    return codecs;
}

int RunCodecs(const CodecsOptions& o) {
    std::vector<Row> rows;
    // Tag 4 is tag 9's codec again, and the menu leaves it out.
    for (int tag = 0; tag < kFactoryCodecTags; ++tag) {
        if (tag == 4) continue;
        Row r{tag, {}, {}};
        r.test = LoadCodecPreset(tag, &r.preset);
        if (r.test.ok()) r.test = TestCodecPreset(r.preset);
        rows.push_back(std::move(r));
    }
    std::string out;
    if (o.json) {
        std::string failed;
        for (const Row& r : rows) {
            out += std::string(out.empty() ? "" : ",\n") + "  {\"tag\": " + std::to_string(r.tag) +
                   ", \"fourCC\": " + Json(r.preset.fourCC) + ", \"title\": " + Json(r.preset.title) +
                   ", \"encoder\": " + Json(r.preset.encoder) + ", \"available\": " + (r.test.ok() ? "true" : "false") +
                   (r.test.ok() ? "" : ", \"error\": " + Json(r.test.message())) + "}";
            if (!r.test.ok()) failed += (failed.empty() ? "" : ", ") + std::to_string(r.tag);
        }
        out = "{\"codecs\": [\n" + out + "\n], \"failed\": [" + failed + "]}\n";
    } else {
        char line[160];
        for (const Row& r : rows) {
            std::snprintf(line, sizeof line, "%3d  %-4s  %-26s  ", r.tag, r.preset.fourCC.c_str(),
                          r.preset.title.c_str());
            out += line + (r.test.ok() ? std::string("ok") : "unavailable: " + r.test.message()) + "\n";
        }
    }
    std::fputs(out.c_str(), stdout);
    return kExitOk;
}

}  // namespace ombrel::cli

#include "CodecsCommand.h"
#include "Json.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <string>

#include "RenderCommand.h"
#include "core/AtomicFile.h"
#include "model/SettingsManager.h"
#include "platform/movie/CustomCodecPreset.h"
#include "platform/movie/MovieWriter.h"

namespace ombrel::cli {
namespace {

struct Row {
    int tag;
    CodecPreset preset;
    Status test;
};

}  // namespace

CLI::App* AddCodecsCommand(CLI::App& app, CodecsOptions& o) {
    CLI::App* codecs = app.add_subcommand("codecs", "The movie codecs by tag, and whether each encodes here");
    codecs->add_flag("--json", o.json, "Print one JSON object");
    CLI::App* add = codecs->add_subcommand("add", "Add a movie codec of your own, from an FFmpeg encoder");
    add->add_option("--encoder", o.encoder, "FFmpeg video encoder, as dnxhd")->required();
    add->add_option("--option", o.options, "Encoder option KEY=VALUE, as profile=dnxhr_hq (repeatable)");
    add->add_option("--pix-fmt", o.pixelFormat, "Pixel format the encoder is fed (default: the first it opens with)");
    add->callback([&o] { o.add = true; });
    return codecs;
}

int RunCodecs(const CodecsOptions& o) {
    if (o.add) return RunCodecsAdd(o);
    SettingsManager& settings = SettingsManager::Instance();
    settings.LoadCustomCodecList();
    std::vector<Row> rows;
    // Tag 4 is tag 9's codec again, and the menu leaves it out.
    for (int tag = 0; tag < kFactoryCodecTags; ++tag)
        if (tag != 4) rows.push_back({tag, {}, {}});
    for (const CustomCodec& c : settings.customCodecs()) rows.push_back({c.popupTag(), {}, {}});
    for (Row& r : rows) {
        r.test = settings.LoadCodecPresetForTag(r.tag, &r.preset);
        if (r.test.ok()) r.test = TestCodecPreset(r.preset);
    }
    // A custom entry is shown by its name, also when its file does not read.
    for (const CustomCodec& c : settings.customCodecs())
        for (Row& r : rows)
            if (r.tag == c.popupTag()) r.preset.title = c.name();
    std::string out;
    if (o.json) {
        std::string failed;
        for (const Row& r : rows) {
            out += std::string(out.empty() ? "" : ",\n") + "  {\"tag\": " + std::to_string(r.tag) +
                   ", \"fourCC\": " + JsonString(r.preset.fourCC) + ", \"title\": " + JsonString(r.preset.title) +
                   ", \"encoder\": " + JsonString(r.preset.encoder) + ", \"available\": " + (r.test.ok() ? "true" : "false") +
                   (r.test.ok() ? "" : ", \"error\": " + JsonString(r.test.message())) + "}";
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

int RunCodecsAdd(const CodecsOptions& o) {
    CodecPreset preset;
    if (Status made = MakeCustomCodecPreset({o.encoder, o.options, o.pixelFormat}, &preset); !made.ok()) {
        std::fprintf(stderr, "ombrel codecs add: %s; nothing was added\n", made.message().c_str());
        return kExitFailed;
    }
    preset.title = "- User defined '" + preset.fourCC + "'";
    SettingsManager& settings = SettingsManager::Instance();
    settings.LoadCustomCodecList();
    const std::vector<CustomCodec> before = settings.customCodecs();
    const CustomCodec entry = settings.AddCustomCodec(preset.title);
    // The list was saved with the entry; saving again tells whether that went.
    if (!settings.SaveCustomCodecList()) {
        std::fprintf(stderr, "ombrel codecs add: the custom codec list %s cannot be written\n",
                     SettingsManager::CustomCodecListPath().c_str());
        return kExitFailed;
    }
    if (Status written = WriteFileAtomically(entry.path(), CodecPresetText(preset)); !written.ok()) {
        std::fprintf(stderr, "ombrel codecs add: %s; the entry \"%s\" stays without its settings\n",
                     written.message().c_str(), entry.name().c_str());
        return kExitFailed;
    }
    std::string options;
    for (const auto& [key, value] : preset.options) options += " " + key + "=" + value;
    std::printf("%3d  %-4s  %s  (%s, %s%s)\n", entry.popupTag(), preset.fourCC.c_str(), entry.name().c_str(),
                preset.encoder.c_str(), preset.pixelFormat.c_str(), options.c_str());
    for (const CustomCodec& old : before)
        if (old.slot() == entry.slot())
            std::printf("in the place of the oldest of %d, \"%s\"\n", CustomCodec::kSlotCount, old.name().c_str());
    std::printf("settings: %s\n", entry.path().c_str());
    return kExitOk;
}

}  // namespace ombrel::cli

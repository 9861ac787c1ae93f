// ombrel-pack: turns plain data into the scrambled resources the program reads, and back.
//
//   ombrel-pack scramble [--gzip] IN OUT        OUT = container of IN (gzipped first with --gzip)
//   ombrel-pack unscramble [--gunzip] IN OUT    OUT = the payload of container IN (gunzipped)
//
// Exit status: 0 done, 1 failed (message on stderr), 2 bad usage.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/Log.h"
#include "datafile/DataFile.h"

namespace {

// The helpers end their texts with "\n[errno]"; a terminal line reads better with the reason.
std::string Describe(const char* message) {
    std::string text = message;
    auto open = text.rfind("\n[");
    if (open != std::string::npos && !text.empty() && text.back() == ']') {
        int err = std::atoi(text.c_str() + open + 2);
        text = text.substr(0, open) + ": " + std::strerror(err);
    }
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    for (char& c : text) {
        if (c == '\n') c = ' ';
    }
    return text;
}

int Fail(const std::string& what, const char* message) {
    std::fprintf(stderr, "ombrel-pack: %s: %s\n", what.c_str(), Describe(message).c_str());
    return 1;
}

int Scramble(const std::string& in, const std::string& out, bool gzip) {
    char message[ombrel::kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 0;
    if (ombrel::ReadBytesFromFile(in, bytes, length, message) != 0) return Fail("cannot read input", message);
    if (gzip) {
        std::unique_ptr<uint8_t[]> zipped;
        size_t zippedLength = 0;
        if (ombrel::ZipBytesToArray(bytes.get(), length, zipped, zippedLength, message) != 0)
            return Fail("cannot gzip " + in, message);
        bytes = std::move(zipped);
        length = zippedLength;
    }
    if (ombrel::ScrambleDataToFile(out, bytes.get(), length, message) != 0) return Fail("cannot write output", message);
    return 0;
}

int Unscramble(const std::string& in, const std::string& out, bool gunzip) {
    char message[ombrel::kMessageBufferSize] = {};
    std::unique_ptr<uint8_t[]> bytes;
    size_t length = 0;
    if (ombrel::UnscrambleDataFromFile(in, bytes, length, message) != 0) return Fail("cannot read input", message);
    if (length < ombrel::kContainerTailSize) {
        std::fprintf(stderr, "ombrel-pack: %s is not a scrambled container: %zu bytes, fewer than its %zu-byte tail\n",
                     in.c_str(), length, ombrel::kContainerTailSize);
        return 1;
    }
    const uint8_t* payload = bytes.get();
    size_t payloadLength = length - ombrel::kContainerTailSize;
    std::unique_ptr<uint8_t[]> unzipped;
    if (gunzip) {
        // The tail goes in with the stream, as the program's own readers do it.
        if (ombrel::UnzipByteArray(bytes.get(), length, unzipped, payloadLength, message) != 0)
            return Fail("cannot gunzip the payload of " + in, message);
        payload = unzipped.get();
    }
    if (ombrel::WriteDataToFile(out, payload, payloadLength, message) != 0) return Fail("cannot write output", message);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    ombrel::SetLogToSyslog(false);
    CLI::App app{"ombrel-pack: make and read the scrambled data files of Ombrel"};
    app.require_subcommand(1);

    std::string in, out;
    bool gzip = false, gunzip = false;
    auto* scramble = app.add_subcommand("scramble", "Write IN into the scrambled container OUT");
    scramble->add_flag("--gzip", gzip, "Gzip IN before scrambling (shader sources)");
    scramble->add_option("IN", in, "Plain input file")->required();
    scramble->add_option("OUT", out, "Container to write")->required();

    auto* unscramble = app.add_subcommand("unscramble", "Write the payload of container IN to OUT");
    unscramble->add_flag("--gunzip", gunzip, "Gunzip the payload (shader sources)");
    unscramble->add_option("IN", in, "Container to read")->required();
    unscramble->add_option("OUT", out, "Plain output file")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) { return app.exit(e) == 0 ? 0 : 2; }
    if (scramble->parsed()) return Scramble(in, out, gzip);
    return Unscramble(in, out, gunzip);
}

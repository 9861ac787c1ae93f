#pragma once

#include "r3d/RedFileItems.h"
#include "r3d/Stores.h"
#include "r3d/Tokenizers.h"

#include <string>

namespace ombrel::r3d {

// Keeps what a parse of one file found: the header, the footer, and the two index stores (the
// primary video track with audio and auxiliary data, and the second video track).
class RedFileParserProcessor {
public:
    explicit RedFileParserProcessor(std::string path = {}) : path(std::move(path)) {}

    bool ProcessHeader(const RedFileHeader& header, uint64_t headerEnd);
    void ProcessFooter(const RedFileFooter& footer);
    // Takes the lists of the recovery scan.
    void ProcessScan(const TempIndexStore& track0, const TempIndexStore& track1, const TempIndexStore& audio);
    void ClearStores();

    std::string path;  // for log lines
    RedFileHeader header;
    uint64_t headerEnd = 0;
    RedFileFooter footer;
    bool footerUsed = false;  // the tables came from the footer's index
    bool scanned = false;     // the tables came from the recovery scan
    IndexStore stores[2];
    MetadataStore metadata[2];
};

// The order of parsing one file: header, footer, index, and the recovery scan where the footer
// or the index fails.
class RedFileParser {
public:
    enum class State { FindHeader, FindFooter, FindIndex, FindFrames, Done, Failed };

    RedFileParser(RedFileTokenizer& tokenizer, RedFileParserProcessor& processor)
        : tokenizer_(tokenizer), processor_(processor) {}

    bool Parse();
    State LastState() const { return state_; }

private:
    State FindHeader();
    State FindFooter();
    State FindIndex();
    State FindFrames();

    RedFileTokenizer& tokenizer_;
    RedFileParserProcessor& processor_;
    State state_ = State::FindHeader;
};

}  // namespace ombrel::r3d

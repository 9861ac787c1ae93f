#pragma once

#include "r3d/Buffer.h"
#include "r3d/TokenStream.h"

#include <cstdint>
#include <vector>

namespace ombrel::r3d {

// One atom (or box) as a tokenizer found it.
struct Token {
    uint64_t position = 0;     // of the head
    uint64_t size = 0;         // head included, after cutting to what remains
    uint64_t claimedSize = 0;  // as written in the head
    uint32_t tag = 0;
    bool cut = false;                // the head claimed more than the stream holds
    bool damagedHeaderSize = false;  // "RED1" with the known damaged size, taken as 324

    uint64_t PayloadPosition() const { return position + 8; }
    uint64_t PayloadSize() const { return size - 8; }
    uint64_t End() const { return position + size; }
    uint8_t TrackByte() const { return static_cast<uint8_t>(tag & 0xFF); }
};

// Tag tests: the tag and the payload size.
bool TokenIs(const Token& token, uint32_t tag, uint64_t payloadSize);
bool TokenIsAtLeast(const Token& token, uint32_t tag, uint64_t payloadSize);
// The first three tag bytes only; the fourth is a track number.
bool TrackTokenIsAtLeast(const Token& token, uint32_t trackTag, uint64_t payloadSize);

enum class TokenResult {
    kToken,      // a token was read
    kEnd,        // the stream ends here
    kMalformed,  // a head that cannot stand (size below its own head, a stub of a head)
};

// The atom chain of a file: u32 size counting the 8-byte head, u32 tag.
class RedFileTokenizer {
public:
    // The claimed size of a "RED1" head with the known damaged size field.
    static constexpr uint64_t kDamagedHeaderClaim = 16777532 + 8;
    static constexpr uint64_t kDamagedHeaderItemSize = 324;

    explicit RedFileTokenizer(TokenStream& stream) : stream_(stream) {}

    // Reads the head at the cursor and moves the cursor behind the atom.
    TokenResult NextToken(Token* token);
    // The atom that starts at the given distance before the end; the cursor stays.
    bool LastToken(uint64_t distanceFromEnd, Token* token);
    // The atom that starts at position; the cursor stays.
    TokenResult TokenAt(uint64_t position, Token* token);
    // Reads a token's payload, at most limit bytes.
    bool ReadPayload(const Token& token, std::vector<uint8_t>* payload);

    // Moves the cursor up to the next multiple of 2^exponent, no further than the end.
    // An exponent outside 1 to 30 leaves it alone.
    void Align(int exponent);

    uint64_t Cursor() const { return cursor_; }
    void SetCursor(uint64_t position) { cursor_ = position; }
    uint64_t Size() const { return stream_.Size(); }
    TokenStream& Stream() { return stream_; }

private:
    TokenStream& stream_;
    uint64_t cursor_ = 0;
};

// One metadata token: u16 size counting its 4-byte head (0: the rest of the stream), u16 id.
struct MetadataTokenView {
    uint16_t id = 0;
    const uint8_t* payload = nullptr;
    size_t payloadSize = 0;
    bool cut = false;  // the size claimed more than the stream holds
    uint16_t Item() const { return id & 0x0FFF; }
};

class RedMetadataTokenizer {
public:
    RedMetadataTokenizer(MemoryTokenStream& stream, uint64_t begin, uint64_t end);
    TokenResult NextToken(MetadataTokenView* token);

private:
    MemoryTokenStream& stream_;
    uint64_t cursor_;
    uint64_t end_;
};

// Boxes of a version 3 frame: u32 size counting the 8-byte head (0: the rest), u32 tag.
class BoxTokenizer {
public:
    BoxTokenizer(MemoryTokenStream& stream, uint64_t begin, uint64_t end);
    TokenResult NextToken(Token* token);

private:
    MemoryTokenStream& stream_;
    uint64_t cursor_;
    uint64_t end_;
};

}  // namespace ombrel::r3d

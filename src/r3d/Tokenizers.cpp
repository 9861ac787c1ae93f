#include "r3d/Tokenizers.h"

#include <algorithm>

namespace ombrel::r3d {

bool TokenIs(const Token& token, uint32_t tag, uint64_t payloadSize) {
    return token.tag == tag && token.PayloadSize() == payloadSize;
}

bool TokenIsAtLeast(const Token& token, uint32_t tag, uint64_t payloadSize) {
    return token.tag == tag && token.PayloadSize() >= payloadSize;
}

bool TrackTokenIsAtLeast(const Token& token, uint32_t trackTag, uint64_t payloadSize) {
    return (token.tag & 0xFFFFFF00u) == (trackTag & 0xFFFFFF00u) && token.PayloadSize() >= payloadSize;
}

TokenResult RedFileTokenizer::TokenAt(uint64_t position, Token* token) {
    const uint64_t size = stream_.Size();
    if (position >= size) return TokenResult::kEnd;
    if (size - position < 8) return TokenResult::kMalformed;
    uint8_t head[8];
    if (!stream_.ReadAt(position, head, sizeof head)) return TokenResult::kMalformed;
    Token t;
    t.position = position;
    t.claimedSize = LoadBE32(head);
    t.tag = LoadBE32(head + 4);
    if (t.claimedSize < 8) return TokenResult::kMalformed;
    const uint64_t remaining = size - position;
    if (t.tag == MakeTag("RED1") && t.claimedSize == kDamagedHeaderClaim) {
        t.damagedHeaderSize = true;
        t.size = std::min(kDamagedHeaderItemSize, remaining);
        t.cut = t.size < kDamagedHeaderItemSize;
    } else {
        t.size = std::min(t.claimedSize, remaining);
        t.cut = t.size < t.claimedSize;
    }
    *token = t;
    return TokenResult::kToken;
}

TokenResult RedFileTokenizer::NextToken(Token* token) {
    const TokenResult r = TokenAt(cursor_, token);
    if (r == TokenResult::kToken) cursor_ = token->End();
    return r;
}

bool RedFileTokenizer::LastToken(uint64_t distanceFromEnd, Token* token) {
    if (stream_.Size() < distanceFromEnd) return false;
    return TokenAt(stream_.Size() - distanceFromEnd, token) == TokenResult::kToken;
}

bool RedFileTokenizer::ReadPayload(const Token& token, std::vector<uint8_t>* payload) {
    payload->resize(static_cast<size_t>(token.PayloadSize()));
    return stream_.ReadAt(token.PayloadPosition(), payload->data(), payload->size());
}

void RedFileTokenizer::Align(int exponent) {
    if (exponent < 1 || exponent > 30) return;
    const uint64_t unit = uint64_t(1) << exponent;
    const uint64_t aligned = (cursor_ + unit - 1) & ~(unit - 1);
    cursor_ = std::min(aligned, stream_.Size());
}

RedMetadataTokenizer::RedMetadataTokenizer(MemoryTokenStream& stream, uint64_t begin, uint64_t end)
    : stream_(stream), cursor_(begin), end_(std::min<uint64_t>(end, stream.Size())) {}

TokenResult RedMetadataTokenizer::NextToken(MetadataTokenView* token) {
    if (cursor_ >= end_) return TokenResult::kEnd;
    if (end_ - cursor_ < 4) return TokenResult::kMalformed;
    uint8_t head[4];
    if (!stream_.ReadAt(cursor_, head, sizeof head)) return TokenResult::kMalformed;
    uint64_t size = LoadBE16(head);
    if (size == 0) size = end_ - cursor_;
    if (size < 4) return TokenResult::kMalformed;
    token->cut = size > end_ - cursor_;
    size = std::min(size, end_ - cursor_);
    token->id = LoadBE16(head + 2);
    token->payload = stream_.Data() + cursor_ + 4;
    token->payloadSize = static_cast<size_t>(size - 4);
    cursor_ += size;
    return TokenResult::kToken;
}

BoxTokenizer::BoxTokenizer(MemoryTokenStream& stream, uint64_t begin, uint64_t end)
    : stream_(stream), cursor_(begin), end_(std::min<uint64_t>(end, stream.Size())) {}

TokenResult BoxTokenizer::NextToken(Token* token) {
    if (cursor_ >= end_) return TokenResult::kEnd;
    if (end_ - cursor_ < 8) return TokenResult::kMalformed;
    uint8_t head[8];
    if (!stream_.ReadAt(cursor_, head, sizeof head)) return TokenResult::kMalformed;
    Token t;
    t.position = cursor_;
    t.claimedSize = LoadBE32(head);
    t.tag = LoadBE32(head + 4);
    if (t.claimedSize == 0) t.claimedSize = end_ - cursor_;
    if (t.claimedSize < 8) return TokenResult::kMalformed;
    t.size = std::min(t.claimedSize, end_ - cursor_);
    t.cut = t.size < t.claimedSize;
    cursor_ += t.size;
    *token = t;
    return TokenResult::kToken;
}

}  // namespace ombrel::r3d

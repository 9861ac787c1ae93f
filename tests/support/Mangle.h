#pragma once

#include <cstdlib>
#include <random>
#include <string>

namespace ombrel::test {

// A few random edits of `text`: bytes put in (mostly ASCII, now and then any byte), runs cut
// out, pieces of itself spliced back, blanks and line breaks added. Reader fuzz tests feed
// what comes out; the same generator state gives the same text.
inline std::string Mangle(std::string text, std::mt19937& rng) {
    for (int edits = rng() % 8; edits >= 0; --edits) {
        const size_t at = rng() % (text.size() + 1);
        switch (rng() % 5) {
            case 0: text.insert(at, 1, static_cast<char>(rng() % (rng() % 16 ? 128 : 256))); break;
            case 1: text.erase(at, rng() % 12); break;
            case 2:
                if (!text.empty()) text.insert(at, text.substr(rng() % text.size(), rng() % 40));
                break;
            case 3: text.insert(at, rng() % 3 ? " " : "\n"); break;
            default: text.resize(at); break;
        }
    }
    return text;
}

// Rounds of a fuzz test: $OMBREL_FUZZ_ROUNDS when set (a sanitizer run asks for many), else `fallback`.
inline int FuzzRounds(int fallback) {
    const char* text = std::getenv("OMBREL_FUZZ_ROUNDS");
    const int rounds = text ? std::atoi(text) : 0;
    return rounds > 0 ? rounds : fallback;
}

}  // namespace ombrel::test

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
            case 0: {
                // Each draw is its own statement: the order of calls inside one expression is
                // unspecified, and a seed must give the same text from every compiler.
                const unsigned range = rng() % 16 ? 128 : 256;
                text.insert(at, 1, static_cast<char>(rng() % range));
                break;
            }
            case 1: text.erase(at, rng() % 12); break;
            case 2:
                if (!text.empty()) {
                    const size_t from = rng() % text.size();
                    const size_t length = rng() % 40;
                    text.insert(at, text.substr(from, length));
                }
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

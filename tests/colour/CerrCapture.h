#pragma once

#include <iostream>
#include <sstream>

namespace ombrel::test {

// What is written to std::cerr while alive.
struct CerrCapture {
    std::ostringstream text;
    std::streambuf* old = std::cerr.rdbuf(text.rdbuf());
    ~CerrCapture() { std::cerr.rdbuf(old); }
    std::string Text() const { return text.str(); }
};

}  // namespace ombrel::test

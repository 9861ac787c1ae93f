#pragma once

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "core/PlistValue.h"

namespace ombrel::test {

// The property list in a file or a text; a read that fails is a test failure and reads as null.
inline PlistValue ReadPlist(const std::string& path) {
    PlistValue v;
    const Status read = PlistValue::ReadFromFile(path, &v);
    EXPECT_TRUE(read.ok()) << read.message();
    return v;
}

inline PlistValue ParsePlist(std::string_view text) {
    PlistValue v;
    const Status parsed = PlistValue::FromXml(text, &v);
    EXPECT_TRUE(parsed.ok()) << parsed.message();
    return v;
}

}  // namespace ombrel::test

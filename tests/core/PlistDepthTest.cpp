// Property lists nested far deeper than any record of ours: read with a bound, so a hostile
// file is refused with a reason instead of running the reader out of stack.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "core/PlistLimits.h"
#include "core/PlistValue.h"

namespace ombrel {
namespace {

std::string Nested(const std::string& open, const std::string& close, int depth) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
    text.reserve(text.size() + static_cast<size_t>(depth) * (open.size() + close.size()) + 64);
    for (int i = 0; i < depth; ++i) text += open;
    text += "<integer>7</integer>";
    for (int i = 0; i < depth; ++i) text += close;
    return text + "</plist>\n";
}

void Put(std::string& out, uint64_t v, int width) {
    for (int i = width - 1; i >= 0; --i) out.push_back(static_cast<char>(v >> (8 * i)));
}

// A binary list: object i is an array holding object i + 1 (`fanOut` times), the last an integer.
std::string BinaryChain(int depth, int fanOut) {
    std::string body = "bplist00";
    std::vector<uint64_t> offsets;
    for (int i = 0; i < depth; ++i) {
        offsets.push_back(body.size());
        body.push_back(static_cast<char>(0xA0 | fanOut));
        for (int k = 0; k < fanOut; ++k) Put(body, static_cast<uint64_t>(i + 1), 4);
    }
    offsets.push_back(body.size());
    body += std::string("\x10\x07", 2);
    const uint64_t table = body.size();
    for (uint64_t o : offsets) Put(body, o, 4);
    body += std::string(6, '\0');
    body.push_back(4);
    body.push_back(4);
    Put(body, offsets.size(), 8);
    Put(body, 0, 8);
    Put(body, table, 8);
    return body;
}

struct DepthRow {
    const char* name;
    std::string text;
    bool readable;
};

class PlistDepth : public ::testing::TestWithParam<DepthRow> {};

TEST_P(PlistDepth, DeepListsAreRefusedWithTheBound) {
    const DepthRow& row = GetParam();
    PlistValue v;
    const Status read = PlistValue::FromXml(row.text, &v);
    if (row.readable) {
        EXPECT_TRUE(read.ok()) << read.message();
        EXPECT_FALSE(v.isNull());
    } else {
        EXPECT_TRUE(v.isNull());
        EXPECT_NE(read.message().find(std::to_string(kMaxPlistDepth)), std::string::npos) << read.message();
    }
}

INSTANTIATE_TEST_SUITE_P(Lists, PlistDepth,
                         ::testing::Values(DepthRow{"Arrays256", Nested("<array>", "</array>", 256), true},
                                           DepthRow{"Arrays257", Nested("<array>", "</array>", 257), false},
                                           DepthRow{"Dicts256", Nested("<dict><key>k</key>", "</dict>", 256), true},
                                           DepthRow{"Dicts257", Nested("<dict><key>k</key>", "</dict>", 257), false},
                                           DepthRow{"Arrays50000", Nested("<array>", "</array>", 50000), false},
                                           DepthRow{"Dicts100000", Nested("<dict><key>k</key>", "</dict>", 100000),
                                                    false},
                                           DepthRow{"Binary256", BinaryChain(256, 1), true},
                                           DepthRow{"Binary300", BinaryChain(300, 1), false},
                                           DepthRow{"Binary100000", BinaryChain(100000, 1), false}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(PlistDepth, ABinaryListThatSharesOneObjectManyTimesOverIsRefused) {
    // 40 levels of two references each: 2^40 values once copied out.
    PlistValue v;
    const Status read = PlistValue::FromXml(BinaryChain(40, 2), &v);
    EXPECT_TRUE(v.isNull());
    EXPECT_NE(read.message().find("values once shared objects are copied"), std::string::npos) << read.message();
    // A small one of the same shape reads.
    EXPECT_TRUE(PlistValue::FromXml(BinaryChain(4, 2), &v).ok());
    EXPECT_EQ(v.size(), 2u);
}

}  // namespace
}  // namespace ombrel

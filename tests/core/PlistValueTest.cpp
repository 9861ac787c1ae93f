// Property lists: every type through XML, forgiving reads, files written whole, and text
// that is refused with a reason, nesting far deeper than any record of ours among it.
#include "core/PlistValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "core/PlistLimits.h"
#include "support/Plists.h"
#include "support/RefFile.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

using D = PlistValue::DictT;
using A = PlistValue::ArrayT;

PlistValue EveryType() {
    return D{{"yes", true},
             {"no", false},
             {"int", 42},
             {"negative", -7},
             {"big", int64_t{1} << 40},
             {"min", std::numeric_limits<int64_t>::min()},
             {"real", 0.1},
             {"float", 1.0f / 3.0f},
             {"tiny", 1e-300},
             {"text", "reel A001 & <clip> \"é\""},
             {"empty text", ""},
             {"data", PlistValue::DataT{0, 1, 2, 0xfe, 0xff}},
             {"date", PlistValue::DateT{123456789.0}},
             {"array", A{1, "two", D{}, D{{"deep", A{3.5, false}}}}}};
}

TEST(PlistValue, EveryTypeSurvivesXmlRoundTripAndHandWrittenFormsParse) {
    const std::string xml = EveryType().ToXml();
    EXPECT_TRUE(test::MatchesRef("core/every-type.plist", xml));
    const PlistValue back = test::ParsePlist(xml);
    EXPECT_EQ(back, EveryType());
    // Printed as a log or a usage report shows it, from what was read.
    EXPECT_TRUE(test::MatchesRef("core/every-type.txt", back.Description()));
    // Written by hand, with forms our writer does not use.
    const char* handWritten = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
	<key>kelvin</key>
	<real>5600</real> <key>count</key> <integer>-12</integer> <key>flag</key><true/> <key>list</key><array/>
</dict></plist>)";
    EXPECT_EQ(test::ParsePlist(handWritten),
              PlistValue(D{{"kelvin", 5600.0}, {"count", -12}, {"flag", true}, {"list", A{}}}));
}

TEST(PlistValue, MissingKeysAndWrongTypesReadAsZeroFalseOrNull) {
    const PlistValue d = D{{"text", "hello"}};
    const PlistValue& absent = d["absent"];
    EXPECT_TRUE(absent.isNull() && absent["deeper"].isNull() && d.at(0).isNull() && d["text"].asArray().empty());
    EXPECT_EQ(std::tuple(absent.asInt(), absent.asReal(), absent.asBool(), absent.asString(), absent.asInt(9)),
              std::tuple(0, 0.0, false, "", 9));
    // A real read as an integer truncates; what is no number gives the fallback.
    EXPECT_EQ(std::tuple(d["text"].asInt(), PlistValue(3.9).asInt(), PlistValue(-3.9).asInt(),
                         PlistValue(std::nan("")).asInt(5)),
              std::tuple(0, 3, -3, 5));
}

std::string Nested(const std::string& open, const std::string& close, int depth) {
    std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">";
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
    body += std::string(6, '\0') + "\x04\x04";
    Put(body, offsets.size(), 8);
    Put(body, 0, 8);
    Put(body, table, 8);
    return body;
}

TEST(PlistValue, TextThatIsNoPropertyListIsRefusedWithAReason) {
    const std::string bound = "nested deeper than " + std::to_string(kMaxPlistDepth) + " levels";
    // The text, and what its refusal says (empty when the text reads).
    const std::tuple<const char*, std::string, std::string> rows[] = {
        {"Cut", "<plist><dict><key>a</key>", "not a property list"},
        {"Empty", "", "not a property list"},
        {"Arrays256", Nested("<array>", "</array>", 256), ""},
        {"Arrays257", Nested("<array>", "</array>", 257), bound},
        {"Dicts257", Nested("<dict><key>k</key>", "</dict>", 257), bound},
        {"Binary256", BinaryChain(256, 1), ""},
        {"Binary257", BinaryChain(257, 1), std::to_string(kMaxPlistDepth)},
        // 40 levels of two references each: 2^40 values once copied out.
        {"BinarySharingOneObjectManyTimesOver", BinaryChain(40, 2), "values once shared objects are copied"},
        {"BinarySharingALittle", BinaryChain(4, 2), ""},
    };
    for (const auto& [name, text, why] : rows) {
        SCOPED_TRACE(name);
        PlistValue v;
        const Status read = PlistValue::FromXml(text, &v);
        EXPECT_EQ(std::tuple(read.code(), v.isNull()),
                  std::tuple(why.empty() ? Status::Code::kOk : Status::Code::kInvalid, !why.empty()));
        EXPECT_NE(read.message().find(why), std::string::npos) << read.message();
    }
}

TEST(PlistValue, FileWriteReplacesWholeAndReadsSayWhatIsWrong) {
    test::TempDir dir;
    const PlistValue small = D{{"a", 1}};
    ASSERT_TRUE(EveryType().WriteToFile(dir / "x.plist").ok() && small.WriteToFile(dir / "x.plist").ok());
    EXPECT_EQ(test::ReadPlist(dir / "x.plist"), small);
    test::WriteWholeFile(dir / "broken.plist", "<plist><dict>");
    const std::tuple<std::string, Status::Code, std::string> rows[] = {
        {dir / "absent.plist", Status::Code::kNotFound, "absent.plist"},
        {dir / "broken.plist", Status::Code::kInvalid, (dir / "broken.plist") + ": not a property list"}};
    for (const auto& [path, code, why] : rows) {
        PlistValue v;
        const Status read = PlistValue::ReadFromFile(path, &v);
        EXPECT_EQ(std::tuple(read.code(), v.isNull()), std::tuple(code, true)) << path;
        EXPECT_NE(read.message().find(why), std::string::npos) << read.message();
    }
    EXPECT_NE(small.WriteToFile(dir / "no/such/folder/x.plist").message().find("x.plist"), std::string::npos);
}

}  // namespace
}  // namespace ombrel

#include "core/PlistValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "support/Plists.h"
#include "support/TempDir.h"

namespace ombrel {
namespace {

PlistValue EveryType() {
    PlistValue d = PlistValue::MakeDict();
    d.set("yes", true);
    d.set("no", false);
    d.set("int", 42);
    d.set("negative", -7);
    d.set("big", int64_t{1} << 40);
    d.set("min", std::numeric_limits<int64_t>::min());
    d.set("real", 0.1);
    d.set("float", 1.0f / 3.0f);
    d.set("tiny", 1e-300);
    d.set("text", "reel A001 & <clip> \"é\"");
    d.set("empty text", "");
    d.set("data", PlistValue::DataT{0, 1, 2, 0xfe, 0xff});
    d.set("date", PlistValue::DateT{123456789.0});
    PlistValue arr = PlistValue::MakeArray();
    arr.append(1);
    arr.append("two");
    arr.append(PlistValue::MakeDict());
    PlistValue nested = PlistValue::MakeDict();
    nested.set("deep", PlistValue(PlistValue::ArrayT{3.5, false}));
    arr.append(nested);
    d.set("array", arr);
    return d;
}

TEST(PlistValue, EveryTypeSurvivesXmlRoundTrip) {
    PlistValue d = EveryType();
    std::string xml = d.ToXml();
    ASSERT_NE(xml.find("<plist"), std::string::npos);
    PlistValue back = test::ParsePlist(xml);
    ASSERT_TRUE(back.isDict());
    EXPECT_EQ(back, d);
    EXPECT_EQ(back["negative"].asInt(), -7);
    EXPECT_EQ(back["min"].asInt(), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(back["real"].asReal(), 0.1);
    EXPECT_EQ(static_cast<float>(back["float"].asReal()), 1.0f / 3.0f);
    EXPECT_EQ(back["text"].asString(), "reel A001 & <clip> \"é\"");
    EXPECT_EQ(back["data"].asData().size(), 5u);
    EXPECT_EQ(back["date"].asDate().secondsSince2001, 123456789.0);
    EXPECT_EQ(back["array"].at(3)["deep"].at(0).asReal(), 3.5);
}

TEST(PlistValue, MissingKeysAndWrongTypesReadAsZeroFalseOrNull) {
    PlistValue d = PlistValue::MakeDict();
    d.set("text", "hello");
    EXPECT_TRUE(d["absent"].isNull());
    EXPECT_EQ(d["absent"].asInt(), 0);
    EXPECT_EQ(d["absent"].asReal(), 0.0);
    EXPECT_FALSE(d["absent"].asBool());
    EXPECT_EQ(d["absent"].asString(), "");
    EXPECT_EQ(d["absent"].asInt(9), 9);
    EXPECT_TRUE(d["absent"]["deeper"].isNull());
    EXPECT_EQ(d["text"].asInt(), 0);
    EXPECT_TRUE(d["text"].asArray().empty());
    EXPECT_TRUE(d.at(0).isNull());  // not an array
    PlistValue n(3.9);
    EXPECT_EQ(n.asInt(), 3);  // a real read as an integer truncates
    EXPECT_TRUE(PlistValue(std::nan("")).asInt(5) == 5);
}

TEST(PlistValue, CopiesAreIndependent) {
    PlistValue a = PlistValue::MakeDict();
    a.set("k", 1);
    PlistValue b = a;
    b.set("k", 2);
    b.set("other", true);
    EXPECT_EQ(a["k"].asInt(), 1);
    EXPECT_FALSE(a.contains("other"));
    EXPECT_EQ(b["k"].asInt(), 2);
}

TEST(PlistValue, HandWrittenXmlWithUnusualFormsParses) {
    const char* xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>kelvin</key>
	<real>5600</real>
	<key>count</key>
	<integer>-12</integer>
	<key>flag</key>
	<true/>
	<key>list</key>
	<array/>
</dict>
</plist>
)";
    PlistValue v = test::ParsePlist(xml);
    ASSERT_TRUE(v.isDict());
    EXPECT_EQ(v["kelvin"].asReal(), 5600.0);
    EXPECT_EQ(v["count"].asInt(), -12);
    EXPECT_TRUE(v["flag"].asBool());
    EXPECT_TRUE(v["list"].isArray());
    EXPECT_EQ(v["list"].size(), 0u);
}

TEST(PlistValue, BrokenTextIsRefusedWithAMessage) {
    PlistValue v;
    const Status broken = PlistValue::FromXml("<plist><dict><key>a</key>", &v);
    EXPECT_EQ(broken.code(), Status::Code::kInvalid);
    EXPECT_FALSE(broken.message().empty());
    EXPECT_TRUE(v.isNull());
    EXPECT_FALSE(PlistValue::FromXml("", &v).message().empty());
}

TEST(PlistValue, FileWriteReplacesWholeAndReadReportsMissingFile) {
    test::TempDir dir;
    std::string path = dir / "settings.plist";
    PlistValue d = EveryType();
    ASSERT_TRUE(d.WriteToFile(path).ok());
    EXPECT_EQ(test::ReadPlist(path), d);
    PlistValue small = PlistValue::MakeDict();
    small.set("a", 1);
    ASSERT_TRUE(small.WriteToFile(path).ok());
    EXPECT_EQ(test::ReadPlist(path), small);

    PlistValue absent;
    const Status missing = PlistValue::ReadFromFile(dir / "absent.plist", &absent);
    EXPECT_EQ(missing.code(), Status::Code::kNotFound);
    EXPECT_NE(missing.message().find("absent.plist"), std::string::npos);
    EXPECT_TRUE(absent.isNull());
    const Status unwritable = small.WriteToFile(dir / "no/such/folder/x.plist");
    EXPECT_FALSE(unwritable.ok());
    EXPECT_NE(unwritable.message().find("x.plist"), std::string::npos);
}

TEST(PlistValue, DescriptionIsTheStandardTextForm) {
    PlistValue d = PlistValue::MakeDict();
    d.set("grainName", "CP35");
    d.set("lift", 1.0);
    d.set("stock name", "52 07");
    EXPECT_EQ(d.Description(), "{\n    grainName = CP35;\n    lift = 1;\n    \"stock name\" = \"52 07\";\n}");
}

}  // namespace
}  // namespace ombrel

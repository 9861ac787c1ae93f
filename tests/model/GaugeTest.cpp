#include "model/Gauge.h"

#include <gtest/gtest.h>

using namespace ombrel;

TEST(Gauge, EveryListedGaugeNamesItsOwnTagAndRoundTrips) {
    for (const Gauge& g : GaugeList()) {
        EXPECT_EQ(GrainSizeForMultiplier(g.tag / 100.0), g.name) << g.tag;
        EXPECT_EQ(GaugeTagForName(g.name), g.tag) << g.name;
    }
}

TEST(Gauge, NamesOfScalesFollowTheRangesAtTheirEdges) {
    const struct {
        double scale;
        const char* name;
    } cases[] = {{0.5, "35mm Full Frame"},
                 {0.98, "35mm Full Frame"},
                 {0.99, "Super 35"},
                 {1.09, "Super 35"},
                 {1.10, "35mm Academy"},
                 {1.98, "35mm Academy"},
                 {1.99, "Super 16"},
                 {2.39, "Super 16"},
                 {2.40, "16mm"},
                 {3.99, "16mm"},
                 {4.0, "Super 8"},
                 {4.99, "Super 8"},
                 {5.0, "8mm"},
                 {9.0, "8mm"}};
    for (const auto& c : cases) EXPECT_EQ(GrainSizeForMultiplier(c.scale), c.name) << c.scale;
}

TEST(Gauge, LooseSpellingsAliasesAndTagNumbers) {
    EXPECT_EQ(GaugeTagForName("super16"), 200);
    EXPECT_EQ(GaugeTagForName("SUPER-16"), 200);
    EXPECT_EQ(GaugeTagForName("s16"), 200);
    EXPECT_EQ(GaugeTagForName("35mm academy"), 113);
    EXPECT_EQ(GaugeTagForName("35mm_full_frame"), 69);
    EXPECT_EQ(GaugeTagForName("CP35"), 100);
    EXPECT_EQ(GaugeTagForName("cp16"), 243);
    EXPECT_EQ(GaugeTagForName("CP8"), 553);
    EXPECT_EQ(GaugeTagForName("Super 8"), 400);
    EXPECT_EQ(GaugeTagForName("150"), 150);

    for (const char* bad : {"", "  ", "XX16", "70mm", "0", "-100", "100x", "5000"})
        EXPECT_FALSE(GaugeTagForName(bad).has_value()) << bad;
}

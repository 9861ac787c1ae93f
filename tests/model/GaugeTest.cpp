#include "model/Gauge.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace ombrel;

TEST(Gauge, EveryListedGaugeNamesItsOwnTagAndRoundTrips) {
    for (const Gauge& g : GaugeList()) {
        EXPECT_EQ(GrainSizeForMultiplier(g.tag / 100.0), g.name) << g.tag;
        EXPECT_EQ(GaugeTagForName(g.name), g.tag) << g.name;
    }
}

TEST(Gauge, NamesOfScalesFollowTheRangesAtTheirEdges) {
    // Each row: the lowest scale of a name, and the name just below it.
    const std::tuple<double, const char*, const char*> edges[] = {{0.99, "35mm Full Frame", "Super 35"},
                                                                  {1.10, "Super 35", "35mm Academy"},
                                                                  {1.99, "35mm Academy", "Super 16"},
                                                                  {2.40, "Super 16", "16mm"},
                                                                  {4.0, "16mm", "Super 8"},
                                                                  {5.0, "Super 8", "8mm"}};
    for (const auto& [scale, below, at] : edges) {
        EXPECT_EQ(GrainSizeForMultiplier(scale - 0.01), below) << scale;
        EXPECT_EQ(GrainSizeForMultiplier(scale), at) << scale;
    }
}

TEST(Gauge, LooseSpellingsAliasesAndTagNumbers) {
    const std::pair<const char*, int> names[] = {
        {"super16", 200}, {"SUPER-16", 200}, {"s16", 200}, {"35mm academy", 113}, {"35mm_full_frame", 69},
        {"CP35", 100},    {"cp16", 243},     {"CP8", 553}, {"Super 8", 400},      {"150", 150}};
    for (const auto& [name, tag] : names) EXPECT_EQ(GaugeTagForName(name), tag) << name;
    for (const char* bad : {"", "  ", "XX16", "70mm", "0", "-100", "100x", "5000"})
        EXPECT_FALSE(GaugeTagForName(bad).has_value()) << bad;
}

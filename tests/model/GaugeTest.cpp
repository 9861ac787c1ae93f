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
    const std::pair<double, const char*> cases[] = {{0.5, "35mm Full Frame"},
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
    for (const auto& [scale, name] : cases) EXPECT_EQ(GrainSizeForMultiplier(scale), name) << scale;
}

TEST(Gauge, LooseSpellingsAliasesAndTagNumbers) {
    const std::pair<const char*, int> names[] = {
        {"super16", 200}, {"SUPER-16", 200}, {"s16", 200}, {"35mm academy", 113}, {"35mm_full_frame", 69},
        {"CP35", 100},    {"cp16", 243},     {"CP8", 553}, {"Super 8", 400},      {"150", 150}};
    for (const auto& [name, tag] : names) EXPECT_EQ(GaugeTagForName(name), tag) << name;
    for (const char* bad : {"", "  ", "XX16", "70mm", "0", "-100", "100x", "5000"})
        EXPECT_FALSE(GaugeTagForName(bad).has_value()) << bad;
}

#include <gtest/gtest.h>

#include "look/AppState.h"

namespace ombrel {
namespace {

TEST(AppStateTest, TheViewingTableStartsAsTheIdentityAndAResetBringsItBack) {
    AppState& state = AppState::Instance();
    EXPECT_EQ(state.csGamma() * state.csContrast(), 1.0f);
    EXPECT_EQ(state.d65CAMatrix()(2, 2) + state.csD65Mat()[8], 0.0f);
    // Entry r + 64 g + 4096 b, red fastest.
    const float* entry = AppState::GetViewingLUTData() + 3 * (1 + 64 * 2 + 4096 * 3);
    EXPECT_EQ(entry[0] * 63, 1.0f);
    EXPECT_EQ(entry[1] * 63, 2.0f);
    EXPECT_EQ(entry[2] * 63, 3.0f);
    EXPECT_EQ(AppState::GetViewingLUTData()[AppState::kViewingLUTFloats - 1], 1.0f);
    state.setReloadViewLUT(false);
    AppState::GetViewingLUTData()[0] = 0.5f;
    AppState::ResetViewingLUTData();
    EXPECT_TRUE(state.reloadViewLUT());
    EXPECT_EQ(AppState::GetViewingLUTData()[0], 0.0f);
}

}  // namespace
}  // namespace ombrel

#pragma once

#include <string>

#include <gtest/gtest.h>

namespace ombrel::test {

// Set in the child that RunsWithoutGlDriver starts; probes that only make sense there skip
// without it.
inline constexpr const char* kNoGlDriverVariable = "OMBREL_GL_PROBE_NO_DRIVER";

// Runs this test program again, restricted to `filter`, in a child whose EGL loader finds no
// driver at all; succeeds when the child exits 0 (its tests passed) and not by a signal.
::testing::AssertionResult RunsWithoutGlDriver(const std::string& filter);

}  // namespace ombrel::test

#pragma once

#include <string>

#include <gtest/gtest.h>

namespace ombrel::test {

// Compares `actual` with tests/ref/<name>. With OMBREL_REGEN_REF=1 in the environment the
// file is written instead (tests/ref/regenerate does that for the whole suite), so a change
// of an expected output shows up as a diff to review in the commit.
::testing::AssertionResult MatchesRef(const std::string& name, const std::string& actual);

// The path of tests/ref/<name> in the source tree.
std::string RefPath(const std::string& name);

}  // namespace ombrel::test

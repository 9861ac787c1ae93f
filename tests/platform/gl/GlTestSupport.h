#pragma once

// Tests that need an OpenGL context skip, with the reason, where none can be made (a CI
// machine without Mesa), unless OMBREL_REQUIRE_GL is set: then the missing context fails.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/gl/GlContext.h"

#define OMBREL_GL_CONTEXT_OR_SKIP(var)                            \
    std::string var##Why;                                         \
    auto var = ::ombrel::GlContext::Create(nullptr, &var##Why);   \
    if (!var) {                                                   \
        if (std::getenv("OMBREL_REQUIRE_GL")) FAIL() << var##Why; \
        GTEST_SKIP() << var##Why;                                 \
    }

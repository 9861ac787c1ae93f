#pragma once

// Tests that need an OpenGL context skip, with the reason, where none can be made (a CI
// machine without Mesa), unless OMBREL_REQUIRE_GL is set: then the missing context fails.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/gl/GlContext.h"

#define OMBREL_GL_CONTEXT_OR_SKIP(var)                                                 \
    ::ombrel::GlContextPtr var;                                                        \
    if (const ::ombrel::Status made = ::ombrel::GlContext::Create(&var); !made.ok()) { \
        if (std::getenv("OMBREL_REQUIRE_GL")) FAIL() << made.message();                \
        GTEST_SKIP() << made.message();                                                \
    }

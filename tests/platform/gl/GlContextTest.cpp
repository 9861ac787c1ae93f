#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "GlTestSupport.h"
#include "core/Log.h"
#include "platform/gl/GlContext.h"
#include "platform/gl/GlObjects.h"

namespace ombrel {
namespace {

// Made current, a context reports the driver once per process and is a compatibility context; a
// scoped current restores what was current before it, nothing included; a context is current on
// one thread at a time.
TEST(GlContext, MadeCurrentItReportsTheDriverOnceOnOneThreadAndScopesRestoreWhatWasCurrent) {
    OMBREL_GL_CONTEXT_OR_SKIP(context);
    LogCapture log;
    ASSERT_TRUE(context->MakeCurrent());
    EXPECT_TRUE(context->IsCurrent() && GlContext::Current() == context.get());
    const GlDriverInfo info = GlContext::DriverInfo();
    EXPECT_FALSE(info.vendor.empty() || info.renderer.empty() || info.version.empty());
    // The fixed-function pipeline answers: a compatibility context, not a core one.
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_NO_ERROR));
    GlContextPtr second;
    ASSERT_TRUE(GlContext::Create(&second).ok());
    {
        ScopedGlCurrent scope(second.get());
        EXPECT_TRUE(scope.ok() && second->IsCurrent() && !context->IsCurrent());
    }
    EXPECT_EQ(log.Count("OpenGL vendor"), 0u);
    {
        ScopedGlCurrent same(context.get());
        EXPECT_TRUE(same.ok());
    }
    EXPECT_TRUE(context->IsCurrent());
    context->ReleaseCurrent();
    { ScopedGlCurrent scope(second.get()); }
    EXPECT_EQ(GlContext::Current(), nullptr);
    // Current on one thread at a time.
    ASSERT_TRUE(context->MakeCurrent());
    std::atomic<bool> whileHeld{true}, afterRelease{false};
    std::thread([&] { whileHeld = context->MakeCurrent(); }).join();
    EXPECT_FALSE(whileHeld.load());
    context->ReleaseCurrent();
    std::thread([&] {
        afterRelease = context->MakeCurrent() && context->IsCurrent();
        context->ReleaseCurrent();
    }).join();
    EXPECT_TRUE(afterRelease.load());
    EXPECT_FALSE(context->IsCurrent());
}

TEST(GlObjects, HoldersDeleteTheirObjectsAndTheRenderTargetReadsBackWhole) {
    OMBREL_GL_CONTEXT_OR_SKIP(context);
    ASSERT_TRUE(context->MakeCurrent());
    GLuint name = 0;
    {
        GlObject texture = GlObject::Texture();
        name = texture.get();
        glBindTexture(GL_TEXTURE_2D, name);  // a name becomes a texture when first bound
        glBindTexture(GL_TEXTURE_2D, 0);
        GlObject moved = std::move(texture);
        EXPECT_TRUE(!texture && moved.get() == name && glIsTexture(name));
    }
    EXPECT_FALSE(glIsTexture(name));

    // The error is handed back once, then cleared. (Rectangle textures refuse GL_REPEAT, so
    // anything that tiles on one wraps its coordinate itself.)
    GlObject rectangle = GlObject::Texture();
    glBindTexture(GL_TEXTURE_RECTANGLE, rectangle.get());
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_REPEAT);
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_INVALID_ENUM));
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_NO_ERROR));
    // The render target binds the render buffer's own name as its framebuffer name, and reads
    // 16-bit RGB back at widths whose rows are not 4-byte multiples.
    GlObject rb = GlObject::Renderbuffer();
    const int w = 7, h = 3;
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, rb.get());  // never generated as a framebuffer
    glfbo::BindRenderbuffer(GL_RENDERBUFFER, rb.get());
    glfbo::RenderbufferStorage(GL_RENDERBUFFER, GL_RGBA16, w, h);
    glfbo::FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, rb.get());
    EXPECT_EQ(glfbo::CheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    glViewport(0, 0, w, h);
    glClearColor(0.25f, 0.5f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);

    std::vector<uint16_t> back(static_cast<size_t>(w * h * 3) + 8, 0xABCD);
    glPixelStorei(GL_PACK_ALIGNMENT, 2);
    glReadPixels(0, 0, w, h, GL_RGB, GL_UNSIGNED_SHORT, back.data());
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_NO_ERROR));
    for (size_t i = 0; i < size_t(w * h * 3); i += 3)
        EXPECT_TRUE(std::abs(back[i] - 16384) <= 1 && std::abs(back[i + 1] - 32768) <= 1 && back[i + 2] == 65535)
            << "pixel " << i / 3 << ": " << back[i] << " " << back[i + 1] << " " << back[i + 2];
    EXPECT_EQ(back[size_t(w * h * 3)], 0xABCD) << "nothing written past the block";
}

}  // namespace
}  // namespace ombrel

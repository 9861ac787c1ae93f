#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
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

TEST(GlContext, MadeCurrentItReportsTheDriverOnceAndIsACompatibilityContext) {
    OMBREL_GL_CONTEXT_OR_SKIP(context);
    LogCapture log;
    ASSERT_TRUE(context->MakeCurrent());
    EXPECT_TRUE(context->IsCurrent());
    EXPECT_EQ(GlContext::Current(), context.get());
    const GlDriverInfo info = GlContext::DriverInfo();
    EXPECT_FALSE(info.vendor.empty());
    EXPECT_FALSE(info.renderer.empty());
    EXPECT_FALSE(info.version.empty());
    EXPECT_GE(context->GlVersion(), 20);

    // The fixed-function pipeline answers: a compatibility context, not a core one.
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_NO_ERROR));

    // A second context made current says nothing more: the driver line is once per process.
    auto second = GlContext::Create();
    ASSERT_TRUE(second);
    ASSERT_TRUE(second->MakeCurrent());
    EXPECT_EQ(log.Count("OpenGL vendor"), 0u);
    EXPECT_FALSE(context->IsCurrent());
    second->ReleaseCurrent();
    EXPECT_EQ(GlContext::Current(), nullptr);
}

TEST(GlContext, IsCurrentOnOneThreadAtATime) {
    OMBREL_GL_CONTEXT_OR_SKIP(context);
    ASSERT_TRUE(context->MakeCurrent());
    std::atomic<int> whileHeld{-1};
    std::thread([&] { whileHeld = context->MakeCurrent() ? 1 : 0; }).join();
    EXPECT_EQ(whileHeld.load(), 0);
    context->ReleaseCurrent();

    std::atomic<int> afterRelease{-1};
    std::atomic<int> currentThere{-1};
    std::thread([&] {
        afterRelease = context->MakeCurrent() ? 1 : 0;
        currentThere = context->IsCurrent() ? 1 : 0;
        context->ReleaseCurrent();
    }).join();
    EXPECT_EQ(afterRelease.load(), 1);
    EXPECT_EQ(currentThere.load(), 1);
    EXPECT_FALSE(context->IsCurrent());
    // The creating thread can take it back.
    EXPECT_TRUE(context->MakeCurrent());
    context->ReleaseCurrent();
}

TEST(GlContext, SharedContextsSeeEachOthersTexturesOthersDoNot) {
    OMBREL_GL_CONTEXT_OR_SKIP(first);
    auto shared = GlContext::Create(first.get());
    auto alone = GlContext::Create();
    ASSERT_TRUE(shared && alone);

    ASSERT_TRUE(first->MakeCurrent());
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D, name);
    const std::array<uint8_t, 4> pixel{10, 20, 30, 40};
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixel.data());
    glFinish();

    ASSERT_TRUE(shared->MakeCurrent());
    EXPECT_TRUE(glIsTexture(name));
    std::array<uint8_t, 4> back{};
    glBindTexture(GL_TEXTURE_2D, name);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, back.data());
    EXPECT_EQ(back, pixel);

    ASSERT_TRUE(alone->MakeCurrent());
    EXPECT_FALSE(glIsTexture(name));

    ASSERT_TRUE(first->MakeCurrent());
    glDeleteTextures(1, &name);
    first->ReleaseCurrent();
}

TEST(GlContext, ScopedCurrentRestoresWhatWasCurrent) {
    OMBREL_GL_CONTEXT_OR_SKIP(outer);
    auto inner = GlContext::Create();
    ASSERT_TRUE(inner);
    {
        ScopedGlCurrent scope(inner.get());
        EXPECT_TRUE(scope.ok());
        EXPECT_TRUE(inner->IsCurrent());
    }
    EXPECT_EQ(GlContext::Current(), nullptr);

    ASSERT_TRUE(outer->MakeCurrent());
    {
        ScopedGlCurrent scope(inner.get());
        EXPECT_TRUE(inner->IsCurrent());
    }
    EXPECT_TRUE(outer->IsCurrent());
    {
        ScopedGlCurrent same(outer.get());
        EXPECT_TRUE(same.ok());
    }
    EXPECT_TRUE(outer->IsCurrent());
    outer->ReleaseCurrent();
}

TEST(GlObjects, HoldersDeleteTheirObjectsAndMoveOwnership) {
    OMBREL_GL_CONTEXT_OR_SKIP(context);
    ASSERT_TRUE(context->MakeCurrent());
    GLuint name = 0;
    {
        GlObject texture = GlObject::Texture();
        name = texture.get();
        glBindTexture(GL_TEXTURE_2D, name);  // a name becomes a texture when first bound
        glBindTexture(GL_TEXTURE_2D, 0);
        EXPECT_TRUE(glIsTexture(name));
        GlObject moved = std::move(texture);
        EXPECT_FALSE(texture);
        EXPECT_EQ(moved.get(), name);
        EXPECT_TRUE(glIsTexture(name));
    }
    EXPECT_FALSE(glIsTexture(name));

    GlObject buffer = GlObject::Buffer();
    glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer.get());
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    const GLuint bufferName = buffer.get();
    EXPECT_TRUE(glIsBuffer(bufferName));
    buffer.reset();
    EXPECT_FALSE(glIsBuffer(bufferName));
    context->ReleaseCurrent();
}

// The render target binds the render buffer's own name as its framebuffer name, and reads
// 16-bit RGB back at widths whose rows are not 4-byte multiples.
TEST(GlObjects, RenderbufferNameServesAsFramebufferNameAndOddWidthsReadBackWhole) {
    OMBREL_GL_CONTEXT_OR_SKIP(context);
    ASSERT_TRUE(context->MakeCurrent());
    GlObject rb = GlObject::Renderbuffer();
    const int w = 7, h = 3;
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, rb.get());  // never generated as a framebuffer
    glfbo::BindRenderbuffer(GL_RENDERBUFFER, rb.get());
    glfbo::RenderbufferStorage(GL_RENDERBUFFER, GL_RGBA16, w, h);
    glfbo::FramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, rb.get());
    EXPECT_EQ(glfbo::CheckFramebufferStatus(GL_FRAMEBUFFER), static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
    GLint blue = 0;
    glfbo::GetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_BLUE_SIZE, &blue);
    EXPECT_EQ(blue, 16);
    glViewport(0, 0, w, h);
    glClearColor(0.25f, 0.5f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);

    std::vector<uint16_t> back(static_cast<size_t>(w * h * 3) + 8, 0xABCD);
    glPixelStorei(GL_PACK_ALIGNMENT, 2);
    glReadPixels(0, 0, w, h, GL_RGB, GL_UNSIGNED_SHORT, back.data());
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_NO_ERROR));
    for (int i = 0; i < w * h; ++i) {
        EXPECT_NEAR(back[static_cast<size_t>(i * 3)], 16384, 1) << i;
        EXPECT_NEAR(back[static_cast<size_t>(i * 3 + 1)], 32768, 1) << i;
        EXPECT_EQ(back[static_cast<size_t>(i * 3 + 2)], 65535) << i;
    }
    // Nothing written past the block.
    EXPECT_EQ(back[static_cast<size_t>(w * h * 3)], 0xABCD);
    glfbo::BindFramebuffer(GL_FRAMEBUFFER, 0);
    GLuint fb = rb.get();
    glfbo::DeleteFramebuffers(1, &fb);
    rb.reset();
    context->ReleaseCurrent();
}

// Rectangle textures refuse GL_REPEAT, so anything that tiles on one wraps its coordinate
// itself.
TEST(GlObjects, RectangleTexturesRefuseRepeat) {
    OMBREL_GL_CONTEXT_OR_SKIP(context);
    ASSERT_TRUE(context->MakeCurrent());
    GlObject texture = GlObject::Texture();
    glBindTexture(GL_TEXTURE_RECTANGLE, texture.get());
    ClearGlErrors();
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_REPEAT);
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_INVALID_ENUM));
    glTexParameteri(GL_TEXTURE_RECTANGLE, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    EXPECT_EQ(ClearGlErrors(), static_cast<GLenum>(GL_NO_ERROR));
    texture.reset();
    context->ReleaseCurrent();
}

// Run in a child whose EGL loader finds no driver at all (see the test below).
TEST(GlContextProbe, WithoutADriverCreateAnswersWhy) {
    if (!std::getenv("OMBREL_GL_PROBE_NO_DRIVER")) GTEST_SKIP() << "runs only as the child of the test below";
    std::string why;
    EXPECT_EQ(GlContext::Create(nullptr, &why), nullptr);
    EXPECT_NE(why.find("Cannot create an OpenGL context"), std::string::npos) << why;
    EXPECT_EQ(GlContext::Create(nullptr, nullptr), nullptr);
}

TEST(GlContext, WithoutADriverCreationIsAClearErrorNotACrash) {
    std::string filter = "--gtest_filter=GlContextProbe.WithoutADriverCreateAnswersWhy";
    std::string self = "/proc/self/exe";
    char* argv[] = {self.data(), filter.data(), nullptr};
    std::vector<std::string> env;
    for (char** e = environ; *e; ++e) env.emplace_back(*e);
    env.emplace_back("__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent/vendor.json");
    env.emplace_back("OMBREL_GL_PROBE_NO_DRIVER=1");
    std::vector<char*> envp;
    for (auto& e : env) envp.push_back(e.data());
    envp.push_back(nullptr);
    pid_t pid = 0;
    ASSERT_EQ(posix_spawn(&pid, "/proc/self/exe", nullptr, nullptr, argv, envp.data()), 0);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status)) << "the child died of a signal";
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace ombrel

#include <GLES2/gl2.h>

#include "TestSupport.h"
#include "platform/EglContext.h"

namespace nudora {
namespace {

using test::ScopedEnv;

TEST(EglContext, Api3GivesAnEs3ContextThatRenders) {
  auto context = EglContext::create(3);
  ASSERT_NE(context, nullptr) << "llvmpipe offers ES 3";
  EXPECT_EQ(context->api(), 3);
  ASSERT_TRUE(context->makeCurrent());
  EXPECT_TRUE(context->isCurrent());
  std::string version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
  EXPECT_EQ(version.rfind("OpenGL ES 3", 0), 0u) << version;
  EglContext::clearCurrent();
  EXPECT_FALSE(context->isCurrent());
}

TEST(EglContext, CapFailsApi3SoCallersFallBackTo2) {
  ScopedEnv cap("NUDORA_GLES_MAX_API", "2");
  EXPECT_EQ(EglContext::maxApi(), 2);
  EXPECT_EQ(EglContext::create(3), nullptr);
  auto context = EglContext::create(2);
  ASSERT_NE(context, nullptr);
  EXPECT_EQ(context->api(), 2);
}

TEST(EglContext, WrapsTheHostsCurrentContextWithoutOwningIt) {
  EXPECT_EQ(EglContext::wrapCurrent(), nullptr);
  auto host = EglContext::create(3);
  ASSERT_NE(host, nullptr);
  ASSERT_TRUE(host->makeCurrent());
  {
    auto wrapped = EglContext::wrapCurrent();
    ASSERT_NE(wrapped, nullptr);
    EXPECT_TRUE(wrapped->isWrapped());
    EXPECT_EQ(wrapped->context(), host->context());
    EXPECT_EQ(wrapped->api(), 3);
  }
  // Dropping the wrapper left the host's context alive and current.
  EXPECT_TRUE(host->isCurrent());
  EXPECT_NE(glGetString(GL_VERSION), nullptr);
  EglContext::clearCurrent();
}

TEST(EglContext, SharedContextSeesTheOthersTextures) {
  auto first = EglContext::create(3);
  ASSERT_NE(first, nullptr);
  auto second = EglContext::create(3, first.get());
  ASSERT_NE(second, nullptr);
  ASSERT_TRUE(first->makeCurrent());
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_2D, texture);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  glFinish();
  ASSERT_TRUE(second->makeCurrent());
  EXPECT_TRUE(glIsTexture(texture));
  glDeleteTextures(1, &texture);
  EglContext::clearCurrent();
}

}  // namespace
}  // namespace nudora

// Pixels through the texture cache, both ways, on ES 3 and ES 2 contexts.
#include <GLES2/gl2.h>

#include <cstring>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <thread>

#include "platform/EglContext.h"
#include "gpu/CopyPass.h"
#include "platform/TextureCache.h"

namespace nudora {
namespace {

// Host memory with padded rows, filled with a reproducible pattern.
struct HostFrame {
  HostFrame(int w, int h, size_t padding, uint32_t seed) : bytesPerRow(static_cast<size_t>(w) * 4 + padding) {
    bytes.resize(bytesPerRow * static_cast<size_t>(h));
    std::mt19937 rng(seed);
    for (auto& b : bytes) b = static_cast<uint8_t>(rng());
    buffer = PixelBuffer::wrap(bytes.data(), w, h, bytesPerRow);
  }
  size_t bytesPerRow;
  std::vector<uint8_t> bytes;
  std::shared_ptr<PixelBuffer> buffer;
};

// Reads a texture back as RGBA with plain GL, independent of the cache.
std::vector<uint8_t> readTextureRGBA(GLuint texture, int w, int h) {
  GLuint fbo = 0;
  glGenFramebuffers(1, &fbo);
  glBindFramebuffer(GL_FRAMEBUFFER, fbo);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  std::vector<uint8_t> out(static_cast<size_t>(w) * h * 4);
  glPixelStorei(GL_PACK_ALIGNMENT, 1);
  glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, out.data());
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glDeleteFramebuffers(1, &fbo);
  return out;
}

struct CacheCase {
  int api;
  bool preferBGRA;
};

void PrintTo(const CacheCase& c, std::ostream* os) { *os << "ES" << c.api << (c.preferBGRA ? " BGRA" : " RGBA swap"); }

class TextureCacheTest : public ::testing::TestWithParam<CacheCase> {
 protected:
  void SetUp() override {
    context_ = EglContext::create(GetParam().api);
    if (!context_) GTEST_SKIP() << "no OpenGL ES " << GetParam().api << " context on this machine";
    ASSERT_TRUE(context_->makeCurrent());
    cache_ = TextureCache::create(GetParam().preferBGRA);
    ASSERT_NE(cache_, nullptr);
  }
  void TearDown() override {
    cache_.reset();
    if (context_) EglContext::clearCurrent();
  }
  std::unique_ptr<EglContext> context_;
  std::shared_ptr<TextureCache> cache_;
};

TEST_P(TextureCacheTest, UploadPutsEveryPixelInPlaceWithChannelsInOrder) {
  // An odd width and padded rows exercise the row-length and repacking paths.
  HostFrame frame(37, 23, 12, 1);
  std::shared_ptr<CacheTexture> texture;
  ASSERT_EQ(cache_->createTextureFromImage(frame.buffer, &texture), kTextureCacheSuccess);
  auto rgba = readTextureRGBA(texture->name(), 37, 23);
  for (int y = 0; y < 23; ++y) {
    for (int x = 0; x < 37; ++x) {
      const uint8_t* bgra = frame.buffer->row(y) + x * 4;
      const uint8_t* got = rgba.data() + (static_cast<size_t>(y) * 37 + x) * 4;
      ASSERT_EQ(got[0], bgra[2]) << "red at " << x << "," << y;
      ASSERT_EQ(got[1], bgra[1]) << "green at " << x << "," << y;
      ASSERT_EQ(got[2], bgra[0]) << "blue at " << x << "," << y;
      ASSERT_EQ(got[3], bgra[3]) << "alpha at " << x << "," << y;
    }
  }
}

TEST_P(TextureCacheTest, RenderedTextureIsWrittenBackAsBGRAWithoutTouchingPadding) {
  HostFrame frame(29, 17, 8, 2);
  std::vector<uint8_t> before = frame.bytes;
  {
    std::shared_ptr<CacheTexture> texture;
    ASSERT_EQ(cache_->createTextureFromImage(frame.buffer, &texture), kTextureCacheSuccess);
    GLuint fbo = 0;
    glGenFramebuffers(1, &fbo);
    glBindFramebuffer(GL_FRAMEBUFFER, fbo);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture->name(), 0);
    glClearColor(1.0f, 0.0f, 128.0f / 255.0f, 64.0f / 255.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &fbo);
    TextureCache::noteRenderTarget(texture->name());
    EXPECT_TRUE(texture->rendered());
  }
  for (int y = 0; y < 17; ++y) {
    const uint8_t* row = frame.buffer->row(y);
    for (int x = 0; x < 29; ++x) {
      ASSERT_EQ(row[x * 4 + 0], 128) << "blue at " << x << "," << y;
      ASSERT_EQ(row[x * 4 + 1], 0) << "green at " << x << "," << y;
      ASSERT_EQ(row[x * 4 + 2], 255) << "red at " << x << "," << y;
      ASSERT_EQ(row[x * 4 + 3], 64) << "alpha at " << x << "," << y;
    }
    for (size_t i = 29 * 4; i < frame.bytesPerRow; ++i) {
      ASSERT_EQ(row[i], before[y * frame.bytesPerRow + i]) << "padding byte " << i << " of row " << y;
    }
  }
}

TEST_P(TextureCacheTest, CopyPassRoundTripIsExactAndUntouchedBufferKeepsEveryByte) {
  HostFrame input(64, 48, 0, 3);
  HostFrame output(64, 48, 16, 4);
  HostFrame bystander(64, 48, 0, 5);  // reuses a pooled texture, never rendered
  const std::vector<uint8_t> inputBefore = input.bytes;
  const std::vector<uint8_t> bystanderBefore = bystander.bytes;
  auto pass = CopyPass::create(context_->api());
  ASSERT_NE(pass, nullptr);

  for (int frame = 0; frame < 3; ++frame) {  // later frames run on pooled textures
    std::shared_ptr<CacheTexture> src, dst, idle;
    ASSERT_EQ(cache_->createTextureFromImage(input.buffer, &src), kTextureCacheSuccess);
    ASSERT_EQ(cache_->createTextureFromImage(output.buffer, &dst), kTextureCacheSuccess);
    ASSERT_EQ(cache_->createTextureFromImage(bystander.buffer, &idle), kTextureCacheSuccess);
    ASSERT_TRUE(pass->draw(src->name(), dst->name(), 64, 48));
    src.reset();
    dst.reset();
    idle.reset();
    cache_->flush();
  }
  EXPECT_EQ(input.bytes, inputBefore) << "the source buffer was written";
  EXPECT_EQ(bystander.bytes, bystanderBefore) << "a buffer no pass rendered was written";
  for (int y = 0; y < 48; ++y) {
    ASSERT_EQ(std::memcmp(output.buffer->row(y), input.buffer->row(y), 64 * 4), 0) << "row " << y;
  }
  EXPECT_EQ(cache_->pooledTextureCount(), 3u);
}

TEST_P(TextureCacheTest, FlushFreesTexturesIdleForTheFlushAge) {
  HostFrame frame(8, 8, 0, 6);
  {
    std::shared_ptr<CacheTexture> texture;
    ASSERT_EQ(cache_->createTextureFromImage(frame.buffer, &texture), kTextureCacheSuccess);
  }
  for (int i = 1; i < TextureCache::kFlushAge; ++i) cache_->flush();
  EXPECT_EQ(cache_->pooledTextureCount(), 1u);
  cache_->flush();
  EXPECT_EQ(cache_->pooledTextureCount(), 0u);
}

TEST_P(TextureCacheTest, RejectsMissingBufferAndForeignThread) {
  std::shared_ptr<CacheTexture> texture;
  EXPECT_EQ(cache_->createTextureFromImage(nullptr, &texture), kTextureCacheInvalidArgument);
  EXPECT_EQ(texture, nullptr);
  HostFrame frame(8, 8, 0, 7);
  int32_t status = 0;
  std::thread([&] { status = cache_->createTextureFromImage(frame.buffer, &texture); }).join();
  EXPECT_EQ(status, kTextureCacheNoContext);
}

std::string caseName(const ::testing::TestParamInfo<CacheCase>& info) {
  return "ES" + std::to_string(info.param.api) + (info.param.preferBGRA ? "_BGRA" : "_RGBASwap");
}

INSTANTIATE_TEST_SUITE_P(Api, TextureCacheTest,
                         ::testing::Values(CacheCase{3, true}, CacheCase{3, false}, CacheCase{2, true},
                                           CacheCase{2, false}),
                         caseName);

}  // namespace
}  // namespace nudora

// Pixels through the texture cache, both ways, on ES 3 and ES 2 contexts and
// with both of the cache's layouts: BGRA where the context has it, and the
// RGBA path with its CPU channel swap.
#include "platform/TextureCache.h"

#include <cstring>
#include <random>
#include <thread>

#include "GpuTestSupport.h"
#include "gpu/CopyPass.h"

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

class TextureCacheTest : public test::GlContextTest {
 protected:
  // Runs body once with each layout's cache.
  template <class Body>
  void forBothLayouts(Body body) {
    for (bool preferBGRA : {true, false}) {
      SCOPED_TRACE(preferBGRA ? "BGRA preferred" : "RGBA swap");
      auto cache = TextureCache::create(preferBGRA);
      ASSERT_NE(cache, nullptr);
      body(*cache);
    }
  }
};

TEST_P(TextureCacheTest, UploadPutsEveryPixelInPlaceWithChannelsInOrder) {
  forBothLayouts([&](TextureCache& cache) {
    // An odd width and padded rows exercise the row-length and repacking paths.
    HostFrame frame(37, 23, 12, 1);
    std::shared_ptr<CacheTexture> texture;
    ASSERT_EQ(cache.createTextureFromImage(frame.buffer, &texture), kTextureCacheSuccess);
    // Read back with plain GL, independent of the cache.
    test::comparePicture(read(texture->name(), 37, 23), [&](int x, int y, int c) {
      return frame.buffer->row(y)[x * 4 + (c == 3 ? 3 : 2 - c)];
    }, 0, "upload");
  });
}

TEST_P(TextureCacheTest, RenderedTextureIsWrittenBackAsBGRAWithoutTouchingPadding) {
  forBothLayouts([&](TextureCache& cache) {
    HostFrame frame(29, 17, 8, 2);
    const std::vector<uint8_t> before = frame.bytes;
    {
      std::shared_ptr<CacheTexture> texture;
      ASSERT_EQ(cache.createTextureFromImage(frame.buffer, &texture), kTextureCacheSuccess);
      fill(texture->name(), 1.0f, 0.0f, 128.0f / 255.0f, 64.0f / 255.0f);
      TextureCache::noteRenderTarget(texture->name());
      EXPECT_TRUE(texture->rendered());
    }
    const uint8_t bgra[4] = {128, 0, 255, 64};
    for (int y = 0; y < 17; ++y) {
      const uint8_t* row = frame.buffer->row(y);
      for (size_t i = 0; i < frame.bytesPerRow; ++i) {
        ASSERT_EQ(row[i], i < 29 * 4 ? bgra[i % 4] : before[y * frame.bytesPerRow + i])
            << "byte " << i << " of row " << y << (i < 29 * 4 ? "" : " (padding)");
      }
    }
  });
}

TEST_P(TextureCacheTest, CopyPassRoundTripIsExactAndUntouchedBufferKeepsEveryByte) {
  forBothLayouts([&](TextureCache& cache) {
    HostFrame input(64, 48, 0, 3);
    HostFrame output(64, 48, 16, 4);
    HostFrame bystander(64, 48, 0, 5);  // reuses a pooled texture, never rendered
    const std::vector<uint8_t> inputBefore = input.bytes, bystanderBefore = bystander.bytes;
    auto pass = CopyPass::create(context_->api());
    ASSERT_NE(pass, nullptr);

    for (int frame = 0; frame < 3; ++frame) {  // later frames run on pooled textures
      std::shared_ptr<CacheTexture> src, dst, idle;
      ASSERT_EQ(cache.createTextureFromImage(input.buffer, &src), kTextureCacheSuccess);
      ASSERT_EQ(cache.createTextureFromImage(output.buffer, &dst), kTextureCacheSuccess);
      ASSERT_EQ(cache.createTextureFromImage(bystander.buffer, &idle), kTextureCacheSuccess);
      ASSERT_TRUE(pass->draw(src->name(), dst->name(), 64, 48));
      src.reset();
      dst.reset();
      idle.reset();
      cache.flush();
    }
    EXPECT_EQ(input.bytes, inputBefore) << "the source buffer was written";
    EXPECT_EQ(bystander.bytes, bystanderBefore) << "a buffer no pass rendered was written";
    EXPECT_EQ(test::maxDifference(*output.buffer, *input.buffer), 0);
    EXPECT_EQ(cache.pooledTextureCount(), 3u);
  });
}

TEST_P(TextureCacheTest, FlushFreesTexturesIdleForTheFlushAgeAndRefusesBadCalls) {
  auto cache = TextureCache::create();
  ASSERT_NE(cache, nullptr);
  HostFrame frame(8, 8, 0, 6);
  {
    std::shared_ptr<CacheTexture> texture;
    ASSERT_EQ(cache->createTextureFromImage(frame.buffer, &texture), kTextureCacheSuccess);
  }
  for (int i = 1; i < TextureCache::kFlushAge; ++i) cache->flush();
  EXPECT_EQ(cache->pooledTextureCount(), 1u);
  cache->flush();
  EXPECT_EQ(cache->pooledTextureCount(), 0u);

  std::shared_ptr<CacheTexture> texture;
  EXPECT_EQ(cache->createTextureFromImage(nullptr, &texture), kTextureCacheInvalidArgument);
  EXPECT_EQ(texture, nullptr);
  int32_t status = 0;
  std::thread([&] { status = cache->createTextureFromImage(frame.buffer, &texture); }).join();
  EXPECT_EQ(status, kTextureCacheNoContext);
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(TextureCacheTest);

}  // namespace
}  // namespace nudora

// Cost of moving a frame through the texture cache (upload on creation,
// write-back on release), beside a plain memcpy of the same bytes: the floor
// that any pass over a host buffer pays on a machine without zero-copy.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "platform/EglContext.h"
#include "platform/TextureCache.h"

namespace {

using nudora::CacheTexture;
using nudora::EglContext;
using nudora::PixelBuffer;
using nudora::TextureCache;

void BM_UploadAndWriteBack(benchmark::State& state) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  auto context = EglContext::create(3);
  if (!context || !context->makeCurrent()) {
    state.SkipWithError("no OpenGL ES 3 context");
    return;
  }
  {
    auto cache = TextureCache::create();
    auto buffer = PixelBuffer::create(w, h);
    std::memset(buffer->baseAddress(), 0x5a, buffer->bytesPerRow() * static_cast<size_t>(h));
    for (auto _ : state) {
      std::shared_ptr<CacheTexture> texture;
      if (cache->createTextureFromImage(buffer, &texture) != nudora::kTextureCacheSuccess) {
        state.SkipWithError("upload failed");
        break;
      }
      texture->markRendered();
      texture.reset();  // writes back
      cache->flush();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(w) * h * 4 * 2);
  }
  EglContext::clearCurrent();
}

void BM_Memcpy(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)) * static_cast<size_t>(state.range(1)) * 4;
  std::vector<uint8_t> src(bytes, 0x5a), dst(bytes);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), bytes);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

BENCHMARK(BM_UploadAndWriteBack)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Memcpy)->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

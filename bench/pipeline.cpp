// The pipeline's floor: Nudora::process from a host BGRA buffer into a host
// BGRA buffer with no stage on, beside a memcpy of the same frame.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "entry/Nudora.h"

namespace {

void BM_ProcessNoStage(benchmark::State& state) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  auto facade = nudora::Nudora::sharedInstance();
  if (!facade) {
    state.SkipWithError("no OpenGL ES context");
    return;
  }
  auto input = nudora::PixelBuffer::create(w, h);
  auto output = nudora::PixelBuffer::create(w, h);
  std::memset(input->baseAddress(), 0x80, input->bytesPerRow() * static_cast<size_t>(h));
  auto frame = nudora::SampleBuffer::create(input, 0.0);
  facade->process(frame, output);  // builds the program
  for (auto _ : state) facade->process(frame, output);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(w) * h * 4);
}

void BM_Memcpy(benchmark::State& state) {
  const size_t bytes = static_cast<size_t>(state.range(0)) * static_cast<size_t>(state.range(1)) * 4;
  std::vector<uint8_t> src(bytes, 0x80), dst(bytes);
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), bytes);
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
}

BENCHMARK(BM_ProcessNoStage)
    ->Args({1280, 720})
    ->Args({1920, 1080})
    ->Args({3840, 2160})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_Memcpy)->Args({1280, 720})->Args({1920, 1080})->Args({3840, 2160})->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

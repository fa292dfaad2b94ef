// Time for the blue-screen frame at 1920 x 1080: the segmentor's mask alone
// (simple pass and grow, at its 1440 x 810 mask size, to glFinish), and the
// whole frame through the processor (upload of the camera and background
// frames, mask, the composing pass and the write-back into the output
// buffer), as a host calling the pipeline pays it.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "gpu/OrvoProcessHelpers.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/EglContext.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"
#include "segmentation/OrvoSegmentor.h"

namespace {

using nudora::EglContext;
using nudora::OrvoRealTimeProcessor;
using nudora::OrvoSegmentor;
using nudora::PixelBuffer;

constexpr int kWidth = 1920, kHeight = 1080;

// A blue backdrop with a noisy block of subject in the middle (BGRA).
std::shared_ptr<PixelBuffer> cameraFrame() {
  auto frame = PixelBuffer::create(kWidth, kHeight);
  std::mt19937 rng(1);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      uint8_t* p = frame->row(y) + x * 4;
      const bool subject = x > 600 && x < 1300 && y > 200;
      const int noise = static_cast<int>(rng() % 9) - 4;
      p[0] = static_cast<uint8_t>((subject ? 110 : 200) + noise);
      p[1] = static_cast<uint8_t>((subject ? 150 : 50) + noise);
      p[2] = static_cast<uint8_t>((subject ? 210 : 25) + noise);
      p[3] = 255;
    }
  }
  return frame;
}

void BM_BlueScreenMask(benchmark::State& state) {
  auto context = EglContext::create(3);
  if (!context || !context->makeCurrent()) {
    state.SkipWithError("no OpenGL ES 3 context");
    return;
  }
  {
    auto frame = cameraFrame();
    std::vector<uint8_t> rgba(static_cast<size_t>(kWidth) * kHeight * 4);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const uint8_t* p = frame->row(y) + x * 4;
        uint8_t* q = &rgba[(static_cast<size_t>(y) * kWidth + x) * 4];
        q[0] = p[2], q[1] = p[1], q[2] = p[0], q[3] = 255;
      }
    }
    GLuint source = 0;
    nudora::OrvoProcessHelpers::generateTexture(&source, kWidth, kHeight, GL_RGBA);
    glBindTexture(GL_TEXTURE_2D, source);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kWidth, kHeight, GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    {
      OrvoSegmentor segmentor;
      if (!segmentor.setupGL() || !segmentor.enable(kWidth, kHeight)) {
        state.SkipWithError("segmentor programs did not build");
      } else {
        const nudora::OrvoColor key{25 / 255.0f, 50 / 255.0f, 200 / 255.0f};
        const float threshold = OrvoRealTimeProcessor::blueScreenSegmentThreshold(0, 0.5f);
        segmentor.segmentSimple(source, key, threshold);
        glFinish();
        for (auto _ : state) {
          segmentor.segmentSimple(source, key, threshold);
          glFinish();
        }
      }
    }
    glDeleteFramebuffers(1, &framebuffer);
    nudora::OrvoProcessHelpers::deleteTexture(&source);
  }
  EglContext::clearCurrent();
}

void BM_BlueScreenFrame(benchmark::State& state) {
  auto processor = std::make_shared<OrvoRealTimeProcessor>();
  if (!processor->setupWithAPI(3)) {
    state.SkipWithError("no OpenGL ES 3 processor");
    return;
  }
  processor->setBlueScreenEnabled(true);
  processor->setBlueScreenType(0);
  processor->setScreenColor({25 / 255.0f, 50 / 255.0f, 200 / 255.0f});
  auto sample = nudora::SampleBuffer::create(cameraFrame(), 0.0);
  auto background = PixelBuffer::create(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth * 4; ++x) background->row(y)[x] = static_cast<uint8_t>(x * 7 + y * 3);
  }
  auto out = PixelBuffer::create(kWidth, kHeight);
  processor->effectPixelBuffer(sample, out, background, false, false, 1, 0.0, 0.0);  // builds the programs
  for (auto _ : state) {
    processor->effectPixelBuffer(sample, out, background, false, false, 1, 0.0, 0.0);
  }
}

BENCHMARK(BM_BlueScreenMask)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_BlueScreenFrame)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

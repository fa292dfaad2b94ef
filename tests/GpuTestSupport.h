#pragma once
// Shared by the GPU tests: every test runs on an ES 3 and an ES 2 context.
// Texture upload and read-back, and a CPU GL_LINEAR sampler with
// clamp-to-edge to compare GPU output with.

#include <GLES2/gl2.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "gpu/OrvoImageProcessor.h"
#include "platform/EglContext.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "platform/Resources.h"
#include "platform/SampleBuffer.h"

namespace nudora::test {

inline std::string apiName(const ::testing::TestParamInfo<int>& param) { return "ES" + std::to_string(param.param); }

// RGBA bytes, row 0 first (GL's v = 0 side).
struct Picture {
  int width = 0, height = 0;
  std::vector<uint8_t> rgba;

  uint8_t at(int x, int y, int c) const {
    return rgba[(static_cast<size_t>(std::clamp(y, 0, height - 1)) * width + std::clamp(x, 0, width - 1)) * 4 + c];
  }
  // The four texels around (u * w - 0.5, v * h - 0.5), weighted by the fractions.
  double sample(double u, double v, int c) const {
    const double x = u * width - 0.5, y = v * height - 0.5, ax = x - std::floor(x), ay = y - std::floor(y);
    const int x0 = static_cast<int>(std::floor(x)), y0 = static_cast<int>(std::floor(y));
    return (at(x0, y0, c) * (1 - ax) + at(x0 + 1, y0, c) * ax) * (1 - ay) +
           (at(x0, y0 + 1, c) * (1 - ax) + at(x0 + 1, y0 + 1, c) * ax) * ay;
  }
};

// Compares every value of got with want(x, y, c), skipping those for which
// want answers NaN, and reports the first one off by more than tolerance.
// Answers how many values were compared.
template <class Want>
int comparePicture(const Picture& got, const Want& want, double tolerance, const std::string& what) {
  int compared = 0;
  for (int i = 0; i < got.width * got.height * 4; ++i) {
    const int x = i / 4 % got.width, y = i / 4 / got.width, c = i % 4;
    const double expected = want(x, y, c);
    if (std::isnan(expected)) continue;
    ++compared;
    if (std::abs(got.rgba[i] - expected) > tolerance) {
      ADD_FAILURE() << what << " pixel " << x << "," << y << " channel " << c << ": got " << int{got.rgba[i]}
                    << ", want " << expected;
      break;
    }
  }
  return compared;
}

inline Picture randomPicture(int w, int h, uint32_t seed) {
  Picture p{w, h, std::vector<uint8_t>(static_cast<size_t>(w) * h * 4)};
  std::mt19937 rng(seed);
  for (auto& b : p.rgba) b = static_cast<uint8_t>(rng());
  return p;
}

// Random opaque BGRA; rows padded by `padding` bytes in host memory when non-zero.
inline std::shared_ptr<PixelBuffer> randomFrame(int w, int h, uint32_t seed, size_t padding = 0) {
  auto memory = std::make_shared<std::vector<uint8_t>>((w * 4 + padding) * h);
  auto buffer =
      padding ? PixelBuffer::wrap(memory->data(), w, h, w * 4 + padding, [memory] {}) : PixelBuffer::create(w, h);
  std::mt19937 rng(seed);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w * 4; ++x) buffer->row(y)[x] = x % 4 == 3 ? 255 : static_cast<uint8_t>(rng());
  }
  return buffer;
}

inline std::shared_ptr<PixelBuffer> filledFrame(int w, int h, uint8_t value) {
  auto buffer = PixelBuffer::create(w, h);
  for (int y = 0; y < h; ++y) std::fill_n(buffer->row(y), w * 4, value);
  return buffer;
}

// Largest byte difference between two frames' pixels (row padding aside);
// 999 when their sizes differ.
inline int maxDifference(const PixelBuffer& a, const PixelBuffer& b) {
  if (a.width() != b.width() || a.height() != b.height()) return 999;
  int worst = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width() * 4; ++x) worst = std::max(worst, std::abs(a.row(y)[x] - b.row(y)[x]));
  }
  return worst;
}

// The buffer's bytes as a picture for the CPU sampler (channel order is kept).
inline Picture pictureOf(const PixelBuffer& buffer) {
  Picture p{buffer.width(), buffer.height(), {}};
  for (int y = 0; y < buffer.height(); ++y) {
    p.rgba.insert(p.rgba.end(), buffer.row(y), buffer.row(y) + buffer.width() * 4);
  }
  return p;
}

// What the filter shader's lookupTable() computes, on the table image:
// bilinear red/green within the two tiles around blue, blended by blue.
inline double lookupTableReference(const Picture& table, double r, double g, double b, int channel) {
  const double blue = b * 63.0, lowTile = std::floor(blue), highTile = std::min(lowTile + 1.0, 63.0);
  const double u = 0.5 / 512.0 + (0.125 - 1.0 / 512.0) * r, v = 0.5 / 512.0 + (0.125 - 1.0 / 512.0) * g;
  auto tile = [&](double t) {
    return table.sample(std::fmod(t, 8.0) * 0.125 + u, std::floor(t / 8.0) * 0.125 + v, channel);
  };
  return tile(lowTile) + (tile(highTile) - tile(lowTile)) * (blue - lowTile);
}

// The built-in sample picture (sky, foliage, skin, a red jacket), scaled
// down by whole-pixel averaging so that a pass per filter stays quick;
// nullptr when it is not installed.
inline std::shared_ptr<PixelBuffer> naturalPicture(int factor) {
  auto full = Image::load(Resources::folder() + "/samples/scene.png");
  if (!full) return nullptr;
  const int w = full->width() / factor, h = full->height() / factor;
  Image small(w, h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      for (int c = 0; c < 4; ++c) {
        int sum = 0;
        for (int j = 0; j < factor; ++j) {
          for (int i = 0; i < factor; ++i) sum += full->pixel(x * factor + i, y * factor + j)[c];
        }
        small.pixel(x, y)[c] = static_cast<uint8_t>(sum / (factor * factor));
      }
    }
  }
  return small.toPixelBuffer();
}

// Smooth waves in every channel, a few levels per pixel at most, so that
// sampling a fraction of a pixel off costs a fraction of a level.
inline std::shared_ptr<PixelBuffer> smoothFrame(int w, int h) {
  auto buffer = PixelBuffer::create(w, h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double u = (x + 0.5) / w, v = (y + 0.5) / h;
      uint8_t* p = buffer->row(y) + x * 4;
      p[0] = static_cast<uint8_t>(std::lround(128 + 100 * std::sin(6.0 * u + 2.0 * v)));
      p[1] = static_cast<uint8_t>(std::lround(128 + 100 * std::cos(5.0 * v - 1.5 * u)));
      p[2] = static_cast<uint8_t>(std::lround(40 + 170 * u * v));
      p[3] = 255;
    }
  }
  return buffer;
}

// Mean absolute difference of the colour channels of two same-sized frames.
inline double meanAbsoluteDifference(const PixelBuffer& a, const PixelBuffer& b) {
  double sum = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      for (int c = 0; c < 3; ++c) sum += std::abs(a.row(y)[x * 4 + c] - b.row(y)[x * 4 + c]);
    }
  }
  return sum / (3.0 * a.width() * a.height());
}

inline Picture pictureOf(const Image& image) {
  return {image.width(), image.height(),
          std::vector<uint8_t>(image.data(), image.data() + static_cast<size_t>(image.width()) * image.height() * 4)};
}

// A fresh context of the parameter's API level, current for the test, with a
// framebuffer bound as the processor keeps one; textures made through the
// fixture are freed with it.
class GlContextTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    context_ = EglContext::create(GetParam());
    if (!context_) GTEST_SKIP() << "no OpenGL ES " << GetParam() << " context on this machine";
    ASSERT_TRUE(context_->makeCurrent());
    glGenFramebuffers(1, &framebuffer_);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
  }
  void TearDown() override {
    if (!context_) return;
    for (GLuint t : textures_) glDeleteTextures(1, &t);
    glDeleteFramebuffers(1, &framebuffer_);
    EglContext::clearCurrent();
  }
  // A linear, clamp-to-edge texture (empty when p has no bytes), freed with the fixture.
  GLuint texture(const Picture& p) {
    GLuint t = 0;
    glGenTextures(1, &t);
    textures_.push_back(t);
    glBindTexture(GL_TEXTURE_2D, t);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, p.width, p.height, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                 p.rgba.empty() ? nullptr : p.rgba.data());
    for (GLenum f : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER}) glTexParameteri(GL_TEXTURE_2D, f, GL_LINEAR);
    for (GLenum w : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T}) glTexParameteri(GL_TEXTURE_2D, w, GL_CLAMP_TO_EDGE);
    return t;
  }
  // Attaches tex to the fixture's framebuffer, where it stays.
  void attach(GLuint tex) const {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, tex, 0);
  }
  Picture read(GLuint tex, int w, int h) const {
    attach(tex);
    Picture p{w, h, std::vector<uint8_t>(static_cast<size_t>(w) * h * 4)};
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, w, h, GL_RGBA, GL_UNSIGNED_BYTE, p.rgba.data());
    return p;
  }
  void fill(GLuint tex, float r, float g, float b, float a) const {
    attach(tex);
    glClearColor(r, g, b, a);
    glClear(GL_COLOR_BUFFER_BIT);
  }

  bool es3() const { return GetParam() == 3; }

  std::unique_ptr<EglContext> context_;
  GLuint framebuffer_ = 0;
  std::vector<GLuint> textures_;
};

// A processor of type P set up on the parameter's API level.
template <class P>
class ProcessorTest : public ::testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (!processor_->setupWithAPI(GetParam())) GTEST_SKIP() << "no OpenGL ES " << GetParam() << " processor here";
  }
  std::shared_ptr<P> processor_ = std::make_shared<P>();
};

// A still processor on the parameter's API level that renders a picture
// under a style (and lens).
class StillProcessorTest : public ProcessorTest<OrvoImageProcessor> {
 protected:
  // A copy of the result for the picture, or nullptr when nothing was drawn.
  std::shared_ptr<PixelBuffer> render(const std::shared_ptr<PixelBuffer>& picture, int64_t style, int64_t lens = 0) {
    processor_->setStyleFilter(style);
    processor_->setLensFilter(lens);
    processor_->effectSampeBuffer(SampleBuffer::create(picture, 0.0), false, false, 1);
    const auto& result = processor_->resultPixelBuffer();
    if (!processor_->rendered() || !result) return nullptr;
    auto copy = PixelBuffer::create(result->width(), result->height());
    for (int y = 0; y < result->height(); ++y) std::copy_n(result->row(y), result->width() * 4, copy->row(y));
    return copy;
  }
};

// A context test whose stage has its programs built.
template <class Stage>
class StageTest : public GlContextTest {
 protected:
  void SetUp() override {
    GlContextTest::SetUp();
    if (!IsSkipped() && !HasFatalFailure()) {
      ASSERT_TRUE(stage_.setupGL());
    }
  }
  Stage stage_;
};

}  // namespace nudora::test

#define NUDORA_INSTANTIATE_FOR_BOTH_APIS(Suite) \
  INSTANTIATE_TEST_SUITE_P(Api, Suite, ::testing::Values(3, 2), ::nudora::test::apiName)

// The particle effect on ES 3 and ES 2: one placed particle against a CPU
// rendering, motion between frames, and the frame unchanged without particles.
#include "effects/OrvoEffectParticle.h"

#include <cmath>
#include <random>

#include "GpuTestSupport.h"
#include "effects/OrvoParticleSystem.h"
#include "gpu/OrvoProcessHelpers.h"
#include "platform/Image.h"

namespace nudora {
namespace {

constexpr int kLayer = OrvoEffectParticle::kTargetSide;

class OrvoEffectParticleTest : public test::GlContextTest {
 protected:
  void SetUp() override {
    GlContextTest::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    system_->setRandomSource([engine = std::mt19937(5)]() mutable { return static_cast<uint32_t>(engine()); });
    effect_ = std::make_unique<OrvoEffectParticle>(system_);
    ASSERT_TRUE(effect_->setupGL());
  }
  void TearDown() override {
    effect_.reset();  // frees its GL objects while the context is current
    GlContextTest::TearDown();
  }

  // The effect from in into a fresh output texture, read back.
  test::Picture process(GLuint in, int w, int h) {
    GLuint out = texture(test::Picture{w, h, {}});
    EXPECT_TRUE(effect_->processTex(in, out, w, h, squareVertices, textureVertices));
    return read(out, w, h);
  }

  std::shared_ptr<OrvoParticleSystem> system_ = std::make_shared<OrvoParticleSystem>();
  std::unique_ptr<OrvoEffectParticle> effect_;
};

// The layer with one point sprite: texels inside its square read the sprite
// (cell `style` of a 4 x 4 sheet), first row at layer row 0, times alpha.
test::Picture layerWithOnePoint(const test::Picture& sprite, bool sheet, const Particle& p) {
  test::Picture layer{kLayer, kLayer, std::vector<uint8_t>(static_cast<size_t>(kLayer) * kLayer * 4, 0)};
  const double cx = (p.position.x + 1) / 2 * kLayer, cy = (p.position.y + 1) / 2 * kLayer, side = p.size * kLayer;
  const int cell = static_cast<int>(p.style);
  const double cells = sheet ? 4.0 : 1.0, column = sheet ? cell % 4 : 0, row = sheet ? cell / 4 : 0;
  for (int y = static_cast<int>(cy - side / 2) - 1; y <= cy + side / 2 + 1; ++y) {
    for (int x = static_cast<int>(cx - side / 2) - 1; x <= cx + side / 2 + 1; ++x) {
      const double s = (x + 0.5 - cx) / side + 0.5, t = (y + 0.5 - cy) / side + 0.5;
      if (s < 0 || s > 1 || t < 0 || t > 1) continue;
      for (int c = 0; c < 4; ++c) {
        const double texel = sprite.sample((column + s) / cells, (row + t) / cells, c);
        const double v = std::min(255.0, texel * p.alpha);
        layer.rgba[(static_cast<size_t>(y) * kLayer + x) * 4 + c] = static_cast<uint8_t>(std::lround(v));
      }
    }
  }
  return layer;
}

TEST_P(OrvoEffectParticleTest, OneParticleLandsWhereTheCpuReferencePutsIt) {
  // 16:9: the layer spans the width; the frame sees the middle 9/16 of its height.
  const int w = 320, h = 180;
  const test::Picture frame = test::pictureOf(*test::smoothFrame(w, h));
  const GLuint in = texture(frame);
  struct Case {
    int64_t filter;
    const char* image;
    bool sheet;
    float style;
  };
  // A round light, and an asymmetric petal that shows orientation and sheet cell.
  for (const Case& k : {Case{OrvoParticleSystem::kHeartFilter, "light.png", false, 0.0f},
                        Case{OrvoParticleSystem::kSakuraFilter, "sakura.png", true, 9.0f}}) {
    const std::string what = "ES" + std::to_string(GetParam()) + " " + k.image;
    ASSERT_TRUE(effect_->enableFor(k.filter)) << what;
    auto emitter = system_->particleEmitter();
    ASSERT_TRUE(emitter->setAliveParticleNum(1));
    emitter->particles()[0] = Particle{{0.25f, -0.3f}, 96.0f / kLayer, 0.0f, 0.9f, 1.0f, k.style, {}};
    const test::Picture got = process(in, w, h);

    auto image = Image::imageNamed(k.image);
    ASSERT_NE(image, nullptr) << what;
    const test::Picture sprite{image->width(), image->height(), RequestImagePixelData(image.get())};
    const Particle drawn = emitter->particles()[0];
    const test::Picture layer = layerWithOnePoint(sprite, k.sheet, drawn);
    auto want = [&](int x, int y, int c) {
      const double lu = (x + 0.5) / w, lv = 0.5 + ((y + 0.5) / h - 0.5) * h / w;
      const double over = layer.sample(lu, lv, c), coverage = layer.sample(lu, lv, 3) / 255.0;
      return over + frame.at(x, y, c) * (1.0 - coverage);
    };
    // Linear sampling of sprite and layer: a petal's crisp edge moves a level or two more.
    EXPECT_EQ(test::comparePicture(got, want, 4.0, what), w * h * 4);
    // Visible, and only around its centre: x (0.25 + 1) / 2 x 320 = 200; 96 layer pixels are 30 frame pixels.
    const double centreY = 180 * (0.5 - (0.5 - (drawn.position.y + 1) / 2) * 320 / 180);
    int changed = 0, strongest = 0, outside = 0;
    for (int i = 0; i < w * h; ++i) {
      const int x = i % w, y = i / w;
      const int d = std::abs(got.at(x, y, 0) - frame.at(x, y, 0)) + std::abs(got.at(x, y, 1) - frame.at(x, y, 1));
      if (d <= 4) continue;
      ++changed;
      strongest = std::max(strongest, d);
      outside += std::max(std::abs(x + 0.5 - 200), std::abs(y + 0.5 - centreY)) >= 16.0;
    }
    EXPECT_GT(changed, 100) << what;
    EXPECT_GT(strongest, 60) << what;
    EXPECT_EQ(outside, 0) << what;
  }
}

TEST_P(OrvoEffectParticleTest, FallingBlossomsAndRainChangeFromFrameToFrame) {
  const int w = 192, h = 108;
  const test::Picture frame = test::pictureOf(*test::smoothFrame(w, h));
  const GLuint in = texture(frame);
  for (int64_t filter : {OrvoParticleSystem::kSakuraFilter, OrvoParticleSystem::kRainFilter}) {
    ASSERT_TRUE(effect_->enableFor(filter)) << filter;
    const test::Picture first = process(in, w, h), second = process(in, w, h);
    int fromFrame = 0, betweenFrames = 0;
    for (size_t i = 0; i < first.rgba.size(); ++i) {
      fromFrame += std::abs(first.rgba[i] - frame.rgba[i]) > 4;
      betweenFrames += std::abs(first.rgba[i] - second.rgba[i]) > 4;
    }
    EXPECT_GT(fromFrame, 50) << "filter " << filter << ": no particles drawn";
    EXPECT_GT(betweenFrames, 50) << "filter " << filter << ": the particles did not move";
  }
}

TEST_P(OrvoEffectParticleTest, WithoutParticlesTheFrameComesThroughUnchanged) {
  const int w = 128, h = 96;
  const test::Picture frame = test::randomPicture(w, h, 3);
  const GLuint in = texture(frame);
  auto same = [&](int x, int y, int c) { return static_cast<double>(frame.at(x, y, c)); };

  // Lights drawn first, then dropped: the cleared layer must not keep them.
  ASSERT_TRUE(effect_->enableFor(OrvoParticleSystem::kHeartFilter));
  process(in, w, h);
  effect_->disable();
  EXPECT_EQ(system_->aliveParticleNum(), 0);
  test::comparePicture(process(in, w, h), same, 1.0, "after disable");

  // A lens filter without particles.
  EXPECT_FALSE(effect_->enableFor(35));
  EXPECT_EQ(effect_->programParticle(), 0u);
  test::comparePicture(process(in, w, h), same, 1.0, "filter 35");
}

TEST_P(OrvoEffectParticleTest, RefusesWhatItCannotDraw) {
  test::ConsoleCapture console;
  const GLuint in = texture(test::randomPicture(8, 8, 1)), out = texture(test::Picture{8, 8, {}});
  EXPECT_FALSE(effect_->processTex(in, in, 8, 8, squareVertices, textureVertices));
  EXPECT_FALSE(effect_->processTex(in, out, 0, 8, squareVertices, textureVertices));
  EXPECT_FALSE(effect_->processTex(in, out, 8, 8, nullptr, textureVertices));
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  EXPECT_FALSE(effect_->processTex(in, out, 8, 8, squareVertices, textureVertices));
  OrvoEffectParticle bare(system_);
  EXPECT_FALSE(bare.processTex(in, out, 8, 8, squareVertices, textureVertices));
  EXPECT_EQ(console.count("OrvoEffectParticle:"), 5);
  EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(OrvoEffectParticleTest);

}  // namespace
}  // namespace nudora

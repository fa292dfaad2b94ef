// The particle emitters and system without a GPU: the emitter per lens filter,
// the order of random draws, and the life, fade, growth and re-entry rules.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "effects/OrvoHeartParticleEmitter.h"
#include "effects/OrvoParticleSystem.h"
#include "effects/OrvoRainParticleEmitter.h"
#include "effects/OrvoSakuraParticleEmitter.h"
#include "effects/OrvoWerewolfParticleEmitter.h"
#include "gpu/ShaderPieces.h"

namespace nudora {
namespace {

// Counts up from `next` and remembers how many values were drawn.
struct Counter {
  uint32_t next;
  int* drawn;
  uint32_t operator()() {
    ++*drawn;
    return next++;
  }
};

TEST(ParticleSystem, ChoosesTheEmitterByLensFilterAndKeepsTheRunningOne) {
  struct Row {
    int64_t filter, count;
    const char *fsh, *image;
  };
  const Row rows[] = {{31, 40, fshParticles, "light.png"},
                      {32, 40, fshParticlesMultiTex, "sakura.png"},
                      {33, 200, fshParticlesMultiTex, "rain.png"},
                      {39, 4, fshParticlesMultiTex, "wolfclaws.png"}};
  OrvoParticleSystem system;
  EXPECT_EQ(system.lensFilter(), 0);
  for (const Row& row : rows) {
    system.setLensFilter(row.filter);
    const auto emitter = system.particleEmitter();
    ASSERT_NE(emitter, nullptr) << row.filter;
    EXPECT_EQ(system.aliveParticleNum(), row.count) << row.filter;
    EXPECT_EQ(emitter->fsh(), row.fsh) << row.filter;
    EXPECT_EQ(system.getParticleImageName(), row.image);
    EXPECT_EQ(system.getParticlePosition(), emitter->particles());
    // The same filter again keeps the emitter and where its particles are.
    system.updateParticles();
    std::vector<Particle> before(emitter->particles(), emitter->particles() + row.count);
    system.setLensFilter(row.filter);
    ASSERT_EQ(system.particleEmitter(), emitter) << row.filter;
    EXPECT_EQ(std::memcmp(before.data(), emitter->particles(), before.size() * sizeof(Particle)), 0) << row.filter;
  }
  // Filters without particles drop the emitter, from any running one.
  for (int64_t filter : {34, 35, 36, 37, 38, 0, 40, -1}) {
    system.setLensFilter(31);
    system.setLensFilter(filter);
    EXPECT_EQ(system.lensFilter(), filter);
    EXPECT_EQ(system.particleEmitter(), nullptr) << filter;
    EXPECT_EQ(system.aliveParticleNum(), 0) << filter;
    EXPECT_EQ(system.getParticlePosition(), nullptr) << filter;
    EXPECT_EQ(system.getParticleImageName(), "") << filter;
    system.updateParticles();  // nothing to move
  }
  OrvoParticleEmitter base;  // holds nothing
  EXPECT_EQ(base.particles(), nullptr);
  EXPECT_FALSE(base.setAliveParticleNum(1));
}

TEST(ParticleEmitters, HeartLightsDrawInOrderShrinkFadeAndComeBackInTheSameStep) {
  int drawn = 0;
  // x, y, size, alpha, life per light.
  OrvoHeartParticleEmitter heart(Counter{1000, &drawn});
  EXPECT_EQ(drawn, 5 * 40);
  Particle* p = heart.particles();
  EXPECT_NEAR(p[0].position.x, 1000 / 960.0 - 1, 1e-6);
  EXPECT_NEAR(p[0].position.y, 1001 / 540.0 - 1, 1e-6);
  EXPECT_NEAR(p[0].size, 52 / 1080.0, 1e-7);
  EXPECT_NEAR(p[0].alpha, 0.53, 1e-6);
  EXPECT_NEAR(p[0].life, 1.04, 1e-6);

  for (int i = 0; i < 40; ++i) p[i].life = 0.5f, p[i].size = 0.05f, p[i].alpha = 0.6f;
  p[1].life = 0.005f;   // life runs out
  p[2].size = 0.0002f;  // size runs out
  drawn = 0;
  heart.updateParticles();
  EXPECT_NEAR(p[0].life, 0.49, 1e-6);
  EXPECT_NEAR(p[0].size, 0.0497, 1e-7);
  EXPECT_NEAR(p[0].alpha, 0.598, 1e-6);
  // Lights 1 and 2 come back from fresh draws 1200.., nothing taken off them.
  ASSERT_EQ(drawn, 10);
  EXPECT_NEAR(p[1].position.x, 1200 / 960.0 - 1, 1e-6);
  EXPECT_NEAR(p[1].size, (30 + 1202 % 70) / 1080.0, 1e-7);
  EXPECT_NEAR(p[1].life, 1 + 1204 % 100 * 0.01, 1e-6);
  EXPECT_NEAR(p[2].position.x, 1205 / 960.0 - 1, 1e-6);
  EXPECT_NEAR(p[2].life, 1 + 1209 % 100 * 0.01, 1e-6);
}

TEST(ParticleEmitters, BlossomsAndRainDrawTheirRandomNumbersInOrder) {
  int drawn = 0;
  // Sakura: x, y, size, alpha, style; no life until the first re-entry.
  OrvoSakuraParticleEmitter sakura(Counter{2000, &drawn});
  EXPECT_EQ(drawn, 5 * 40);
  const Particle& s = sakura.particles()[0];
  EXPECT_NEAR(s.position.x, 80 / 960.0 - 1, 1e-6);   // 2000 % 1920
  EXPECT_NEAR(s.position.y, 921 / 540.0 - 1, 1e-6);  // 2001 % 1080
  EXPECT_NEAR(s.size, (30 + 2002 % 70) / 1080.0, 1e-7);
  EXPECT_NEAR(s.alpha, 0.3 + 2003 % 70 * 0.01, 1e-6);
  EXPECT_EQ(s.style, 2004 & 15);
  EXPECT_EQ(s.life, 0.0f);

  // Rain: x, y, size, style; alpha follows the size.
  drawn = 0;
  OrvoRainParticleEmitter rain(Counter{3000, &drawn});
  EXPECT_EQ(drawn, 4 * 200);
  for (int i = 0; i < 200; ++i) {
    const Particle& r = rain.particles()[i];
    ASSERT_NEAR(r.size, (100 + (3002 + 4 * i) % 100) / 1080.0, 1e-7) << i;
    ASSERT_NEAR(r.alpha, 0.3 + r.size * 0.0025, 1e-7) << i;
    ASSERT_EQ(r.style, (3003 + 4 * i) & 15) << i;
  }
}

TEST(ParticleEmitters, WerewolfMarksSlamInFlashFadeAndStrikeAgain) {
  int drawn = 0;
  // x, y, style, life at start.
  OrvoWerewolfParticleEmitter wolf(Counter{4000, &drawn});
  EXPECT_EQ(drawn, 4 * 4);
  Particle& p = wolf.particles()[0];
  EXPECT_NEAR(p.position.x, 160 / 1920.0 * 1.6 - 0.8, 1e-6);  // 4000 % 1920
  EXPECT_NEAR(p.position.y, 761 / 1080.0 - 0.5, 1e-6);        // 4001 % 1080
  EXPECT_EQ(p.style, 4002 & 7);
  EXPECT_EQ(p.life, 80 + 4003 % 50);
  EXPECT_FLOAT_EQ(p.size, 0.1f);
  EXPECT_EQ(p.alpha, 1.0f);

  ASSERT_TRUE(wolf.setAliveParticleNum(1));
  p.life = 33.0f;
  // {life after the step, alpha, size}: the size triples while under 2.
  const float steps[][3] = {{32, 1.0f, 0.3f}, {31, 1.0f, 0.9f}, {30, 1.5f, 2.7f}, {29, 1.45f, 2.7f}};
  for (const auto& s : steps) {
    wolf.updateParticles();
    EXPECT_EQ(p.life, s[0]);
    EXPECT_NEAR(p.alpha, s[1], 1e-6) << "life " << s[0];
    EXPECT_NEAR(p.size, s[2], 1e-5) << "life " << s[0];
  }
  p.life = 6.0f;
  wolf.updateParticles();
  EXPECT_NEAR(p.alpha, 0.25, 1e-6);
  wolf.updateParticles();
  EXPECT_EQ(p.alpha, 0.0f);  // life 4

  // At life 0 it strikes again from draws 4016..: x, y, then life, then style.
  p.life = 1.0f;
  drawn = 0;
  wolf.updateParticles();
  ASSERT_EQ(drawn, 4);
  EXPECT_NEAR(p.position.x, 176 / 1920.0 * 1.6 - 0.8, 1e-6);  // 4016 % 1920
  EXPECT_NEAR(p.position.y, 777 / 1080.0 - 0.5, 1e-6);        // 4017 % 1080
  EXPECT_EQ(p.life, 80 + 4018 % 50);
  EXPECT_EQ(p.style, 4019 & 7);
  EXPECT_FLOAT_EQ(p.size, 0.1f);
  EXPECT_EQ(p.alpha, 1.0f);
}

TEST(ParticleEmitters, BlossomsAndRainReenterAboveTheFrameOnlyWellBelowIt) {
  std::mt19937 engine(7);
  int drawn = 0;
  auto random = [&] {
    ++drawn;
    return static_cast<uint32_t>(engine());
  };
  OrvoSakuraParticleEmitter sakura(random);
  OrvoRainParticleEmitter rain(random);
  struct Case {
    OrvoParticleEmitter* emitter;
    float step;
    int drawsPerReentry;
  };
  for (const Case& c : {Case{&sakura, 0.015f, 6}, Case{&rain, 0.08f, 4}}) {
    Particle* p = c.emitter->particles();
    const int64_t n = c.emitter->aliveParticleNum();
    // Just short of 1.2 after the step: falls on, draws nothing.
    for (int64_t i = 0; i < n; ++i) p[i].position.y = 1.19f - c.step;
    drawn = 0;
    c.emitter->updateParticles();
    EXPECT_EQ(drawn, 0);
    for (int64_t i = 0; i < n; ++i) ASSERT_NEAR(p[i].position.y, 1.19, 1e-5) << i;
    // Past 1.2 after the step: every particle re-enters between -1.5 and -1.
    for (int round = 0; round < 20; ++round) {
      for (int64_t i = 0; i < n; ++i) p[i].position.y = 1.21f - c.step;
      drawn = 0;
      c.emitter->updateParticles();
      ASSERT_EQ(drawn, c.drawsPerReentry * n);
      for (int64_t i = 0; i < n; ++i) {
        const Particle& q = p[i];
        ASSERT_TRUE(q.position.y >= -1.5f && q.position.y <= -1.0f && q.position.x >= -1.0f && q.position.x < 1.0f &&
                    q.style <= 15.0f)
            << i << ": " << q.position.x << "," << q.position.y << " style " << q.style;
      }
    }
  }
  // A re-entered blossom gets a life; rain keeps its just-above-0.3 alpha.
  EXPECT_GE(sakura.particles()[0].life, 1.0f);
  EXPECT_LT(rain.particles()[0].alpha, 0.3005f);
}

}  // namespace
}  // namespace nudora

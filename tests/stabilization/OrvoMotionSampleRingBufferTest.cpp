#include "stabilization/OrvoMotionSampleRingBuffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace nudora {
namespace {

// The ring as a plain chronological list: stored readings, and the interval query searched from the newest end.
struct ChronoModel {
  std::vector<OrvoMotionSample> s;  // oldest first, at most 256
  bool mirror = false;

  void push(double dx, double dy, double dz, double t) {
    OrvoMotionSample m;
    m.timestamp = t;
    m.x = static_cast<float>(-dy);
    m.y = static_cast<float>(mirror ? -dx : dx);
    m.z = static_cast<float>(mirror ? -dz : dz);
    auto wild = [](float v) { return std::fabs(v) > 5.0f; };
    if (wild(m.x) || wild(m.y) || wild(m.z)) {
      const OrvoMotionSample last = s.empty() ? OrvoMotionSample{} : s.back();
      m = OrvoMotionSample{t, last.x, last.y, last.z};
    }
    s.push_back(m);
    if (s.size() > 256) s.erase(s.begin());
  }

  std::vector<OrvoMotionSample> query(double t0, double t1, int e) const {
    const int n = static_cast<int>(s.size());
    int b = n - 1;
    for (; b >= 0; --b)
      if (s[b].timestamp <= t1) break;
    if (b < 0) return {};
    const int newer = n - 1 - b;
    int a = -1;
    for (int i = b; i >= 1; --i)
      if (s[i].timestamp < t0) {
        a = i;
        break;
      }
    if (a < 0 || a < e + 2) return {};
    std::vector<OrvoMotionSample> out(s.begin() + (a + 1 - e), s.begin() + (b + std::min(newer, e) + 1));
    for (int missing = newer; missing < e; ++missing) {
      OrvoMotionSample pad = out.back();
      pad.timestamp = t1;
      out.push_back(pad);
    }
    return out;
  }
};

bool same(const OrvoMotionSample& a, const OrvoMotionSample& b) {
  return a.timestamp == b.timestamp && a.x == b.x && a.y == b.y && a.z == b.z;
}

TEST(OrvoMotionSampleRingBuffer, IntervalQueriesMatchChronologicalModelOverRandomRings) {
  std::mt19937 rng(20240531);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  OrvoMotionSampleRingBuffer ring;
  ChronoModel model;
  const OrvoMotionSample sentinel{-7.0, 99.0f, 99.0f, 99.0f};
  std::vector<OrvoMotionSample> out(300);
  int nonEmpty = 0, padded = 0;

  for (int trial = 0; trial < 400; ++trial) {
    ring.reset();
    model = ChronoModel{};
    const int writes = static_cast<int>(unit(rng) * 700);  // often past 256: wrap-around
    const bool jumbled = trial % 7 == 0;                   // stamps out of order now and then
    double t = 100.0 * unit(rng);
    for (int i = 0; i < writes; ++i) {
      if (unit(rng) < 0.02) {
        const bool m = unit(rng) < 0.5;
        ring.setMirror(m);
        model.mirror = m;
      }
      t += jumbled ? (unit(rng) - 0.3) * 0.02 : (unit(rng) < 0.05 ? 0.0 : 0.002 + 0.016 * unit(rng));
      // Mostly plausible rates, with glitches above 5 rad/s on a random axis.
      double r[3];
      for (double& v : r) v = (unit(rng) - 0.5) * (unit(rng) < 0.03 ? 14.0 : 4.0);
      ring.enqueueOneSample(r[0], r[1], r[2], t);
      model.push(r[0], r[1], r[2], t);
    }
    ASSERT_EQ(ring.hasValidGyroData(), !model.s.empty());
    const double lo = model.s.empty() ? t : model.s.front().timestamp;
    const double hi = model.s.empty() ? t : model.s.back().timestamp;

    for (int q = 0; q < 40; ++q) {
      auto pick = [&] {
        // Exact stamps exercise the strict (t0) and inclusive (t1) ends.
        if (!model.s.empty() && unit(rng) < 0.3) return model.s[rng() % model.s.size()].timestamp;
        return lo - 0.05 + (hi - lo + 0.1) * unit(rng);
      };
      double t0 = pick(), t1 = pick();
      if (t0 > t1) std::swap(t0, t1);
      const int e = q % 4;
      std::fill(out.begin(), out.end(), sentinel);
      const int got = ring.getSamplesBetween(t0, t1, out.data(), e);
      const auto want = model.query(t0, t1, e);
      ASSERT_EQ(got, static_cast<int>(want.size())) << "trial " << trial << " query " << q << " E=" << e;
      for (int i = 0; i < got; ++i)
        ASSERT_TRUE(same(out[i], want[i])) << "trial " << trial << " query " << q << " entry " << i;
      ASSERT_TRUE(same(out[got], sentinel)) << "wrote past its result, trial " << trial;
      nonEmpty += got > 0;
      padded += got > 0 && e > 0 && out[got - 1].timestamp == t1 && model.s.back().timestamp <= t1;
    }
  }
  // The random cases must actually reach the copying and padding paths.
  EXPECT_GT(nonEmpty, 2000);
  EXPECT_GT(padded, 100);
}

TEST(OrvoMotionSampleRingBuffer, RemapsAxesAndReplacesGlitches) {
  OrvoMotionSampleRingBuffer ring;
  OrvoMotionSample raw[256];
  ring.enqueueOneSample(0.0, 6.0, 0.0, 1.0);  // glitch on an empty ring: zeros, stamp kept
  ring.enqueueOneSample(1.0, 2.0, 3.0, 2.0);
  ring.enqueueOneSample(0.0, 0.0, -5.5, 3.0);  // glitch: repeats the previous rates
  ring.setMirror(true);
  ring.enqueueOneSample(1.0, 2.0, 3.0, 4.0);
  ring.enqueueOneSample(5.0, 0.0, 0.0, 5.0);  // exactly 5 is still plausible
  ASSERT_EQ(ring.getAllRawSamplesInto(raw), 5);
  const OrvoMotionSample want[] = {{1.0, 0, 0, 0}, {2.0, -2, 1, 3}, {3.0, -2, 1, 3}, {4.0, -2, -1, -3}, {5.0, 0, -5, 0}};
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(same(raw[i], want[i])) << "slot " << i;
  const OrvoRotationRate now = ring.currentRotationRate();
  EXPECT_EQ(now.x, 0.0);
  EXPECT_EQ(now.y, -5.0);

  ring.reset();
  EXPECT_FALSE(ring.mirror());
  EXPECT_FALSE(ring.hasValidGyroData());
  ring.enqueueOneSample(1.0, 2.0, 3.0, 6.0);
  ASSERT_EQ(ring.getAllRawSamplesInto(raw), 1);
  EXPECT_TRUE(same(raw[0], OrvoMotionSample{6.0, -2, 1, 3}));
}

TEST(OrvoMotionSampleRingBuffer, WrapsAtCapacityAndNeedsHistoryBeforeT0) {
  OrvoMotionSampleRingBuffer ring;
  for (int i = 0; i < 300; ++i) ring.enqueueOneSample(i * 0.001, 0.0, 0.0, i);
  OrvoMotionSample raw[256];
  ASSERT_EQ(ring.getAllRawSamplesInto(raw), 256);
  EXPECT_EQ(raw[0].timestamp, 256.0);  // the 257th write took slot 0
  EXPECT_EQ(raw[43].timestamp, 299.0);
  EXPECT_EQ(raw[44].timestamp, 44.0);
  EXPECT_FLOAT_EQ(static_cast<float>(ring.currentRotationRate().y), 0.299f);

  ring.reset();  // wrPos back to 0: the newest slot is now 255, stale
  EXPECT_FLOAT_EQ(static_cast<float>(ring.currentRotationRate().y), 0.255f);

  for (int i = 0; i < 10; ++i) ring.enqueueOneSample(0.0, -0.5 * i, 0.0, 1.0 + i);  // stamps 1..10, x = i / 2
  OrvoMotionSample out[256];
  EXPECT_EQ(ring.getSamplesBetween(3.5, 6.0, out, 1), 0);   // newest before t0 is s[2]: 2 < E + 2
  ASSERT_EQ(ring.getSamplesBetween(4.5, 10.5, out, 1), 8);  // s[3] .. s[9], then padding at t1
  EXPECT_EQ(out[0].timestamp, 4.0);
  EXPECT_EQ(out[6].timestamp, 10.0);
  EXPECT_EQ(out[7].timestamp, 10.5);
  EXPECT_EQ(out[7].x, 4.5f);
}

}  // namespace
}  // namespace nudora

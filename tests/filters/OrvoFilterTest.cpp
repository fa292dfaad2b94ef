#include "filters/OrvoFilter.h"

#include <cmath>
#include <limits>
#include <random>

#include "TestSupport.h"

namespace nudora {
namespace {

constexpr double kTwoPi = 6.283185307179586;

TEST(OrvoFilter, AngleWrapsByWholeTurns) {
  OrvoFilter f(OrvoFilter::kTypeStyle, 1);
  const std::pair<double, float> cases[] = {{-0.5, static_cast<float>(kTwoPi - 0.5)},
                                            {7.0, static_cast<float>(7.0 - kTwoPi)},
                                            {kTwoPi, 0.0f}, {-kTwoPi, 0.0f}, {1.25, 1.25f}};
  for (auto [in, out] : cases) {
    f.setAngle(in);
    EXPECT_EQ(f.angle(), out) << in;
  }
  // Against a - 2 pi floor(a / 2 pi) in long double, over a range that also
  // crosses into the fmod path for large angles.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> dist(-2000.0, 2000.0);
  const long double turn = 6.283185307179586L;
  for (int i = 0; i < 2000; ++i) {
    const double a = dist(rng);
    f.setAngle(a);
    EXPECT_NEAR(f.angle(), static_cast<double>(a - turn * std::floor(a / turn)), 2e-6) << a;
    EXPECT_TRUE(f.angle() >= 0.0f && f.angle() <= static_cast<float>(kTwoPi)) << a;
  }
  f.setAngle(1e30);  // far past where subtracting 2 pi changes the number
  EXPECT_TRUE(f.angle() >= 0.0f && f.angle() < 6.3f);
}

TEST(OrvoFilter, RadiusCentreAndValuesClamp) {
  OrvoFilter f(OrvoFilter::kTypeLens, 1);
  for (auto [in, out] : {std::pair{0.01f, 0.125f}, {0.9f, 0.45f}, {0.3f, 0.3f}}) {
    f.setRadius(in);
    EXPECT_EQ(f.radius(), out) << in;
  }
  for (auto [in, out] : {std::pair{OrvoPoint{0.1, 0.9}, OrvoPoint{0.25, 0.75}},
                         {OrvoPoint{1.0, 0.0}, OrvoPoint{0.75, 0.25}}, {OrvoPoint{0.3, 0.6}, OrvoPoint{0.3, 0.6}}}) {
    f.setCenter(in);
    EXPECT_TRUE(f.center().x == out.x && f.center().y == out.y) << in.x << "," << in.y;
  }
  f.setValue2(-3.0f);
  f.setValue1(2.0f);
  f.setValue3(0.7f);
  EXPECT_EQ(f.value1(), 1.0f);
  EXPECT_EQ(f.value2(), 0.0f);
  EXPECT_EQ(f.value3(), 0.7f);
}

// Non-numbers leave the defaults of a new filter in place, each with a line.
TEST(OrvoFilter, NonNumbersAreRefusedAndLogged) {
  test::ConsoleCapture console;
  auto f = OrvoFilter::filterWithType(OrvoFilter::kTypeLens, 44);
  ASSERT_NE(f, nullptr);
  EXPECT_EQ(f->filterType(), 1);
  EXPECT_EQ(f->filterID(), 44);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  f->setAngle(-std::numeric_limits<double>::infinity());
  f->setAngle(nan);
  f->setRadius(nan);
  f->setValue1(nan);
  f->setCenter({0.3, nan});
  EXPECT_EQ(console.count("OrvoFilter"), 5) << console.text();
  EXPECT_TRUE(f->angle() == 0.0f && f->radius() == 0.25f && f->center().x == 0.5 && f->center().y == 0.5);
  EXPECT_TRUE(f->value1() == 0.5f && f->value2() == 0.5f && f->value3() == 0.5f);
}

}  // namespace
}  // namespace nudora

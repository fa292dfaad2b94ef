#include "pipeline/OrvoStageRotateResize.h"

#include <functional>

#include "GpuTestSupport.h"

namespace nudora {
namespace {

void expectVec(glm::vec2 got, float x, float y, const std::string& what) {
  EXPECT_NEAR(got.x, x, 1e-6) << what << " x";
  EXPECT_NEAR(got.y, y, 1e-6) << what << " y";
}

TEST(OrvoStageRotateResizeMath, SignCasesVectorsAndTranslation) {
  // {qa, qb, qc, qd, case A, ac, bd, t}, worked out from the sign table.
  const float rows[][11] = {
      {1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0},         // identity
      {0, 1, 1, 0, 1, 0, 1, 1, 0, 0, 0},         // the quarter turn of the examples
      // my = min(0, qb, qd, qb - qd) takes qd itself (-0.6); with -qd the
      // square would need no y shift.
      {0.6f, 0.8f, 0.8f, -0.6f, 1, -0.6f, 0.8f, 0.8f, 0.6f, 0.6f, 0.6f},
      {0, -1, -1, 0, 1, 0, -1, -1, 0, 1, 1},     // case A with both negative
      {0, -1, 1, 0, 0, 0, -1, 1, 0, 1, 0},       // mixed signs: s = (1 - p.y, p.x)
      {1, 0.5f, 0, 1, 0, 1, 0, -0.5f, 1, 0, 0.5f},  // a zero is case B
  };
  for (const auto& r : rows) {
    const auto u = OrvoStageRotateResize::uniformsFor(8, 6, 8, 6, r[0], r[1], r[2], r[3]);
    const std::string what = "q " + std::to_string(r[0]) + "," + std::to_string(r[1]) + "," + std::to_string(r[2]) +
                             "," + std::to_string(r[3]);
    EXPECT_EQ(u.caseA, r[4] != 0) << what;
    EXPECT_FALSE(u.resize) << what;
    expectVec(u.ac, r[5], r[6], what + " ac");
    expectVec(u.bd, r[7], r[8], what + " bd");
    expectVec(u.t, r[9], r[10], what + " t");
  }
  // {w, h, W, H, zoomfit, fitTrans, zoomfill, fillTrans}: twice the size
  // (the examples), twice as wide (fill crops y to its middle half), half.
  const float sizes[][12] = {{8, 6, 16, 12, 2, 2, -0.5f, -0.5f, 1, 1, 0, 0},
                             {8, 8, 16, 8, 2, 1, -0.5f, 0, 1, 0.5f, 0, 0.25f},
                             {16, 12, 8, 6, 0.5f, 0.5f, 0.25f, 0.25f, 1, 1, 0, 0}};
  for (const auto& r : sizes) {
    const auto u = OrvoStageRotateResize::uniformsFor(int(r[0]), int(r[1]), int(r[2]), int(r[3]), 1, 0, 0, 1);
    const std::string what = std::to_string(int(r[0])) + "x" + std::to_string(int(r[1])) + " on " +
                             std::to_string(int(r[2])) + "x" + std::to_string(int(r[3]));
    ASSERT_TRUE(u.resize) << what;
    expectVec(u.zoomfit, r[4], r[5], what + " zoomfit");
    expectVec(u.fitTrans, r[6], r[7], what + " fitTrans");
    expectVec(u.zoomfill, r[8], r[9], what + " zoomfill");
    expectVec(u.fillTrans, r[10], r[11], what + " fillTrans");
  }
}

class OrvoStageRotateResizeDrawTest : public test::GlContextTest {};

TEST_P(OrvoStageRotateResizeDrawTest, EveryPixelReadsWhereTheTransformSends) {
  const test::Picture wide = test::randomPicture(8, 6, 11), square = test::randomPicture(8, 8, 12);
  const test::Picture blurSmall = test::randomPicture(4, 3, 13), blurSquare = test::randomPicture(4, 4, 14);
  using Want = std::function<double(int x, int y, int c)>;
  struct Case {
    const char* name;
    const test::Picture *src, *blur;
    int outW, outH;
    float q[4];
    Want want;
  };
  const Case cases[] = {
      {"identity", &wide, &blurSmall, 8, 6, {1, 0, 0, 1}, [&](int x, int y, int c) { return wide.at(x, y, c); }},
      {"transpose", &square, &blurSquare, 8, 8, {0, 1, 1, 0},
       [&](int x, int y, int c) { return square.at(y, x, c); }},
      {"quarter turn", &square, &blurSquare, 8, 8, {0, -1, 1, 0},
       [&](int x, int y, int c) { return square.at(7 - y, x, c); }},
      // The picture at its own size in the middle; the border reads the
      // blurred copy stretched over the whole output.
      {"twice the size", &wide, &blurSmall, 16, 12, {1, 0, 0, 1},
       [&](int x, int y, int c) {
         if (x >= 4 && x < 12 && y >= 3 && y < 9) return double(wide.at(x - 4, y - 3, c));
         return blurSmall.sample((x + 0.5) / 16, (y + 0.5) / 12, c);
       }},
      // Turned, on a twice as wide output: the fill crops the turned blurred
      // copy to its middle half along the output's y, which is the source's x.
      {"turned, twice as wide", &square, &blurSquare, 16, 8, {0, -1, 1, 0},
       [&](int x, int y, int c) {
         if (x >= 4 && x < 12) return double(square.at(7 - y, x - 4, c));
         return blurSquare.sample(0.75 - 0.5 * (y + 0.5) / 8, (x + 0.5) / 16, c);
       }},
  };
  OrvoStageRotateResize stage;
  ASSERT_TRUE(stage.setupGL());
  for (const Case& k : cases) {
    const GLuint src = texture(*k.src), blur = texture(*k.blur), out = texture({k.outW, k.outH, {}});
    stage.processFromTex(src, blur, out, k.src->width, k.src->height, k.outW, k.outH, k.q[0], k.q[1], k.q[2], k.q[3]);
    test::comparePicture(read(out, k.outW, k.outH), k.want, 2.0, k.name);
  }

  OrvoStageRotateResize unloaded;  // no programs: the target is left alone
  const GLuint out = texture({8, 6, {}});
  fill(out, 0.2f, 0.4f, 0.6f, 1.0f);
  unloaded.processFromTex(texture(wide), texture(blurSmall), out, 8, 6, 8, 6, 1, 0, 0, 1);
  const test::Picture kept = read(out, 8, 6);
  for (int i = 0; i < 8 * 6; ++i) ASSERT_EQ(kept.rgba[i * 4 + 1], 102) << "pixel " << i;
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(OrvoStageRotateResizeDrawTest);

}  // namespace
}  // namespace nudora

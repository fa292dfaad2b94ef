// The .cube reader: real-world files read, malformed ones refused with one line,
// tetrahedral evaluation against hand-worked values, domain and baked image.
#include "filters/CubeLookupTable.h"

#include <algorithm>
#include <functional>
#include <random>
#include <sstream>

#include "TestSupport.h"
#include "filters/LookupTableImage.h"
#include "platform/Image.h"

namespace nudora {
namespace {

// A size-n table of f over the grid, red changing fastest, after header.
std::string cubeText(int n, const std::function<std::array<double, 3>(double, double, double)>& f,
                     const std::string& header = "") {
  std::ostringstream text;
  text.precision(9);
  text << header << "LUT_3D_SIZE " << n << "\n";
  for (int b = 0; b < n; ++b) {
    for (int g = 0; g < n; ++g) {
      for (int r = 0; r < n; ++r) {
        const auto v = f(r / (n - 1.0), g / (n - 1.0), b / (n - 1.0));
        text << v[0] << " " << v[1] << " " << v[2] << "\n";
      }
    }
  }
  return text.str();
}

std::array<double, 3> identity(double r, double g, double b) { return {r, g, b}; }

// Corners chosen so that no two tetrahedra of the cell agree with each
// other or with trilinear interpolation.
const char* const kCorners =
    "0.0 0.1 0.2\n0.8 0.0 0.1\n0.3 0.9 0.0\n0.7 0.6 0.3\n"
    "0.1 0.2 0.9\n0.9 0.1 0.8\n0.2 0.8 0.7\n1.0 0.9 0.6\n";

TEST(CubeLookupTable, ReadsAFileAsGradingToolsWriteIt) {
  const std::string text =
      "# Exported grade\r\n"
      "TITLE \"Warm # evening\"\r\n"
      "\r\n"
      "DOMAIN_MAX 0.9 1.5 2.0\r\n"
      "  LUT_3D_SIZE 2   # two points a side\r\n"
      "DOMAIN_MIN 0.1 0.2 -0.25\r\n"
      "# red runs fastest\r\n"
      "0 0 0\r\n1.25 0 0\r\n0 1 0\r\n1 1 0\r\n\r\n"
      "0 0 1\r\n1 0 1e-400\r\n0 1 1\r\n+1 1e0 -0.5   # a comment after data\r\n";
  test::ConsoleCapture console;
  auto table = CubeLookupTable::parse(text, "warm.cube");
  ASSERT_TRUE(table) << console.text();
  EXPECT_EQ(console.text(), "");
  EXPECT_EQ(table->title(), "Warm # evening");
  EXPECT_EQ(table->size(), 2);
  EXPECT_EQ(table->domainMin(), (std::array<double, 3>{0.1, 0.2, -0.25}));
  EXPECT_EQ(table->domainMax(), (std::array<double, 3>{0.9, 1.5, 2.0}));
  EXPECT_EQ(table->entry(1, 0, 0), (std::array<double, 3>{1.25, 0.0, 0.0}));  // out of 0..1 is kept
  EXPECT_EQ(table->entry(0, 1, 0), (std::array<double, 3>{0.0, 1.0, 0.0}));
  EXPECT_EQ(table->entry(1, 1, 1), (std::array<double, 3>{1.0, 1.0, -0.5}));
  EXPECT_EQ(table->entry(1, 0, 1), (std::array<double, 3>{1.0, 0.0, 0.0}));  // 1e-400 underflows to 0

  // Resolve's single-range spelling of the domain.
  table = CubeLookupTable::parse("LUT_3D_INPUT_RANGE -0.5 1.5\n" + cubeText(2, identity), "range.cube");
  ASSERT_TRUE(table) << console.text();
  EXPECT_EQ(table->domainMin(), (std::array<double, 3>{-0.5, -0.5, -0.5}));
  EXPECT_EQ(table->domainMax(), (std::array<double, 3>{1.5, 1.5, 1.5}));
}

TEST(CubeLookupTable, MalformedFilesGiveOneMessageNamingTheLine) {
  const std::string rows7 = "0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n";
  const struct {
    std::string text;
    const char* says;
  } cases[] = {
      {"LUT_3D_SIZE 2\n" + rows7, "line 8: 7 rows of data, LUT_3D_SIZE 2 needs 8"},
      {"LUT_3D_SIZE 2\n" + rows7 + "1 1 1\n0.5 0.5 0.5\n", "line 10: more rows than LUT_3D_SIZE 2 allows (8)"},
      {"LUT_3D_SIZE 1\n0 0 0\n", "line 1: LUT_3D_SIZE must be one whole number from 2 to 65, got '1'"},
      {"# no size\n0 0 0\n", "line 2: data before LUT_3D_SIZE"},
      {"TITLE \"only a title\"\n\n", "line 2: no LUT_3D_SIZE"},
      {"LUT_3D_SIZE 2\n0 0 0\n1 0 0\nabc 1 0\n", "line 4: expected three numbers, got 'abc'"},
      {"LUT_3D_SIZE 2\r\n0 0 0\r\nnan 0 0\r\n", "line 3: 'nan' is not a finite number"},
      {"LUT_3D_SIZE 2\n0 0 0\n\n1 0\n", "line 4: expected three numbers, got 2"},
      {"LUT_3D_SIZE 2\nLUT_3D_SIZES 2\n", "line 2: unknown keyword 'LUT_3D_SIZES'"},
      {"LUT_3D_SIZE 2\n0 0 0\nTITLE \"late\"\n", "line 3: keyword 'TITLE' after the data"},
      {"LUT_1D_SIZE 4\n0 0 0\n", "line 1: 1D tables (LUT_1D_SIZE) are not supported"},
      {"LUT_3D_SIZE 2\nLUT_3D_SIZE 3\n", "line 2: LUT_3D_SIZE repeats what line 1 already gave"},
      {"DOMAIN_MIN 0 0.5 0\nDOMAIN_MAX 1 0.5 1\nLUT_3D_SIZE 2\n" + rows7,
       "line 2: DOMAIN_MAX must exceed DOMAIN_MIN in every channel"},
      {"LUT_3D_SIZE 2\nDOMAIN_MIN 0 0\n", "line 2: DOMAIN_MIN needs 3 numbers, got 2"},
      {"LUT_3D_INPUT_RANGE 0 1\nDOMAIN_MIN 0 0 0\n", "line 2: DOMAIN_MIN repeats what line 1 already gave"},
  };
  for (const auto& c : cases) {
    test::ConsoleCapture console;
    EXPECT_FALSE(CubeLookupTable::parse(c.text, "bad.cube")) << c.says;
    const std::string text = console.text();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_EQ(text.rfind(std::string("bad.cube ") + c.says, 0), 0u) << "want: " << c.says << "\ngot:  " << text;
  }
}

TEST(CubeLookupTable, TetrahedralInterpolationMatchesHandWorkedValues) {
  auto table = CubeLookupTable::parse(std::string("LUT_3D_SIZE 2\n") + kCorners, "corners.cube");
  ASSERT_TRUE(table);
  // Each point lies in another tetrahedron of the cell, named by the order
  // of its coordinates; its value is (1 - f1) c000 + (f1 - f2) c1 + (f2 - f3) c2 + f3 c111
  // along the path from the low corner that follows that order.
  const struct {
    std::array<double, 3> in, want;
  } cases[] = {
      {{0.6, 0.3, 0.1}, {0.48, 0.25, 0.23}},    // r > g > b: c000 c100 c110 c111, weights .4 .3 .2 .1
      {{0.2, 0.7, 0.4}, {0.33, 0.64, 0.32}},    // g > b > r: c000 c010 c011 c111, weights .3 .3 .2 .2
      {{0.5, 0.25, 0.75}, {0.5, 0.325, 0.625}},  // b > r > g: c000 c001 c101 c111, weights .25 each
      {{1.0, 0.0, 1.0}, {0.9, 0.1, 0.8}},        // a corner gives its entry
  };
  for (const auto& c : cases) {
    const auto got = table->evaluate(c.in[0], c.in[1], c.in[2]);
    for (int ch = 0; ch < 3; ++ch) {
      EXPECT_NEAR(got[ch], c.want[ch], 1e-6) << c.in[0] << "," << c.in[1] << "," << c.in[2] << " channel " << ch;
    }
  }
}

TEST(CubeLookupTable, IdentityCubeGivesTheInputBackAndItsImageIsTheIdentityTable) {
  auto table = CubeLookupTable::parse(cubeText(17, identity), "identity.cube");
  ASSERT_TRUE(table);
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (int i = 0; i < 500; ++i) {
    const double r = unit(rng), g = unit(rng), b = unit(rng);
    const auto got = table->evaluate(r, g, b);
    EXPECT_NEAR(got[0], r, 1e-6);
    EXPECT_NEAR(got[1], g, 1e-6);
    EXPECT_NEAR(got[2], b, 1e-6);
  }
  // Outside the domain the grid's edge holds.
  EXPECT_EQ(table->evaluate(-0.2, 1.3, 1.0), (std::array<double, 3>{0.0, 1.0, 1.0}));

  const auto baked = table->lookupTableImage(), reference = identityLookupTableImage();
  ASSERT_TRUE(baked && baked->width() == 512 && baked->height() == 512);
  EXPECT_TRUE(std::equal(baked->data(), baked->data() + 512 * 512 * 4, reference->data()));
}

TEST(CubeLookupTable, DomainIsMappedOntoTheGrid) {
  // Entries are the grid positions 0..1, so the table answers where in the
  // domain each input lies.
  auto table = CubeLookupTable::parse(
      cubeText(5, identity, "DOMAIN_MIN -0.5 0 0.25\nDOMAIN_MAX 1.5 2 0.75\n"), "domain.cube");
  ASSERT_TRUE(table);
  const auto got = table->evaluate(0.5, 1.0, 0.375);
  EXPECT_NEAR(got[0], 0.5, 1e-6);
  EXPECT_NEAR(got[1], 0.5, 1e-6);
  EXPECT_NEAR(got[2], 0.25, 1e-6);
}

}  // namespace
}  // namespace nudora

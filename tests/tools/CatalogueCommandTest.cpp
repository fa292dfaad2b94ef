// `nudora styles` and `nudora lenses`: the lists, the contact sheet, filter
// names for --style and --lens, and lens parameters reaching the lens.
#include <gtest/gtest.h>

#include "ToolTestSupport.h"
#include "filters/FilterNames.h"
#include "platform/Image.h"
#include "platform/Resources.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::shellQuoted;

class CatalogueCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
  }
  test::TempDir dir_;
};

TEST_F(CatalogueCommandTest, ListGivesEveryNumberNameAndFileItNeeds) {
  for (const bool styles : {true, false}) {
    const auto run = test::runNudora(styles ? "styles" : "lenses", dir_.path);
    ASSERT_EQ(run.status, 0) << run.err;
    for (const auto& entry : styles ? styleNames() : lensNames()) {
      EXPECT_TRUE(test::has(run.out, std::to_string(entry.number) + "  " + entry.name));
    }
    EXPECT_TRUE(test::has(run.out, styles ? "3DLUT_PX100UV_cold.png + movie_noise_early.jpg"
                                          : "4 blur levels + centre, angle, radius"));
    EXPECT_EQ(run.out.find("(missing)"), std::string::npos) << "an installed resource is reported missing";
  }
}

TEST_F(CatalogueCommandTest, ContactSheetHoldsTheOriginalAndEveryLookInAGrid) {
  const fs::path sheet = fs::path(dir_.path) / "sheet.png";
  auto run = test::runNudora("styles -o " + shellQuoted(sheet) + " --cell-width 96 --columns 9", dir_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  auto image = Image::load(sheet.string());
  ASSERT_TRUE(image);
  // 63 cells of 96 x 54 (16:9), 6-pixel gaps and a 26-pixel label band: 9 columns by 7 rows.
  EXPECT_EQ(image->width(), 9 * (96 + 6) + 6);
  EXPECT_EQ(image->height(), 7 * (54 + 26) + 6);
  // The sepia cell (row 3, column 5) is brown: red above blue everywhere in its middle.
  const int left = 6 + 5 * 102, top = 6 + 3 * 80;
  int warm = 0;
  for (int y = top + 10; y < top + 44; ++y) {
    for (int x = left + 10; x < left + 86; ++x) warm += image->pixel(x, y)[0] > image->pixel(x, y)[2] ? 1 : 0;
  }
  EXPECT_GT(warm, 34 * 76 * 9 / 10);
}

TEST_F(CatalogueCommandTest, StyleOptionTakesNamesAndSuggestsForATypo) {
  const fs::path in = fs::path(Resources::folder()) / "samples" / "scene.png";
  const fs::path byName = fs::path(dir_.path) / "name.png", byNumber = fs::path(dir_.path) / "number.png";
  auto named = test::runNudora("still " + shellQuoted(in) + " -o " + shellQuoted(byName) + " --style Sepia", dir_.path);
  ASSERT_EQ(named.status, 0) << named.err;
  ASSERT_EQ(test::runNudora("still " + shellQuoted(in) + " -o " + shellQuoted(byNumber) + " --style 32", dir_.path).status, 0);
  auto a = Image::load(byName.string()), b = Image::load(byNumber.string());
  ASSERT_TRUE(a && b);
  EXPECT_TRUE(std::equal(a->data(), a->data() + a->width() * a->height() * 4, b->data()));

  const fs::path typo = fs::path(dir_.path) / "typo.png";
  auto run = test::runNudora("still " + shellQuoted(in) + " -o " + shellQuoted(typo) + " --style sepai", dir_.path);
  EXPECT_NE(run.status, 0);
  EXPECT_TRUE(test::has(run.err, "did you mean sepia"));
  EXPECT_FALSE(fs::exists(typo));
}

TEST_F(CatalogueCommandTest, LensTakesItsNameAndItsCentreMovesTheSpotlight) {
  const fs::path in = fs::path(Resources::folder()) / "samples" / "scene.png";
  auto spot = [&](const std::string& lens, const std::string& center) {
    const fs::path out = fs::path(dir_.path) / ("spot" + center + ".png");
    auto run = test::runNudora("still " + shellQuoted(in) + " -o " + shellQuoted(out) + " --lens " + lens +
                                   " --lens-center " + center, dir_.path);
    EXPECT_EQ(run.status, 0) << run.err;
    return Image::load(out.string());
  };
  auto left = spot("Spotlight", "0.25,0.5"), right = spot("11", "0.75,0.5");
  ASSERT_TRUE(left && right);
  // Brightness of a column strip a quarter in from each side.
  auto strip = [](const Image& image, int x0) {
    double sum = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = x0; x < x0 + 40; ++x) sum += image.pixel(x, y)[1];
    }
    return sum / (40.0 * image.height());
  };
  const int quarter = left->width() / 4 - 20, threeQuarters = left->width() * 3 / 4 - 20;
  EXPECT_GT(strip(*left, quarter), strip(*right, quarter) + 10);
  EXPECT_GT(strip(*right, threeQuarters), strip(*left, threeQuarters) + 10);
}

}  // namespace
}  // namespace nudora

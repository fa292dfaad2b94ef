// `nudora styles` as a user meets it: the list names every look with what it
// needs, the contact sheet holds every look under its label, and --style
// takes a look's name as well as its number.
#include <gtest/gtest.h>

#include "ToolTestSupport.h"
#include "filters/StyleNames.h"
#include "platform/Image.h"
#include "platform/Resources.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;
using test::shellQuoted;

class StylesCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(test::nudoraProgram())) GTEST_SKIP() << "the nudora program was not built";
  }
  test::TempDir dir_;
};

TEST_F(StylesCommandTest, ListGivesEveryNumberNameAndFileItNeeds) {
  auto run = test::runNudora("styles", dir_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  for (const auto& entry : styleNames()) {
    EXPECT_NE(run.out.find(std::to_string(entry.style) + "  " + entry.name), std::string::npos) << entry.name;
  }
  EXPECT_NE(run.out.find("3DLUT_PX100UV_cold.png + movie_noise_early.jpg"), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find("(missing)"), std::string::npos) << "an installed resource is reported missing";
}

TEST_F(StylesCommandTest, ContactSheetHoldsTheOriginalAndEveryLookInAGrid) {
  const fs::path sheet = fs::path(dir_.path) / "sheet.png";
  auto run = test::runNudora("styles -o " + shellQuoted(sheet) + " --cell-width 96 --columns 9", dir_.path);
  ASSERT_EQ(run.status, 0) << run.err;
  auto image = Image::load(sheet.string());
  ASSERT_TRUE(image);
  // 63 cells of 96 x 54 (the sample is 16:9) with a 6-pixel gap and a label
  // band of 14 + 12 under each: 9 columns by 7 rows.
  EXPECT_EQ(image->width(), 9 * (96 + 6) + 6);
  EXPECT_EQ(image->height(), 7 * (54 + 26) + 6);
  // The sepia cell (the 33rd: row 3, column 5) is monochrome brown: red
  // above blue everywhere in its middle.
  const int left = 6 + 5 * 102, top = 6 + 3 * 80;
  int warm = 0;
  for (int y = top + 10; y < top + 44; ++y) {
    for (int x = left + 10; x < left + 86; ++x) warm += image->pixel(x, y)[0] > image->pixel(x, y)[2] ? 1 : 0;
  }
  EXPECT_GT(warm, 34 * 76 * 9 / 10);
}

TEST_F(StylesCommandTest, StyleOptionTakesNamesAndSuggestsForATypo) {
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
  EXPECT_NE(run.err.find("did you mean sepia"), std::string::npos) << run.err;
  EXPECT_FALSE(fs::exists(typo));
}

}  // namespace
}  // namespace nudora

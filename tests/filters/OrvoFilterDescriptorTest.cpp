#include "filters/OrvoFilterDescriptor.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace nudora {
namespace {

const OrvoFilterDescriptor& catalogue() { return *OrvoFilterDescriptor::sharedInstance(); }

TEST(OrvoFilterDescriptor, TablesHoldExactlyTheCatalogueIds) {
  const auto& d = catalogue();
  for (int64_t i = -1; i <= 63; ++i) {
    const bool lens = (i >= 1 && i <= 28) || (i >= 34 && i <= 44);
    EXPECT_EQ(d.lensRow(i) ? d.lensRow(i)->integer("lensid").value_or(-2) : -1, lens ? i : -1) << "lens " << i;
    EXPECT_EQ(d.styleRow(i) ? d.styleRow(i)->integer("styleid").value_or(-2) : -1, (i >= 1 && i <= 62) ? i : -1)
        << "style " << i;
  }
}

TEST(OrvoFilterDescriptor, StyleQueries) {
  const auto& d = catalogue();
  for (int64_t i = -1; i <= 63; ++i) {
    SCOPED_TRACE(i);
    const int64_t hdr = (i >= 29 && i <= 34) ? 3 : (i == 47 || i == 48) ? 2 : 0;
    EXPECT_EQ(d.getStyleFilterForceHDR(i), hdr);
    EXPECT_EQ(d.getStyleFilterType(i), (i >= 39 && i <= 48) ? 1 : 0);
    const bool leak = i >= 49 && i <= 55;
    const bool grain = (i >= 39 && i <= 45) || leak;
    EXPECT_EQ(d.getStyleAuxilaryName(i).has_value(), grain);
  }
  EXPECT_EQ(d.styleRow(40)->pieceName("stylecode2"), "fshMandeling");
  EXPECT_EQ(d.getStyleFilter3DLUTImageName(40), std::nullopt);
  EXPECT_EQ(d.getStyleFilter3DLUTImageName(18), "3DLUT_standard.png");
  EXPECT_EQ(d.getStyleFilter3DLUTImageName(47), "3DLUT_vatnajokull.png");
  EXPECT_EQ(d.getStyleAuxilaryName(55), "lightleak10.jpg");
  // A piece name is not an image name and the reverse.
  EXPECT_EQ(d.styleRow(18)->imageName("stylecode1"), std::nullopt);
  EXPECT_EQ(d.styleRow(18)->pieceName("3DLUT"), std::nullopt);
}

TEST(OrvoFilterDescriptor, LensQueries) {
  const auto& d = catalogue();
  const std::set<int64_t> position = {1, 2, 11};
  const std::map<int64_t, int64_t> blur = {{1, 4}, {2, 4}, {4, 4}, {23, 4}, {16, 3},
                                           {13, 4}, {14, 4}, {17, 4}, {18, 1}};
  const std::map<int64_t, int64_t> type = {{9, 2}, {10, 2}, {38, 2}, {39, 1}};
  const std::map<int64_t, std::string> aux = {{24, "frosted.jpg"}, {25, "rain.jpg"},  {34, "displacement_test.jpg"},
                                              {9, "TV_noise.jpg"}, {10, "TV_noise.jpg"}, {40, "blood.jpg"},
                                              {37, "matrix.png"}};
  const std::set<int64_t> conflict = {23, 8, 16, 13, 14, 15, 18, 19, 9, 35, 38, 39, 40};
  const std::set<int64_t> rgbhsl = {28, 16, 19};
  for (int64_t i = -1; i <= 45; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(d.doesFilterRequrePosition(i), position.count(i) == 1);
    EXPECT_EQ(d.getFilterRequreBlur(i), blur.count(i) ? blur.at(i) : 0);
    EXPECT_EQ(d.getLensFilterType(i), type.count(i) ? type.at(i) : 0);
    EXPECT_EQ(d.doesFilterRequreMaxMin(i), i == 19);
    EXPECT_EQ(d.doesFilterRequreLensAuxilary(i), i == 19 || aux.count(i) == 1);
    EXPECT_EQ(d.getLensAuxilaryName(i), aux.count(i) ? std::optional<std::string>(aux.at(i)) : std::nullopt);
    const OrvoFilterRow* r = d.lensRow(i);
    EXPECT_EQ(r && r->has("conflict"), conflict.count(i) == 1);
    EXPECT_EQ(r && r->has("requirergbhsl"), rgbhsl.count(i) == 1);
    EXPECT_EQ(OrvoFilterDescriptor::filterAuxilaryImageName(i), std::nullopt);
  }
  // The fish-eye is the one lens split around the style code.
  EXPECT_EQ(d.lensRow(5)->pieceName("lenscode1"), "fshFishEye_part1");
  EXPECT_EQ(d.lensRow(5)->pieceName("lenscode3"), "fshFishEye_part2");
  EXPECT_EQ(d.lensRow(38)->pieceName("lensparameter"), "fshLensRandomParameters");
}

}  // namespace
}  // namespace nudora

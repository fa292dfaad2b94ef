#include "filters/OrvoFilterDescriptor.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// Each query reads one key of its row: one row that has the key, one that
// lacks it and one id without a row (the catalogue's table itself is data).
TEST(OrvoFilterDescriptor, QueriesReadTheirRowsKeys) {
  const auto& d = catalogue();
  EXPECT_EQ(std::vector<int64_t>({d.getStyleFilterForceHDR(29), d.getStyleFilterForceHDR(47),
                                  d.getStyleFilterForceHDR(18), d.getStyleFilterForceHDR(-1)}),
            std::vector<int64_t>({3, 2, 0, 0}));
  EXPECT_EQ(std::vector<int64_t>({d.getStyleFilterType(39), d.getStyleFilterType(18), d.getLensFilterType(9),
                                  d.getLensFilterType(39), d.getLensFilterType(5), d.getLensFilterType(-1)}),
            std::vector<int64_t>({1, 0, 2, 1, 0, 0}));
  EXPECT_EQ(std::vector<int64_t>({d.getFilterRequreBlur(16), d.getFilterRequreBlur(5), d.getFilterRequreBlur(-1)}),
            std::vector<int64_t>({3, 0, 0}));
  EXPECT_EQ(d.getStyleFilter3DLUTImageName(18), "3DLUT_standard.png");
  EXPECT_EQ(d.getStyleFilter3DLUTImageName(40), std::nullopt);
  EXPECT_EQ(d.getStyleAuxilaryName(55), "lightleak10.jpg");
  EXPECT_EQ(d.getStyleAuxilaryName(18), std::nullopt);
  EXPECT_EQ(d.getLensAuxilaryName(34), "displacement_test.jpg");
  EXPECT_EQ(d.getLensAuxilaryName(5), std::nullopt);
  EXPECT_EQ(d.getLensAuxilaryName(-1), std::nullopt);
  EXPECT_TRUE(d.doesFilterRequrePosition(11) && !d.doesFilterRequrePosition(5) && !d.doesFilterRequrePosition(-1));
  // The max/min image counts as an auxiliary of its own.
  EXPECT_TRUE(d.doesFilterRequreMaxMin(19) && !d.doesFilterRequreMaxMin(24) && !d.doesFilterRequreMaxMin(-1));
  EXPECT_TRUE(d.doesFilterRequreLensAuxilary(19) && d.doesFilterRequreLensAuxilary(24));
  EXPECT_FALSE(d.doesFilterRequreLensAuxilary(5) || d.doesFilterRequreLensAuxilary(-1));
  EXPECT_EQ(OrvoFilterDescriptor::filterAuxilaryImageName(24), std::nullopt);
  // A piece name is not an image name and the reverse.
  EXPECT_EQ(d.styleRow(40)->pieceName("stylecode2"), "fshMandeling");
  EXPECT_EQ(d.styleRow(18)->imageName("stylecode1"), std::nullopt);
  EXPECT_EQ(d.styleRow(18)->pieceName("3DLUT"), std::nullopt);
  // The fish-eye is the one lens split around the style code.
  EXPECT_EQ(d.lensRow(5)->pieceName("lenscode1"), "fshFishEye_part1");
  EXPECT_EQ(d.lensRow(5)->pieceName("lenscode3"), "fshFishEye_part2");
}

}  // namespace
}  // namespace nudora

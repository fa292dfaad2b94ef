// Filter names: one per catalogue row, style and lens, and one for each lens
// drawn by an effect of its own (flood, water pane), unambiguous once case
// and separators are folded away, resolving back to their numbers; mistyped
// names get the nearest ones suggested.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "filters/OrvoFilterDescriptor.h"
#include "filters/FilterNames.h"
#include "gpu/OrvoBaseProcessor.h"

namespace nudora {
namespace {

TEST(FilterNamesTest, EveryCatalogueRowHasOneNameThatLeadsBackToIt) {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  const struct {
    const std::vector<FilterName>& names;
    const std::vector<OrvoFilterRow>& rows;
    const char* key;
    std::vector<int64_t> effects;
  } halves[] = {{styleNames(), catalogue->styleFilterDesicriptor(), "styleid", {}},
                {lensNames(), catalogue->lensFilterDesicriptor(), "lensid",
                 {OrvoBaseProcessor::kFloodLens, OrvoBaseProcessor::kWaterPaneLens}}};
  for (const auto& half : halves) {
    ASSERT_EQ(half.names.size(), half.rows.size() + half.effects.size()) << half.key;
    for (int64_t number : half.effects) {
      EXPECT_FALSE(catalogue->lensRow(number)) << number;
      EXPECT_TRUE(filterNameOf(half.names, number)) << number;
    }
    std::set<std::string> folded;
    for (const auto& row : half.rows) {
      const int64_t number = *row.integer(half.key);
      auto name = filterNameOf(half.names, number);
      ASSERT_TRUE(name) << half.key << " " << number;
      EXPECT_EQ(filterNamed(half.names, *name), number) << *name;
      std::string key;
      for (char c : *name) {
        if (std::isalnum(static_cast<unsigned char>(c))) key += static_cast<char>(std::tolower(c));
      }
      EXPECT_TRUE(folded.insert(key).second) << *name << " collides with another name once folded";
    }
  }
}

TEST(FilterNamesTest, NamesFoldCaseAndSeparatorsNumbersPassAndStrangersAreRefused) {
  EXPECT_EQ(filterNamed(styleNames(), "X_pro2"), 26);
  EXPECT_EQ(filterNamed(styleNames(), "Teal Orange"), 33);
  EXPECT_EQ(filterNamed(styleNames(), "MOVIE-1940"), 42);
  EXPECT_EQ(filterNamed(styleNames(), "32"), 32);
  EXPECT_EQ(filterNamed(styleNames(), "0"), 0);
  EXPECT_EQ(filterNamed(styleNames(), "none"), 0);
  EXPECT_FALSE(filterNamed(styleNames(), "63"));
  EXPECT_FALSE(filterNamed(styleNames(), "-1"));
  EXPECT_FALSE(filterNamed(styleNames(), "18x"));
  EXPECT_FALSE(filterNamed(styleNames(), ""));
  EXPECT_FALSE(filterNamed(styleNames(), "polaroid"));
  EXPECT_EQ(filterNamed(lensNames(), "Fish_Eye"), 5);
  EXPECT_EQ(filterNamed(lensNames(), "Water pane"), 30);
  EXPECT_FALSE(filterNamed(lensNames(), "31"));  // lenses 31 to 33: no row and no effect of their own
}

TEST(FilterNamesTest, MistypedNamesSuggestTheNearestAndNonsenseSuggestsNothing) {
  auto near = filterNamesNear(styleNames(), "sepai");
  ASSERT_FALSE(near.empty());
  EXPECT_EQ(near.front(), "sepia");
  EXPECT_LE(near.size(), 3u);
  near = filterNamesNear(styleNames(), "movie1945");
  ASSERT_FALSE(near.empty());
  EXPECT_TRUE(std::find(near.begin(), near.end(), "movie1940") != near.end());
  EXPECT_TRUE(filterNamesNear(styleNames(), "qqqqqqqqqqqq").empty());
}

}  // namespace
}  // namespace nudora

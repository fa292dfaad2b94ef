// Style names: one per catalogue row, unambiguous once case and separators
// are folded away, resolving back to their numbers; mistyped names get the
// nearest ones suggested.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "filters/OrvoFilterDescriptor.h"
#include "filters/StyleNames.h"

namespace nudora {
namespace {

TEST(StyleNamesTest, EveryCatalogueStyleHasOneNameThatLeadsBackToIt) {
  const auto& rows = OrvoFilterDescriptor::sharedInstance()->styleFilterDesicriptor();
  ASSERT_EQ(styleNames().size(), rows.size());
  std::set<std::string> folded;
  for (const auto& row : rows) {
    const int64_t style = *row.integer("styleid");
    auto name = styleNameOf(style);
    ASSERT_TRUE(name) << "style " << style;
    EXPECT_EQ(styleNamed(*name), style) << *name;
    std::string key;
    for (char c : *name) {
      if (std::isalnum(static_cast<unsigned char>(c))) key += c;
    }
    EXPECT_TRUE(folded.insert(key).second) << *name << " collides with another name once folded";
  }
}

TEST(StyleNamesTest, NamesFoldCaseAndSeparatorsNumbersPassAndStrangersAreRefused) {
  EXPECT_EQ(styleNamed("X_pro2"), 26);
  EXPECT_EQ(styleNamed("Teal Orange"), 33);
  EXPECT_EQ(styleNamed("MOVIE-1940"), 42);
  EXPECT_EQ(styleNamed("32"), 32);
  EXPECT_EQ(styleNamed("0"), 0);
  EXPECT_EQ(styleNamed("none"), 0);
  EXPECT_FALSE(styleNamed("63"));
  EXPECT_FALSE(styleNamed("-1"));
  EXPECT_FALSE(styleNamed("18x"));
  EXPECT_FALSE(styleNamed(""));
  EXPECT_FALSE(styleNamed("polaroid"));
}

TEST(StyleNamesTest, MistypedNamesSuggestTheNearestAndNonsenseSuggestsNothing) {
  auto near = styleNamesNear("sepai");
  ASSERT_FALSE(near.empty());
  EXPECT_EQ(near.front(), "sepia");
  EXPECT_LE(near.size(), 3u);
  near = styleNamesNear("movie1945");
  ASSERT_FALSE(near.empty());
  EXPECT_TRUE(std::find(near.begin(), near.end(), "movie1940") != near.end());
  EXPECT_TRUE(styleNamesNear("qqqqqqqqqqqq").empty());
}

}  // namespace
}  // namespace nudora

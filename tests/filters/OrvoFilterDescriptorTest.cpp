#include "filters/OrvoFilterDescriptor.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace nudora {
namespace {

using Kind = OrvoFilterValue::Kind;

// Catalogue order of the ids, typed independently from the filter tables.
const std::vector<int64_t> kStyleOrder = {18, 11, 1,  2,  3,  4,  5,  6,  7,  9,  10, 13, 14, 17, 58, 57,
                                          59, 56, 16, 15, 8,  19, 23, 25, 24, 26, 28, 27, 21, 22, 20, 29,
                                          30, 32, 33, 31, 34, 12, 35, 36, 38, 37, 39, 40, 41, 42, 43, 44,
                                          45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 60, 61, 62};
const std::vector<int64_t> kLensOrder = {1,  2,  11, 26, 28, 27, 20, 21, 22, 5,  3,  4,  6,  23, 24, 25, 8,  16, 13, 14,
                                         15, 17, 7,  12, 18, 19, 34, 9,  10, 35, 38, 39, 40, 36, 37, 41, 42, 43, 44};

std::vector<int64_t> ids(const std::vector<OrvoFilterRow>& rows, const char* key) {
  std::vector<int64_t> out;
  for (const OrvoFilterRow& r : rows) out.push_back(r.integer(key).value_or(-1));
  return out;
}

const OrvoFilterDescriptor& catalogue() { return *OrvoFilterDescriptor::sharedInstance(); }

TEST(OrvoFilterDescriptor, TablesHoldEveryIdOnceInCatalogueOrder) {
  const auto& d = catalogue();
  EXPECT_EQ(ids(d.styleFilterDesicriptor(), "styleid"), kStyleOrder);
  EXPECT_EQ(ids(d.lensFilterDesicriptor(), "lensid"), kLensOrder);

  for (int64_t i = -1; i <= 63; ++i) {
    const bool lens = (i >= 1 && i <= 28) || (i >= 34 && i <= 44);
    EXPECT_EQ(d.lensRow(i) ? d.lensRow(i)->integer("lensid").value_or(-2) : -1, lens ? i : -1) << "lens " << i;
    EXPECT_EQ(d.styleRow(i) ? d.styleRow(i)->integer("styleid").value_or(-2) : -1, (i >= 1 && i <= 62) ? i : -1)
        << "style " << i;
  }
  EXPECT_EQ(OrvoFilterDescriptor::sharedInstance(), OrvoFilterDescriptor::sharedInstance());
}

// Every key is one the readers know and holds the right kind of value; flags hold 1.
TEST(OrvoFilterDescriptor, KeysAndValueKinds) {
  const Kind I = Kind::Integer, P = Kind::ShaderPiece, F = Kind::ImageName;
  // No style row has stylecode3 or requirergbhsl, so those are not allowed here.
  const std::map<std::string, Kind> styleKeys = {{"styleid", I},        {"stylecode1", P}, {"stylecode2", P},
                                                 {"styleparameter", P}, {"3DLUT", F},      {"ForceHDR", I},
                                                 {"stype_type", I},     {"style_auxilary", F}};
  const std::map<std::string, Kind> lensKeys = {
      {"lensid", I},        {"lenscode1", P}, {"lenscode2", P},     {"lenscode3", P}, {"lensparameter", P},
      {"lens_function", P}, {"lensblur", I},  {"lens_type", I},     {"lens_auxilary", F}, {"requirerPosition", I},
      {"conflict", I},      {"maxmin", I},    {"requirergbhsl", I}};
  auto check = [&](const std::vector<OrvoFilterRow>& rows, const std::map<std::string, Kind>& known) {
    for (const OrvoFilterRow& r : rows) {
      std::set<std::string> seen;
      for (const auto& [key, value] : r.entries()) {
        SCOPED_TRACE(key);
        EXPECT_TRUE(seen.insert(key).second) << "duplicate key";
        ASSERT_TRUE(known.count(key)) << "unknown key";
        EXPECT_EQ(value.kind(), known.at(key));
        EXPECT_EQ(value.text().empty(), value.kind() == I);
        const bool isFlag = key == "requirerPosition" || key == "conflict" || key == "maxmin" || key == "requirergbhsl";
        EXPECT_TRUE(!isFlag || value.integerValue() == 1);
      }
    }
  };
  check(catalogue().styleFilterDesicriptor(), styleKeys);
  check(catalogue().lensFilterDesicriptor(), lensKeys);
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
  // Film looks grade after the film code; light-leak looks grade before the leak.
  for (int64_t i : {39, 41, 42, 43, 44, 45}) {
    const OrvoFilterRow* r = d.styleRow(i);
    EXPECT_EQ(r->pieceName("stylecode2"), "fsh3DLUT") << i;
    EXPECT_EQ(r->pieceName("stylecode1").value_or("").rfind("fshMovie", 0), 0u) << i;
    EXPECT_EQ(r->pieceName("styleparameter"), "fshMovieParameters") << i;
  }
  for (int64_t i = 49; i <= 55; ++i) {
    const OrvoFilterRow* r = d.styleRow(i);
    EXPECT_EQ(r->pieceName("stylecode1"), "fsh3DLUT") << i;
    EXPECT_EQ(r->pieceName("stylecode2"), "fshLightLeak") << i;
    EXPECT_EQ(r->pieceName("styleparameter"), "fsh3DLUTParameters") << i;
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

#pragma once
// A 3D colour lookup table read from an Adobe / Resolve ".cube" file, as
// grading tools export them, evaluated by tetrahedral interpolation and baked
// into the style lookup-table image the filter shader samples.
//
// The text format: optional keywords, in any order, before the data:
//   TITLE "name"
//   LUT_3D_SIZE N                      (2 to 65, required)
//   DOMAIN_MIN r g b / DOMAIN_MAX r g b (default 0 0 0 / 1 1 1)
//   LUT_3D_INPUT_RANGE min max         (the same domain for all channels)
// then exactly N^3 rows "r g b", red changing fastest, then green, then blue.
// '#' starts a comment; blank lines and CRLF line ends are fine anywhere.
// Output values outside 0..1 are kept here and clamped when baked. 1D tables
// (LUT_1D_SIZE) are refused.
//
// Thread rules: an immutable value once made; use it from any thread.

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace nudora {

class Image;

class CubeLookupTable {
 public:
  static constexpr int kMinSize = 2;
  static constexpr int kMaxSize = 65;

  // Reads and checks the file. On failure answers nullptr and gives one
  // message "<path> line <n>: <what is wrong>": in *error when error is given
  // (for a caller that reports it its own way), else on the console.
  static std::shared_ptr<const CubeLookupTable> load(const std::string& path, std::string* error = nullptr);
  // The same for text already in memory; name stands for the file in the message.
  static std::shared_ptr<const CubeLookupTable> parse(const std::string& text, const std::string& name,
                                                      std::string* error = nullptr);

  const std::string& title() const { return title_; }
  int size() const { return size_; }
  const std::array<double, 3>& domainMin() const { return domainMin_; }
  const std::array<double, 3>& domainMax() const { return domainMax_; }
  // The table's entry at grid point (r, g, b), each 0 .. size() - 1.
  std::array<double, 3> entry(int r, int g, int b) const;

  // The graded colour of (r, g, b): the input mapped from the domain onto the
  // grid (clamped to its edges), then interpolated inside the tetrahedron of
  // the grid cell that holds it. Not clamped to 0..1.
  std::array<double, 3> evaluate(double r, double g, double b) const;

  // The table as the filters' 512 x 512 lookup-table image (64 levels per
  // channel, 8 bits, clamped to 0..1).
  std::shared_ptr<Image> lookupTableImage() const;

 private:
  CubeLookupTable() = default;

  std::string title_;
  int size_ = 0;
  std::array<double, 3> domainMin_{0.0, 0.0, 0.0};
  std::array<double, 3> domainMax_{1.0, 1.0, 1.0};
  std::vector<float> values_;  // size^3 rows of r, g, b; red fastest
};

}  // namespace nudora

#pragma once
// The catalogue of style filters (colour looks) and lens filters (optical and
// artistic effects). Each filter is one row: the names of the shader pieces
// its fragment shader is assembled from, the resource images it samples, and
// flags telling the render pass which extra inputs to prepare (blur levels,
// the min-max image, position uniforms, auxiliary images, forced tone mapping).
//
// Thread rules: the tables are built once in the constructor and never change
// afterwards, so every call may be made from any thread. Rows and tables are
// owned by the descriptor; references and pointers into them stay valid as
// long as the descriptor (for sharedInstance: the process) lives.

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace nudora {

// One value of a catalogue row: an integer (ids, counts, types, and the flags,
// which hold 1), a reference to a stored shader piece by its name, or the file
// name of an image in the "Textures" resources.
class OrvoFilterValue {
 public:
  enum class Kind { Integer, ShaderPiece, ImageName };

  static OrvoFilterValue integer(int64_t value) { return OrvoFilterValue(Kind::Integer, value, {}); }
  static OrvoFilterValue shaderPiece(std::string name) {
    return OrvoFilterValue(Kind::ShaderPiece, 0, std::move(name));
  }
  static OrvoFilterValue imageName(std::string fileName) {
    return OrvoFilterValue(Kind::ImageName, 0, std::move(fileName));
  }

  Kind kind() const { return kind_; }
  // The number of an Integer value; 0 for the other kinds.
  int64_t integerValue() const { return integer_; }
  // The piece name or image file name; empty for an Integer value.
  const std::string& text() const { return text_; }

  bool operator==(const OrvoFilterValue&) const = default;

 private:
  OrvoFilterValue(Kind kind, int64_t integer, std::string text)
      : kind_(kind), integer_(integer), text_(std::move(text)) {}

  Kind kind_;
  int64_t integer_;
  std::string text_;
};

// An immutable key -> value map. A key the row lacks is absent; most readers
// only test presence. Rows hold a handful of keys, so lookup is a linear scan
// in the order the row was written.
class OrvoFilterRow {
 public:
  using Entry = std::pair<std::string, OrvoFilterValue>;

  OrvoFilterRow(std::initializer_list<Entry> entries) : entries_(entries) {}

  bool has(std::string_view key) const { return find(key) != nullptr; }
  // The value under key, or nullptr when the row lacks it.
  const OrvoFilterValue* find(std::string_view key) const;
  // The integer under key; nullopt when absent or not an integer.
  std::optional<int64_t> integer(std::string_view key) const;
  // The shader piece name under key; nullopt when absent or not a piece.
  std::optional<std::string> pieceName(std::string_view key) const;
  // The image file name under key; nullopt when absent or not an image.
  std::optional<std::string> imageName(std::string_view key) const;

  const std::vector<Entry>& entries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
};

class OrvoFilterDescriptor {
 public:
  // Filter numbers run 1..kStyleIndexCount and 1..kLensIndexCount; 0 means no
  // filter. Not every lens number has a row (29 to 33 have none).
  static constexpr int64_t kStyleIndexCount = 62;
  static constexpr int64_t kLensIndexCount = 44;

  // The process-wide catalogue, built on first use and never released, so it
  // stays readable from destructors that run at exit.
  static std::shared_ptr<OrvoFilterDescriptor> sharedInstance();

  // Builds both tables. Prefer sharedInstance; a second catalogue is only a copy.
  OrvoFilterDescriptor();
  OrvoFilterDescriptor(const OrvoFilterDescriptor&) = delete;
  OrvoFilterDescriptor& operator=(const OrvoFilterDescriptor&) = delete;

  // The style table (62 rows) and lens table (39 rows), in catalogue order,
  // which is not index order.
  const std::vector<OrvoFilterRow>& styleFilterDesicriptor() const { return styleRows_; }
  const std::vector<OrvoFilterRow>& lensFilterDesicriptor() const { return lensRows_; }

  // The first row whose "styleid" / "lensid" equals the index; nullptr when
  // none has. Every query below goes through these and answers 0, false or
  // nullopt for an index without a row.
  const OrvoFilterRow* styleRow(int64_t styleIndex) const;
  const OrvoFilterRow* lensRow(int64_t lensIndex) const;

  // Lens queries.
  bool doesFilterRequrePosition(int64_t lensIndex) const;
  int64_t getFilterRequreBlur(int64_t lensIndex) const;
  bool doesFilterRequreMaxMin(int64_t lensIndex) const;
  // True for "maxmin" as well as "lens_auxilary", so lens 19 answers true
  // although getLensAuxilaryName has no image for it.
  bool doesFilterRequreLensAuxilary(int64_t lensIndex) const;
  int64_t getLensFilterType(int64_t lensIndex) const;
  std::optional<std::string> getLensAuxilaryName(int64_t lensIndex) const;

  // Style queries.
  int64_t getStyleFilterType(int64_t styleIndex) const;
  std::optional<std::string> getStyleFilter3DLUTImageName(int64_t styleIndex) const;
  int64_t getStyleFilterForceHDR(int64_t styleIndex) const;
  std::optional<std::string> getStyleAuxilaryName(int64_t styleIndex) const;

  // A hook kept for callers of the catalogue; no filter has such an image.
  static std::optional<std::string> filterAuxilaryImageName(int64_t filterIndex);

 private:
  std::vector<OrvoFilterRow> styleRows_;
  std::vector<OrvoFilterRow> lensRows_;
};

}  // namespace nudora

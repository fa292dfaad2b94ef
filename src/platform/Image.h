#pragma once
// An RGBA picture (8 bits per channel, row 0 at the top), decoded with
// stb_image, standing in for the platform's image objects. Resource images
// are looked up by name in the "Textures" folder (see Resources.h).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace nudora {

class PixelBuffer;

class Image {
 public:
  Image(int width, int height);  // transparent black

  // Decodes a PNG or JPEG file; nullptr (with a console line naming the file) on failure.
  static std::shared_ptr<Image> load(const std::string& path);
  // Decodes an image held in memory.
  static std::shared_ptr<Image> decode(const uint8_t* bytes, size_t size);
  // A resource image by name (with or without ".png"), from the "Textures" folder.
  static std::shared_ptr<Image> imageNamed(const std::string& name);

  int width() const { return width_; }
  int height() const { return height_; }
  uint8_t* data() { return pixels_.data(); }
  const uint8_t* data() const { return pixels_.data(); }
  uint8_t* pixel(int x, int y) { return pixels_.data() + (static_cast<size_t>(y) * width_ + x) * 4; }
  const uint8_t* pixel(int x, int y) const { return pixels_.data() + (static_cast<size_t>(y) * width_ + x) * 4; }

  // BGRA copies to and from pixel buffers (the library's frame format).
  std::shared_ptr<PixelBuffer> toPixelBuffer() const;
  static std::shared_ptr<Image> fromPixelBuffer(const PixelBuffer& buffer);

  // Writes PNG when the name ends in ".png", JPEG (quality 92) otherwise.
  bool write(const std::string& path) const;

 private:
  // Pictures up to this many pixels a side are decoded; larger ones are
  // refused before their pixels are allocated.
  static constexpr int kMaxSide = 16384;
  // PNG through stb_image, JPEG through libjpeg-turbo; null with the reason.
  static std::shared_ptr<Image> decodeBytes(const uint8_t* bytes, size_t size, std::string* why);
  int width_;
  int height_;
  std::vector<uint8_t> pixels_;
};

}  // namespace nudora

#include "platform/Image.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fstream>
#include <iterator>

#include "platform/Console.h"
#include "platform/JpegReader.h"
#include "platform/PngReader.h"
#include "platform/PixelBuffer.h"
#include "platform/Resources.h"

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace nudora {
namespace {

bool endsWithPng(const std::string& path) {
  if (path.size() < 4) return false;
  std::string ext = path.substr(path.size() - 4);
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext == ".png";
}

}  // namespace

Image::Image(int width, int height)
    : width_(std::max(width, 0)), height_(std::max(height, 0)),
      pixels_(static_cast<size_t>(width_) * height_ * 4, 0) {}

std::shared_ptr<Image> Image::load(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<uint8_t> bytes;
  if (in) bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  std::string why = !in ? std::strerror(errno) : std::string();
  std::shared_ptr<Image> image = why.empty() ? decodeBytes(bytes.data(), bytes.size(), &why) : nullptr;
  if (!image) consoleLogLevel(kConsoleError, "Image: cannot read %s: %s", path.c_str(), why.c_str());
  return image;
}

std::shared_ptr<Image> Image::decode(const uint8_t* bytes, size_t size) {
  std::string why;
  std::shared_ptr<Image> image = decodeBytes(bytes, size, &why);
  if (!image) consoleLogLevel(kConsoleError, "Image: cannot decode image data: %s", why.c_str());
  return image;
}

std::shared_ptr<Image> Image::decodeBytes(const uint8_t* bytes, size_t size, std::string* why) {
  if (size > static_cast<size_t>(INT_MAX)) {
    *why = std::to_string(size) + " bytes is more than a picture file holds";
    return nullptr;
  }
  // Decoding goes to libpng and libjpeg-turbo, which stand up to damaged
  // and hostile files; a picture file names its own size, and a few bytes
  // must not make the decoder allocate gigabytes (kMaxSide).
  int w = 0, h = 0;
  std::vector<uint8_t> rgba;
  bool ok = false;
  if (PngReader::looksLikePng(bytes, size)) {
    ok = PngReader::decode(bytes, size, kMaxSide, &rgba, &w, &h, why);
  } else if (JpegReader::looksLikeJpeg(bytes, size)) {
    ok = JpegReader::decode(bytes, size, kMaxSide, &rgba, &w, &h, why);
  } else {
    *why = "not a PNG or JPEG file";
  }
  if (!ok) return nullptr;
  auto image = std::make_shared<Image>(0, 0);
  image->width_ = w;
  image->height_ = h;
  image->pixels_ = std::move(rgba);
  return image;
}

std::shared_ptr<Image> Image::imageNamed(const std::string& name) {
  std::string file = name;
  if (file.find('.') == std::string::npos) file += ".png";
  std::string path = Resources::pathForTexture(file);
  if (path.empty()) {
    consoleLogLevel(kConsoleError, "Image: no resource named %s in %s", file.c_str(), Resources::texturesFolder().c_str());
    return nullptr;
  }
  return load(path);
}

std::shared_ptr<PixelBuffer> Image::toPixelBuffer() const {
  auto buffer = PixelBuffer::create(width_, height_);
  if (!buffer) return nullptr;
  for (int y = 0; y < height_; ++y) {
    const uint8_t* src = pixel(0, y);
    uint8_t* dst = buffer->row(y);
    for (int x = 0; x < width_; ++x, src += 4, dst += 4) {
      dst[0] = src[2];
      dst[1] = src[1];
      dst[2] = src[0];
      dst[3] = src[3];
    }
  }
  return buffer;
}

std::shared_ptr<Image> Image::fromPixelBuffer(const PixelBuffer& buffer) {
  auto image = std::make_shared<Image>(buffer.width(), buffer.height());
  for (int y = 0; y < buffer.height(); ++y) {
    const uint8_t* src = buffer.row(y);
    uint8_t* dst = image->pixel(0, y);
    for (int x = 0; x < buffer.width(); ++x, src += 4, dst += 4) {
      dst[0] = src[2];
      dst[1] = src[1];
      dst[2] = src[0];
      dst[3] = src[3];
    }
  }
  return image;
}

bool Image::write(const std::string& path) const {
  if (width_ == 0 || height_ == 0) return false;
  int ok = endsWithPng(path) ? stbi_write_png(path.c_str(), width_, height_, 4, pixels_.data(), width_ * 4)
                             : stbi_write_jpg(path.c_str(), width_, height_, 4, pixels_.data(), 92);
  if (!ok) consoleLogLevel(kConsoleError, "Image: cannot write %s", path.c_str());
  return ok != 0;
}

}  // namespace nudora

#include "platform/Image.h"

#include <algorithm>
#include <cctype>

#include "platform/Console.h"
#include "platform/PixelBuffer.h"
#include "platform/Resources.h"

#define STB_IMAGE_IMPLEMENTATION
#define STBI_ONLY_PNG
#define STBI_ONLY_JPEG
#define STBI_FAILURE_USERMSG
#include <stb_image.h>
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb_image_write.h>

namespace nudora {
namespace {

std::shared_ptr<Image> fromStb(unsigned char* data, int w, int h) {
  auto image = std::make_shared<Image>(w, h);
  std::copy(data, data + static_cast<size_t>(w) * h * 4, image->data());
  stbi_image_free(data);
  return image;
}

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
  int w = 0, h = 0, channels = 0;
  unsigned char* data = stbi_load(path.c_str(), &w, &h, &channels, 4);
  if (!data) {
    consoleLogLevel(kConsoleError, "Image: cannot read %s: %s", path.c_str(), stbi_failure_reason());
    return nullptr;
  }
  return fromStb(data, w, h);
}

std::shared_ptr<Image> Image::decode(const uint8_t* bytes, size_t size) {
  int w = 0, h = 0, channels = 0;
  unsigned char* data = stbi_load_from_memory(bytes, static_cast<int>(size), &w, &h, &channels, 4);
  if (!data) {
    consoleLogLevel(kConsoleError, "Image: cannot decode image data: %s", stbi_failure_reason());
    return nullptr;
  }
  return fromStb(data, w, h);
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

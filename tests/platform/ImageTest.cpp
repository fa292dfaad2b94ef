#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/Console.h"
#include "platform/Image.h"
#include "platform/NotificationCenter.h"
#include "platform/PixelBuffer.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;

TEST(Image, PngRoundTripAndBGRAConversionKeepEveryChannel) {
  Image image(5, 3);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 5; ++x) {
      uint8_t* p = image.pixel(x, y);
      p[0] = static_cast<uint8_t>(x * 50);
      p[1] = static_cast<uint8_t>(y * 100);
      p[2] = static_cast<uint8_t>(255 - x);
      p[3] = static_cast<uint8_t>(200 + y);
    }
  }
  auto buffer = image.toPixelBuffer();
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->row(2)[4 * 4 + 0], 255 - 4);  // blue first
  EXPECT_EQ(buffer->row(2)[4 * 4 + 2], 200);      // red third

  fs::path path = fs::temp_directory_path() / ("nudora-image-" + std::to_string(::getpid()) + ".png");
  ASSERT_TRUE(Image::fromPixelBuffer(*buffer)->write(path.string()));
  auto back = Image::load(path.string());
  fs::remove(path);
  ASSERT_NE(back, nullptr);
  ASSERT_EQ(back->width(), 5);
  ASSERT_EQ(back->height(), 3);
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 5; ++x) {
      for (int c = 0; c < 4; ++c) EXPECT_EQ(back->pixel(x, y)[c], image.pixel(x, y)[c]) << x << "," << y << " c" << c;
    }
  }
}

TEST(Image, MissingOrBrokenFilesGiveNullAndNameTheFile) {
  std::vector<std::string> lines;
  Console::setSinkForTesting([&](const std::string& line) { lines.push_back(line); });
  EXPECT_EQ(Image::load("/nonexistent/picture.png"), nullptr);
  const uint8_t garbage[] = {1, 2, 3, 4, 5};
  EXPECT_EQ(Image::decode(garbage, sizeof(garbage)), nullptr);
  EXPECT_EQ(Image::imageNamed("no-such-resource"), nullptr);
  Console::setSinkForTesting(nullptr);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].find("/nonexistent/picture.png"), std::string::npos);
  EXPECT_NE(lines[2].find("no-such-resource.png"), std::string::npos);
}

TEST(PixelBuffer, RejectsSizesAndStridesThatCannotHoldAFrame) {
  uint8_t memory[64];
  EXPECT_EQ(PixelBuffer::create(0, 10), nullptr);
  EXPECT_EQ(PixelBuffer::create(10, -1), nullptr);
  EXPECT_EQ(PixelBuffer::wrap(memory, 4, 2, 15), nullptr);  // a row needs 16 bytes
  EXPECT_EQ(PixelBuffer::wrap(nullptr, 4, 2, 16), nullptr);
  bool released = false;
  {
    auto wrapped = PixelBuffer::wrap(memory, 4, 2, 32, [&] { released = true; });
    ASSERT_NE(wrapped, nullptr);
    EXPECT_EQ(wrapped->row(1), memory + 32);
  }
  EXPECT_TRUE(released);
  auto made = PixelBuffer::create(3, 2);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->bytesPerRow() % 64, 0u);
  EXPECT_GE(made->bytesPerRow(), 12u);
}

TEST(NotificationCenter, ObserverMayRemoveItselfWhilePosting) {
  auto& center = NotificationCenter::defaultCenter();
  int first = 0, second = 0;
  uint64_t a = 0;
  a = center.addObserver("test.note", [&](const std::string&) {
    ++first;
    center.removeObserver(a);
  });
  uint64_t b = center.addObserver("test.note", [&](const std::string&) { ++second; });
  center.post("test.note");
  center.post("test.note");
  center.post("other.note");
  center.removeObserver(b);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 2);
}

}  // namespace
}  // namespace nudora

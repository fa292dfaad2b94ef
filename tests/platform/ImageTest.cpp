#include "TestSupport.h"
#include "platform/Image.h"
#include "platform/NotificationCenter.h"
#include "platform/PixelBuffer.h"

namespace nudora {
namespace {

TEST(Image, PngRoundTripAndBGRAConversionKeepEveryChannel) {
  Image image(5, 3);
  for (int i = 0; i < 5 * 3 * 4; ++i) image.data()[i] = static_cast<uint8_t>(i * 37 + 11);  // all bytes differ
  auto buffer = image.toPixelBuffer();
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->row(2)[4 * 4 + 0], image.pixel(4, 2)[2]);  // blue first
  EXPECT_EQ(buffer->row(2)[4 * 4 + 2], image.pixel(4, 2)[0]);  // red third

  test::TempDir dir;
  ASSERT_TRUE(Image::fromPixelBuffer(*buffer)->write(dir.path + "/round.png"));
  auto back = Image::load(dir.path + "/round.png");
  ASSERT_TRUE(back && back->width() == 5 && back->height() == 3);
  EXPECT_EQ(std::vector<uint8_t>(back->data(), back->data() + 60),
            std::vector<uint8_t>(image.data(), image.data() + 60));
}

TEST(Image, MissingOrBrokenFilesGiveNullAndNameTheFile) {
  test::ConsoleCapture console;
  EXPECT_EQ(Image::load("/nonexistent/picture.png"), nullptr);
  const uint8_t garbage[] = {1, 2, 3, 4, 5};
  EXPECT_EQ(Image::decode(garbage, sizeof(garbage)), nullptr);
  EXPECT_EQ(Image::imageNamed("no-such-resource"), nullptr);
  EXPECT_EQ(console.count("\n"), 3) << console.text();
  EXPECT_TRUE(console.saw("/nonexistent/picture.png") && console.saw("no-such-resource.png")) << console.text();
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

#include <cstdlib>
#include <string>

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
  // A 45-byte PNG that claims 20000 x 20000 pixels is refused before
  // anything is allocated for it.
  const uint8_t huge[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n', 0,    0,    0,    13,   'I', 'H', 'D',
                          'R',  0,   0,   0x4e, 0x20, 0,    0,    0x4e, 0x20, 8,    6,    0,    0,   0,   0xe3,
                          0x70, 0x46, 0x39, 0,  0,    0,    0,    'I',  'D',  'A',  'T',  0x35, 0xaf, 0x06, 0x1e};
  EXPECT_EQ(Image::decode(huge, sizeof(huge)), nullptr);
  EXPECT_TRUE(console.saw("large")) << console.text();
  EXPECT_EQ(console.count("\n"), 4) << console.text();
  EXPECT_TRUE(console.saw("/nonexistent/picture.png") && console.saw("no-such-resource.png")) << console.text();
}

// Pictures that made stb_image read out of bounds or copy from a null
// pointer (found by fuzz_image): libjpeg-turbo and libpng decode them in
// bounds or refuse them. Under the sanitizer build this is the regression.
TEST(Image, DamagedPicturesAreDecodedInBoundsOrRefused) {
  const char* resources = std::getenv("NUDORA_RESOURCE_DIR");
  ASSERT_NE(resources, nullptr);
  const std::string corpus = std::string(resources) + "/../fuzz/corpus/image/";
  for (const char* name : {"regression-huffman-257.jpg", "regression-png-null-copy.png"}) {
    test::ConsoleCapture console;
    if (auto image = Image::load(corpus + name)) {
      EXPECT_EQ(image->width(), 16) << name;
      EXPECT_EQ(image->height(), 12) << name;
    } else {
      EXPECT_TRUE(console.saw(name)) << console.text();
    }
  }
  for (const char* name : {"test.jpg", "test.png"}) {
    auto good = Image::load(corpus + name);
    ASSERT_NE(good, nullptr) << name;
    EXPECT_EQ(good->width(), 16);
  }
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

// A host of Nudora: one generated camera frame through the real-time
// pipeline with a colour style. Prints how far the styled frame moved from
// the input and where the library found its resource images; writes the
// result as a PPM when given a file name.
#include <nudora/entry/Nudora.h>
#include <nudora/platform/Resources.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
  const int width = 640, height = 360;
  auto nudora = nudora::Nudora::sharedInstance();
  if (!nudora) return std::fprintf(stderr, "no OpenGL ES 2 or 3 on this machine\n"), 1;
  nudora->processor()->setStyleFilter(18);

  auto frame = nudora::PixelBuffer::create(width, height);
  auto output = nudora::PixelBuffer::create(width, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      uint8_t* p = frame->row(y) + 4 * x;  // BGRA: a sky-to-ground gradient
      p[0] = uint8_t(255 - y * 200 / height), p[1] = uint8_t(90 + x * 120 / width), p[2] = uint8_t(60 + y / 3), p[3] = 255;
    }
  nudora->process(nudora::SampleBuffer::create(frame, 0.0), output);

  long total = 0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < 4 * width; ++x) total += std::abs(int(output->row(y)[x]) - int(frame->row(y)[x]));
  std::printf("mean change %.2f per channel\nresources %s\n", double(total) / (4.0 * width * height),
              nudora::Resources::folder().c_str());
  if (argc > 1) {
    FILE* f = std::fopen(argv[1], "wb");
    if (!f) return std::fprintf(stderr, "cannot write %s\n", argv[1]), 1;
    std::fprintf(f, "P6\n%d %d\n255\n", width, height);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x) std::fputc(output->row(y)[4 * x + 2], f), std::fputc(output->row(y)[4 * x + 1], f),
                                      std::fputc(output->row(y)[4 * x], f);
    std::fclose(f);
  }
  return 0;
}

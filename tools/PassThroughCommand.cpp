// nudora passthrough: one frame through the texture cache and a GL copy pass,
// the smallest end-to-end check that the machine renders.
#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <cstdio>

#include "Commands.h"
#include "gpu/CopyPass.h"
#include "platform/Clock.h"
#include "platform/EglContext.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "platform/TextureCache.h"

namespace nudora::tool {
namespace {

// A built-in picture: colour ramps, rings and a fine checker, so that a wrong
// channel order, a flip or a shift shows at a glance.
std::shared_ptr<Image> testPattern(int w, int h) {
  auto image = std::make_shared<Image>(w, h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      uint8_t* p = image->pixel(x, y);
      double dx = x - w * 0.5, dy = y - h * 0.5;
      double ring = 0.5 + 0.5 * std::cos(std::sqrt(dx * dx + dy * dy) * 0.15);
      bool check = ((x / 8) + (y / 8)) % 2 == 0;
      p[0] = static_cast<uint8_t>(255.0 * x / (w - 1));
      p[1] = static_cast<uint8_t>(255.0 * y / (h - 1));
      p[2] = static_cast<uint8_t>(check ? 200.0 * ring + 55.0 : 40.0 * ring);
      p[3] = 255;
    }
  }
  return image;
}

struct Options {
  std::string input;
  std::string output = "passthrough.png";
  int width = 1280;
  int height = 720;
};

int run(const Options& options) {
  auto image = options.input.empty() ? testPattern(options.width, options.height) : Image::load(options.input);
  if (!image) return 1;  // Image::load said why
  auto context = EglContext::create(3);
  if (!context) context = EglContext::create(2);
  if (!context || !context->makeCurrent()) {
    std::fprintf(stderr, "nudora: no OpenGL ES context could be made (API 3 or 2)\n");
    return 1;
  }
  int status = 1;
  {
    auto input = image->toPixelBuffer();
    auto output = PixelBuffer::create(image->width(), image->height());
    auto cache = TextureCache::create();
    auto pass = CopyPass::create(context->api());
    if (!input || !output || !cache || !pass) return 1;
    double start = Clock::monotonic();
    std::shared_ptr<CacheTexture> source, target;
    if (cache->createTextureFromImage(input, &source) == kTextureCacheSuccess &&
        cache->createTextureFromImage(output, &target) == kTextureCacheSuccess &&
        pass->draw(source->name(), target->name(), output->width(), output->height())) {
      source.reset();
      target.reset();  // writes the frame back into the output buffer
      cache->flush();
      double ms = (Clock::monotonic() - start) * 1000.0;
      if (Image::fromPixelBuffer(*output)->write(options.output)) {
        std::printf("passthrough: %dx%d frame on API %d in %.2f ms -> %s\n", output->width(), output->height(),
                    context->api(), ms, options.output.c_str());
        status = 0;
      }
    }
  }
  EglContext::clearCurrent();
  return status;
}

}  // namespace

void addPassThroughCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand("passthrough", "Copy one picture through the GPU (a built-in pattern by default)");
  cmd->add_option("input", options->input, "PNG or JPEG to copy")->check(CLI::ExistingFile);
  cmd->add_option("-o,--output", options->output, "where to write the result (PNG or JPEG)");
  cmd->add_option("--width", options->width, "pattern width")->check(CLI::Range(16, 8192));
  cmd->add_option("--height", options->height, "pattern height")->check(CLI::Range(16, 8192));
  cmd->callback([options] { setExitCode(run(*options)); });
}

}  // namespace nudora::tool

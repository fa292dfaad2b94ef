// nudora styles: the style looks by number and name, with what each needs;
// given -o, a labelled contact sheet of every look on one picture, so people
// can choose a look by eye.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "common/BitmapFont.h"
#include "common/FileChecks.h"
#include "common/TemporaryFile.h"
#include "filters/OrvoFilterDescriptor.h"
#include "filters/StyleNames.h"
#include "gpu/OrvoImageProcessor.h"
#include "gpu/OrvoProcessHelpers.h"
#include "platform/Image.h"
#include "platform/Resources.h"
#include "platform/SampleBuffer.h"

namespace nudora::tool {
namespace {

struct Options {
  std::string input;
  std::string output;
  int columns = 8;
  int cellWidth = 320;
};

void fail(const std::string& message) { std::fprintf(stderr, "nudora styles: %s\n", message.c_str()); }

// The files a style reads from the Textures folder, each marked when it is
// not installed; "code only" for a look written wholly in shader code.
std::string needsOf(int64_t style) {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  std::string needs;
  for (const auto& name : {catalogue->getStyleFilter3DLUTImageName(style), catalogue->getStyleAuxilaryName(style)}) {
    if (!name) continue;
    if (!needs.empty()) needs += " + ";
    needs += *name;
    if (OrvoProcessHelpers::pathFromImage(*name, "").empty()) needs += " (missing)";
  }
  return needs.empty() ? "code only" : needs;
}

void list() {
  std::printf("%3s  %-23s %-58s %s\n", "no", "name", "needs", "look");
  for (const auto& entry : styleNames()) {
    std::printf("%3lld  %-23s %-58s %s\n", static_cast<long long>(entry.style), entry.name,
                needsOf(entry.style).c_str(), entry.description);
  }
  std::printf("Files are read from %s. Use the number or the name: --style %s\n",
              Resources::texturesFolder().c_str(), "sepia");
}

// The picture scaled to the given width by averaging the source pixels each
// output pixel covers (a contact sheet wants a clean reduction, not aliasing).
std::shared_ptr<Image> reduced(const Image& source, int width) {
  width = std::min(width, source.width());
  const int height = std::max(1, source.height() * width / source.width());
  auto out = std::make_shared<Image>(width, height);
  for (int y = 0; y < height; ++y) {
    const int y0 = y * source.height() / height, y1 = std::max(y0 + 1, (y + 1) * source.height() / height);
    for (int x = 0; x < width; ++x) {
      const int x0 = x * source.width() / width, x1 = std::max(x0 + 1, (x + 1) * source.width() / width);
      unsigned sum[4] = {0, 0, 0, 0};
      for (int sy = y0; sy < y1; ++sy) {
        for (int sx = x0; sx < x1; ++sx) {
          for (int c = 0; c < 4; ++c) sum[c] += source.pixel(sx, sy)[c];
        }
      }
      const unsigned count = static_cast<unsigned>((y1 - y0) * (x1 - x0));
      for (int c = 0; c < 4; ++c) out->pixel(x, y)[c] = static_cast<uint8_t>((sum[c] + count / 2) / count);
    }
  }
  return out;
}

void paste(Image& sheet, const Image& picture, int left, int top) {
  for (int y = 0; y < picture.height(); ++y) {
    std::copy_n(picture.pixel(0, y), picture.width() * 4, sheet.pixel(left, top + y));
  }
}

int writeSheet(const Options& o) {
  if (o.columns < 1 || o.columns > 64) {
    fail("columns " + std::to_string(o.columns) + " is out of range (1 to 64)");
    return 1;
  }
  if (o.cellWidth < 64 || o.cellWidth > 2048) {
    fail("cell width " + std::to_string(o.cellWidth) + " is out of range (64 to 2048)");
    return 1;
  }
  const std::string input = o.input.empty() ? Resources::folder() + "/samples/scene.png" : o.input;
  if (std::string problem = pictureProblem("input", input, 16384); !problem.empty()) {
    fail(problem);
    return 1;
  }
  TemporaryFile temporary(o.output, "styles");
  if (std::string error; !temporary.probe(&error)) {
    fail("cannot write output '" + o.output + "': " + error);
    return 1;
  }
  auto image = Image::load(input);
  if (!image) return 1;  // Image::load has named the file and the reason
  auto thumbnail = reduced(*image, o.cellWidth);
  auto frame = thumbnail->toPixelBuffer();

  auto processor = OrvoImageProcessor::sharedInstance();
  if (!processor->setupWithAvailableAPI()) {
    fail("no OpenGL ES context could be made (API 3 or 2)");
    return 1;
  }

  // The original first, then every look by number, each above its label.
  const int scale = 2, gap = 6, labelHeight = textHeight(scale) + 2 * gap;
  const int cellW = thumbnail->width() + gap, cellH = thumbnail->height() + labelHeight;
  const int cells = static_cast<int>(styleNames().size()) + 1;
  const int rows = (cells + o.columns - 1) / o.columns;
  Image sheet(o.columns * cellW + gap, rows * cellH + gap);
  for (int y = 0; y < sheet.height(); ++y) {
    for (int x = 0; x < sheet.width(); ++x) {
      uint8_t* p = sheet.pixel(x, y);
      p[0] = p[1] = p[2] = 24;
      p[3] = 255;
    }
  }
  const uint8_t ink[4] = {235, 235, 235, 255};
  std::vector<std::string> failed;
  for (int cell = 0; cell < cells; ++cell) {
    const int left = gap + cell % o.columns * cellW, top = gap + cell / o.columns * cellH;
    std::string label = "0 original";
    std::shared_ptr<Image> look = thumbnail;
    if (cell > 0) {
      const StyleName& entry = styleNames()[cell - 1];
      label = std::to_string(entry.style) + " " + entry.name;
      processor->setStyleFilter(entry.style);
      processor->effectSampeBuffer(SampleBuffer::create(frame, 0.0), false, false, 1);
      const auto& result = processor->resultPixelBuffer();
      if (processor->rendered() && result) {
        look = Image::fromPixelBuffer(*result);
      } else {
        failed.push_back(std::to_string(entry.style));
        look = nullptr;
        label += " (failed)";
      }
    }
    if (look) paste(sheet, *look, left, top);
    // Long names drop to the small size rather than run into the next cell.
    const int size = textWidth(label, scale) <= thumbnail->width() ? scale : 1;
    drawText(sheet, left, top + thumbnail->height() + gap, label, size, ink);
  }
  processor->setStyleFilter(0);

  std::string error;
  if (!sheet.write(temporary.path()) || !temporary.commit(&error)) {
    fail("cannot write output '" + o.output + "'" + (error.empty() ? "" : ": " + error));
    return 1;
  }
  std::printf("styles: %d looks of %dx%d on API %d -> %s\n", cells - 1, thumbnail->width(), thumbnail->height(),
              processor->context()->api(), o.output.c_str());
  if (!failed.empty()) {
    std::string numbers;
    for (const auto& n : failed) numbers += (numbers.empty() ? "" : ", ") + n;
    fail("styles " + numbers + " did not render (see the log above); their cells are left empty");
    return 1;
  }
  return 0;
}

}  // namespace

void addStylesCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand(
      "styles", "List the style looks (number, name, what each needs); with -o, draw a contact sheet of them all");
  cmd->add_option("input", options->input, "picture for the contact sheet (default: the built-in sample)");
  cmd->add_option("-o,--output", options->output, "contact sheet to write (PNG when it ends in .png, else JPEG)");
  cmd->add_option("--columns", options->columns, "looks per row of the sheet (default 8)");
  cmd->add_option("--cell-width", options->cellWidth, "width of each look on the sheet in pixels (default 320)");
  cmd->callback([options] {
    if (options->output.empty()) {
      if (!options->input.empty()) {
        fail("a picture was given without -o; say where the contact sheet goes");
        setExitCode(1);
        return;
      }
      list();
      setExitCode(0);
      return;
    }
    setExitCode(writeSheet(*options));
  });
}

}  // namespace nudora::tool

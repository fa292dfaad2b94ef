// nudora styles and nudora lenses: the style looks or the lens filters by
// number and name, with what each needs; given -o, a labelled contact sheet
// of every one on one picture, so people can choose by eye.
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
#include "filters/FilterNames.h"
#include "gpu/OrvoImageProcessor.h"
#include "gpu/OrvoProcessHelpers.h"
#include "platform/Image.h"
#include "platform/Resources.h"
#include "platform/SampleBuffer.h"

namespace nudora::tool {
namespace {

// The half of the catalogue a command shows.
struct Kind {
  const char* command;  // "styles" or "lenses"
  const char* noun;     // "look" or "lens"
  const std::vector<FilterName>& names;
  bool lens;
};

struct Options {
  std::string input;
  std::string output;
  int columns = 8;
  int cellWidth = 320;
};

void fail(const Kind& kind, const std::string& message) {
  std::fprintf(stderr, "nudora %s: %s\n", kind.command, message.c_str());
}

// The files a filter reads from the Textures folder, each marked when it is
// not installed, and for a lens the extra inputs the pass prepares for it;
// "code only" for one written wholly in shader code.
std::string needsOf(const Kind& kind, int64_t number) {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  std::string needs;
  auto add = [&](const std::string& what) { needs += (needs.empty() ? "" : " + ") + what; };
  const std::optional<std::string> files[] = {
      kind.lens ? std::nullopt : catalogue->getStyleFilter3DLUTImageName(number),
      kind.lens ? catalogue->getLensAuxilaryName(number) : catalogue->getStyleAuxilaryName(number)};
  for (const auto& name : files) {
    if (!name) continue;
    add(*name + (OrvoProcessHelpers::pathFromImage(*name, "").empty() ? " (missing)" : ""));
  }
  if (kind.lens) {
    if (int64_t levels = catalogue->getFilterRequreBlur(number)) add(std::to_string(levels) + " blur levels");
    if (catalogue->doesFilterRequreMaxMin(number)) add("min-max image");
    if (catalogue->doesFilterRequrePosition(number)) add("centre, angle, radius");
  }
  return needs.empty() ? "code only" : needs;
}

void list(const Kind& kind) {
  std::printf("%3s  %-23s %-58s %s\n", "no", "name", "needs", kind.noun);
  for (const auto& entry : kind.names) {
    std::printf("%3lld  %-23s %-58s %s\n", static_cast<long long>(entry.number), entry.name,
                needsOf(kind, entry.number).c_str(), entry.description);
  }
  std::printf("Files are read from %s. Use the number or the name: --%s %s\n", Resources::texturesFolder().c_str(),
              kind.lens ? "lens" : "style", kind.names.front().name);
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

int writeSheet(const Kind& kind, const Options& o) {
  if (o.columns < 1 || o.columns > 64) {
    fail(kind, "columns " + std::to_string(o.columns) + " is out of range (1 to 64)");
    return 1;
  }
  if (o.cellWidth < 64 || o.cellWidth > 2048) {
    fail(kind, "cell width " + std::to_string(o.cellWidth) + " is out of range (64 to 2048)");
    return 1;
  }
  const std::string input = o.input.empty() ? Resources::folder() + "/samples/scene.png" : o.input;
  if (std::string problem = pictureProblem("input", input, 16384); !problem.empty()) {
    fail(kind, problem);
    return 1;
  }
  TemporaryFile temporary(o.output, kind.command);
  if (std::string error; !temporary.probe(&error)) {
    fail(kind, "cannot write output '" + o.output + "': " + error);
    return 1;
  }
  auto image = Image::load(input);
  if (!image) return 1;  // Image::load has named the file and the reason
  auto thumbnail = reduced(*image, o.cellWidth);
  auto frame = thumbnail->toPixelBuffer();

  auto processor = OrvoImageProcessor::sharedInstance();
  if (!processor->setupWithAvailableAPI()) {
    fail(kind, "no OpenGL ES context could be made (API 3 or 2)");
    return 1;
  }

  // The original first, then every filter by number, each above its label.
  const int scale = 2, gap = 6, labelHeight = textHeight(scale) + 2 * gap;
  const int cellW = thumbnail->width() + gap, cellH = thumbnail->height() + labelHeight;
  const int cells = static_cast<int>(kind.names.size()) + 1;
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
      const FilterName& entry = kind.names[cell - 1];
      label = std::to_string(entry.number) + " " + entry.name;
      processor->setStyleFilter(kind.lens ? 0 : entry.number);
      processor->setLensFilter(kind.lens ? entry.number : 0);
      processor->effectSampeBuffer(SampleBuffer::create(frame, 0.0), false, false,
                                   OrvoBaseProcessor::kOrientationUpright);
      const auto& result = processor->resultPixelBuffer();
      if (processor->rendered() && result) {
        look = Image::fromPixelBuffer(*result);
      } else {
        failed.push_back(std::to_string(entry.number));
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
  processor->setLensFilter(0);

  std::string error;
  if (!sheet.write(temporary.path()) || !temporary.commit(&error)) {
    fail(kind, "cannot write output '" + o.output + "'" + (error.empty() ? "" : ": " + error));
    return 1;
  }
  std::printf("%s: %d of %dx%d on API %d -> %s\n", kind.command, cells - 1, thumbnail->width(), thumbnail->height(),
              processor->context()->api(), o.output.c_str());
  if (!failed.empty()) {
    std::string numbers;
    for (const auto& n : failed) numbers += (numbers.empty() ? "" : ", ") + n;
    fail(kind, numbers + " did not render (see the log above); their cells are left empty");
    return 1;
  }
  return 0;
}

void addCatalogueCommand(CLI::App& app, const Kind& kind, const char* help) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand(kind.command, help);
  cmd->add_option("input", options->input, "picture for the contact sheet (default: the built-in sample)");
  cmd->add_option("-o,--output", options->output, "contact sheet to write (PNG when it ends in .png, else JPEG)");
  cmd->add_option("--columns", options->columns, "cells per row of the sheet (default 8)");
  cmd->add_option("--cell-width", options->cellWidth, "width of each cell of the sheet in pixels (default 320)");
  cmd->callback([options, &kind] {
    if (options->output.empty()) {
      if (!options->input.empty()) {
        fail(kind, "a picture was given without -o; say where the contact sheet goes");
        setExitCode(1);
        return;
      }
      list(kind);
      setExitCode(0);
      return;
    }
    setExitCode(writeSheet(kind, *options));
  });
}

}  // namespace

void addStylesCommand(CLI::App& app) {
  static const Kind kind{"styles", "look", styleNames(), false};
  addCatalogueCommand(app, kind,
                      "List the style looks (number, name, what each needs); with -o, draw a contact sheet of them all");
}

void addLensesCommand(CLI::App& app) {
  static const Kind kind{"lenses", "lens", lensNames(), true};
  addCatalogueCommand(app, kind,
                      "List the lens filters (number, name, what each needs); with -o, draw a contact sheet of them all");
}

}  // namespace nudora::tool

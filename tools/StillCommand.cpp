// nudora still: one picture through the still-image processor (style, lens,
// beautify, zoom, watermark), written as PNG or JPEG.
//
// Every argument and both pictures are checked before a GL context is made,
// and the result is written under a temporary name beside the output and
// renamed into place, so a failed run leaves no output file.
#include <CLI/CLI.hpp>
#include <stb_image.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "common/BackgroundSource.h"
#include "common/BlueScreenOptions.h"
#include "common/EffectOptions.h"
#include "common/FileChecks.h"
#include "common/FilterOptions.h"
#include "common/TemporaryFile.h"
#include "filters/CubeLookupTable.h"
#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoImageProcessor.h"
#include "gpu/OrvoProcessHelpers.h"
#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/EglContext.h"
#include "platform/Image.h"
#include "platform/Resources.h"
#include "platform/SampleBuffer.h"

namespace nudora::tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxSide = 16384;

struct Options {
  std::string input;
  std::string output;
  int64_t style = 0;
  int64_t lens = 0;
  EffectOptions effects;
  BlueScreenOptions blueScreen;
  int64_t beauty = 0;
  double zoom = 1.0;
  bool mirror = false;
  int64_t orientation = OrvoBaseProcessor::kOrientationUpright;
  std::string watermark;
  std::string lut;
};

void fail(const std::string& message) { std::fprintf(stderr, "nudora still: %s\n", message.c_str()); }

// Checks that path is a PNG or JPEG of a size the library takes, before
// decoding it, so an unreadable or oversized file costs nothing and gets one
// line naming the problem. role names the file in that line.
bool checkPicture(const std::string& role, const std::string& path) {
  if (std::string problem = pictureProblem(role, path, kMaxSide); !problem.empty()) {
    fail(problem);
    return false;
  }
  return true;
}

// A readable, well-formed .cube grade, or one line naming the problem (for a
// malformed table, the file and line).
bool checkLookupTable(const std::string& path) {
  std::string problem = fileProblem("lookup table", path);
  if (problem.empty() && CubeLookupTable::load(path, &problem)) return true;
  fail(problem);
  return false;
}

bool checkNumbers(const Options& o) {
  std::string problem = filterOptionProblem(o.style, o.lens, o.beauty, o.zoom);
  if (problem.empty()) problem = effectOptionProblem(o.effects);
  if (problem.empty()) problem = blueScreenOptionProblem(o.blueScreen);
  if (!problem.empty()) {
    fail(problem);
    return false;
  }
  if (o.orientation < 1 || o.orientation > 4) {
    fail("orientation " + std::to_string(o.orientation) + " is out of range (1 to 4)");
    return false;
  }
  return true;
}

// Auxiliary images the chosen filters sample that are not installed; the
// pass then runs without them. (A missing lookup table is replaced by the
// identity table inside the processor, which says so itself.)
std::vector<std::string> missingResources(const Options& o) {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  std::vector<std::string> missing;
  auto note = [&](const std::optional<std::string>& name) {
    if (name && OrvoProcessHelpers::pathFromImage(*name, "").empty()) missing.push_back(*name);
  };
  if (o.style != 0) {
    note(catalogue->getStyleAuxilaryName(o.style));
  }
  if (o.lens != 0) note(catalogue->getLensAuxilaryName(o.lens));
  return missing;
}

// The rendered picture under a temporary name, then renamed into place;
// false after one console line.
bool writeResult(const PixelBuffer& result, TemporaryFile& temporary) {
  std::string error;
  if (!Image::fromPixelBuffer(result)->write(temporary.path())) {
    fail("cannot write output '" + temporary.destination() + "'");
    return false;
  }
  if (!temporary.commit(&error)) {
    fail(error);
    return false;
  }
  return true;
}

// The picture through the real-time processor's blue-screen path (the
// still processor has none), into *result at the picture's size.
bool renderBlueScreen(const Options& o, const Image& image, const std::shared_ptr<Image>& watermark,
                      std::shared_ptr<PixelBuffer>* result, int* api) {
  std::string error;
  std::unique_ptr<BackgroundSource> background;
  if (o.blueScreen.type == 0 && !(background = BackgroundSource::open(o.blueScreen.background, kMaxSide, &error))) {
    fail(error);
    return false;
  }
  std::shared_ptr<PixelBuffer> backgroundFrame = background ? background->next(&error) : nullptr;
  if (background && !backgroundFrame) {
    fail(error);
    return false;
  }
  auto input = image.toPixelBuffer();
  auto output = PixelBuffer::create(image.width(), image.height());
  if (!input || !output) {
    fail("input '" + o.input + "' could not be wrapped as a frame");
    return false;
  }
  OrvoColor key;
  if (o.blueScreen.keyColor == "auto") {
    key = borderKeyColor(*input);
  } else {
    parseKeyColor(o.blueScreen.keyColor, &key);
  }
  auto processor = std::make_shared<OrvoRealTimeProcessor>();
  if (watermark) processor->setWatermarkImage(watermark);
  if (!processor->setupWithAvailableAPI()) {
    fail("no OpenGL ES context could be made (API 3 or 2)");
    return false;
  }
  *api = processor->context()->api();
  if (!processor->isGLES3()) {
    fail("the blue screen needs OpenGL ES 3 and this context is ES " + std::to_string(*api));
    return false;
  }
  processor->setStyleFilter(o.style);
  processor->setBeauty(o.beauty);
  processor->setDigitalZoom(static_cast<float>(o.zoom));
  applyEffectOptions(*processor, o.effects, o.lens);
  if (!o.lut.empty() && !processor->loadCubeLookupTable(o.lut)) return false;
  applyBlueScreenOptions(*processor, o.blueScreen, key);
  bool drawn = false;
  processor->queue().sync([&] {
    drawn = processor->processBlueScreenPixelBuffer(SampleBuffer::create(input, 0.0), output, backgroundFrame,
                                                    o.mirror, false, o.orientation, 0.0, 0.0);
  });
  if (!drawn) {
    fail("the blue-screen frame could not be rendered (see the log above); nothing written");
    return false;
  }
  *result = output;
  return true;
}

int run(const Options& o) {
  if (!checkNumbers(o)) return 1;
  if (!checkPicture("input", o.input)) return 1;
  if (!o.watermark.empty() && !checkPicture("watermark", o.watermark)) return 1;
  if (!o.lut.empty() && !checkLookupTable(o.lut)) return 1;

  std::error_code ec;
  if (o.output.empty() || fs::path(o.output).filename().empty() || fs::is_directory(o.output, ec)) {
    fail("cannot write output '" + o.output + "': not a file name");
    return 1;
  }
  TemporaryFile temporary(o.output, "still");
  if (std::string error; !temporary.probe(&error)) {
    fail(error);
    return 1;
  }

  auto image = Image::load(o.input);
  if (!image) return 1;  // Image::load has named the file and the reason
  std::shared_ptr<Image> watermark;
  if (!o.watermark.empty() && !(watermark = Image::load(o.watermark))) return 1;

  if (o.blueScreen.on()) {
    if (o.lens != 0) {
      fail("--lens cannot be combined with --blue-screen (the blue screen takes the lens's place)");
      return 1;
    }
    std::shared_ptr<PixelBuffer> result;
    int api = 0;
    if (!renderBlueScreen(o, *image, watermark, &result, &api)) return 1;
    if (!writeResult(*result, temporary)) return 1;
    std::printf("still: %dx%d on API %d, blue screen type %lld -> %s\n", result->width(), result->height(), api,
                static_cast<long long>(o.blueScreen.type), o.output.c_str());
    return 0;
  }

  auto processor = OrvoImageProcessor::sharedInstance();
  // Handed in before set-up: createResources gives it to the watermark stage.
  if (watermark) processor->setWatermarkImage(watermark);
  if (!processor->setupWithAvailableAPI()) {
    fail("no OpenGL ES context could be made (API 3 or 2)");
    return 1;
  }
  processor->setStyleFilter(o.style);
  processor->setLensFilter(o.lens);
  processor->setBeauty(o.beauty);
  processor->setDigitalZoom(static_cast<float>(o.zoom));
  applyEffectOptions(*processor, o.effects, o.lens);
  // Checked above; this fails only if the file changed since, and the
  // processor has then named the file and line.
  if (!o.lut.empty() && !processor->loadCubeLookupTable(o.lut)) return 1;

  if (auto missing = missingResources(o); !missing.empty()) {
    std::string names;
    for (const auto& name : missing) names += (names.empty() ? "" : ", ") + name;
    std::fprintf(stderr, "nudora still: warning: resource %s not found in %s; rendering without it\n",
                 names.c_str(), Resources::texturesFolder().c_str());
  }

  auto input = image->toPixelBuffer();
  if (!input) {
    fail("input '" + o.input + "' could not be wrapped as a frame");
    return 1;
  }
  processor->effectSampeBuffer(SampleBuffer::create(input, 0.0), o.mirror, false, o.orientation);
  const auto& result = processor->resultPixelBuffer();
  if (!processor->rendered() || !result) {
    // A filter whose shader pieces do not assemble into a program is the
    // usual cause; the compile log has been printed above.
    fail(processor->programPostProcess() == 0
             ? "the filter program for style " + std::to_string(o.style) + " and lens " + std::to_string(o.lens) +
                   " did not build (see the log above); nothing written"
             : std::string("the picture could not be rendered; nothing written"));
    return 1;
  }
  if (!writeResult(*result, temporary)) return 1;
  std::printf("still: %dx%d on API %d -> %s\n", result->width(), result->height(), processor->context()->api(),
              o.output.c_str());
  return 0;
}

}  // namespace

void addStillCommand(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* cmd = app.add_subcommand("still", "Process one picture with the still-image processor");
  cmd->add_option("input", options->input, "PNG or JPEG to process")->required();
  cmd->add_option("-o,--output", options->output, "where to write the result (PNG when it ends in .png, else JPEG)")
      ->required();
  cmd->add_option("--style", options->style, "style look by number or name (0 = none; 'nudora styles' lists them)")
      ->transform(CLI::Validator(styleNameToNumber, "NUMBER|NAME"));
  cmd->add_option("--lens", options->lens, "lens filter by number or name (0 = none; 'nudora lenses' lists them)")
      ->transform(CLI::Validator(lensNameToNumber, "NUMBER|NAME"));
  addEffectOptions(*cmd, options->effects);
  addBlueScreenOptions(*cmd, options->blueScreen);
  cmd->add_option("--beauty", options->beauty, "beauty level, 0 to 4");
  cmd->add_option("--zoom", options->zoom, "digital zoom factor (1 = none)");
  cmd->add_flag("--mirror", options->mirror, "the input is mirrored, as from a front camera");
  cmd->add_option("--orientation", options->orientation,
                  "orientation code: 3 upright as stored (default), 4 half a turn, 1 and 2 the portrait codes");
  cmd->add_option("--watermark", options->watermark, "PNG to draw as a watermark");
  cmd->add_option("--lut", options->lut,
                  ".cube 3D lookup table to grade with, in place of the style's own table (alone when no style)");
  cmd->callback([options] { setExitCode(run(*options)); });
}

}  // namespace nudora::tool

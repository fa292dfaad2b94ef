// bench_keying: blue-screen keying quality against a known matte.
//
//   bench_keying [--out DIR] [--size WxH]
//
// For a blue and a green backdrop it draws a synthetic subject whose matte
// is known exactly: a body with soft (defocused) and sharp edges, a patch
// of cloth that leans towards the key colour, and some two hundred strands
// of hair one pixel wide or less. The backdrop is lit unevenly (a gradient
// and a fall-off towards the corners), spills its colour onto the subject
// near the edges, and camera noise is added over everything.
//
// The true composite is the subject as the camera saw it (noise included,
// spill removed) over a new background. The picture is keyed by the
// library's blue-screen path (type 0, key colour = the mean of the frame's
// border, default threshold) and by FFmpeg's chromakey + overlay with the
// same key colour, at every point of a small grid of similarity and blend;
// the best grid point (by composite PSNR) is reported. The library's matte
// is read back by compositing over black and over white.
//
// Prints one table: composite PSNR, matte IoU (coverage above one half),
// soft IoU (sum of minima over sum of maxima), and the mean absolute matte
// error over the whole frame and over the edge band (0 < true matte < 1).
// With --out the pictures are kept in DIR.

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/Image.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"
#include "quality/Subprocess.h"

namespace fs = std::filesystem;
using nudora::Image;
using nudora::OrvoColor;
using nudora::OrvoRealTimeProcessor;
using nudora::PixelBuffer;
using nudora::SampleBuffer;
using nudora::quality::Subprocess;

namespace {

struct Rgb {
  double r = 0, g = 0, b = 0;
};
Rgb operator+(Rgb a, Rgb b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
Rgb operator*(double s, Rgb a) { return {s * a.r, s * a.g, s * a.b}; }

// A float picture, row 0 at the top.
struct Plane {
  int w = 0, h = 0;
  std::vector<Rgb> px;
  Rgb& at(int x, int y) { return px[static_cast<size_t>(y) * w + x]; }
  const Rgb& at(int x, int y) const { return px[static_cast<size_t>(y) * w + x]; }
};

struct Scene {
  Plane camera;            // what the camera saw
  Plane truth;             // subject over the new background
  Plane background;        // the new background
  std::vector<double> matte;  // true coverage
};

double clamp01(double v) { return std::clamp(v, 0.0, 1.0); }
double smooth(double e0, double e1, double x) {
  const double t = clamp01((x - e0) / (e1 - e0));
  return t * t * (3 - 2 * t);
}

// Distance from p to the segment ab.
double segmentDistance(double px, double py, double ax, double ay, double bx, double by) {
  const double dx = bx - ax, dy = by - ay;
  const double t = clamp01(((px - ax) * dx + (py - ay) * dy) / (dx * dx + dy * dy));
  return std::hypot(px - ax - t * dx, py - ay - t * dy);
}

struct Strand {
  std::vector<double> x, y;  // polyline
  double width, opacity;
  Rgb colour;
};

Scene makeScene(int w, int h, Rgb key, Rgb lean, uint32_t seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> uni(0.0, 1.0);
  std::normal_distribution<double> gauss(0.0, 1.0);
  const double s = h / 720.0;  // scene unit: pixels at 720 rows
  const double cx = 0.5 * w, headY = 0.36 * h, headR = 110 * s;

  // Body coverage: head (sharp, anti-aliased) and shoulders (defocused on
  // the right: a soft edge several pixels wide).
  std::vector<double> matte(static_cast<size_t>(w) * h);
  std::vector<int> region(matte.size());  // 0 skin, 1 shirt, 2 leaning patch
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double px = x + 0.5, py = y + 0.5;
      const double head = clamp01(headR - std::hypot((px - cx) / 0.85, py - headY) + 0.5);
      const double sx = (px - cx) / (330 * s), sy = (py - 0.95 * h) / (300 * s);
      const double shoulderDist = (1.0 - std::sqrt(sx * sx + sy * sy)) * 300 * s;
      const double softness = px > cx ? 1.0 + 5.0 * s : 0.7;
      const double body = py > 0.62 * h ? smooth(-softness, softness, shoulderDist) : 0.0;
      const double neck = std::abs(px - cx) < 55 * s && py > headY && py < 0.66 * h
                              ? clamp01(55 * s - std::abs(px - cx) + 0.5)
                              : 0.0;
      const size_t i = static_cast<size_t>(y) * w + x;
      matte[i] = std::max({head, body, neck});
      region[i] = body > std::max(head, neck) ? 1 : 0;
      if (region[i] == 1 && std::hypot(px - (cx - 130 * s), py - 0.86 * h) < 70 * s) region[i] = 2;
    }
  }

  // Strands of hair: gently curving polylines from the head outwards, about
  // 0.5 to 1.3 px wide, dark and fair.
  std::vector<Strand> strands;
  for (int k = 0; k < 220; ++k) {
    Strand st;
    const double a = -M_PI * (0.05 + 0.9 * uni(rng));
    double x = cx + std::cos(a) * headR * 0.8, y = headY + std::sin(a) * headR * 0.95;
    double dir = a + 0.5 * gauss(rng);
    const double length = (60 + 90 * uni(rng)) * s;
    const double bend = 0.02 * gauss(rng);
    for (double l = 0; l <= length; l += 4 * s) {
      st.x.push_back(x);
      st.y.push_back(y);
      x += std::cos(dir) * 4 * s;
      y += std::sin(dir) * 4 * s;
      dir += bend;
    }
    st.width = (0.5 + 0.8 * uni(rng)) * s;
    st.opacity = 0.7 + 0.3 * uni(rng);
    st.colour = uni(rng) < 0.7 ? Rgb{0.22, 0.13, 0.08} : Rgb{0.85, 0.72, 0.45};
    strands.push_back(std::move(st));
  }

  // Subject colour (before spill) and coverage with the strands over it.
  Plane subject{w, h, std::vector<Rgb>(matte.size())};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(y) * w + x;
      const double u = static_cast<double>(x) / w, v = static_cast<double>(y) / h;
      Rgb c = region[i] == 0   ? Rgb{0.86, 0.64, 0.52}
              : region[i] == 1 ? Rgb{0.62 + 0.1 * std::sin(40 * u), 0.22, 0.2 + 0.05 * std::sin(30 * v)}
                               : lean;
      subject.at(x, y) = c;
    }
  }
  for (const auto& st : strands) {
    double x0 = 1e9, y0 = 1e9, x1 = -1e9, y1 = -1e9;
    for (size_t j = 0; j < st.x.size(); ++j) {
      x0 = std::min(x0, st.x[j]), x1 = std::max(x1, st.x[j]);
      y0 = std::min(y0, st.y[j]), y1 = std::max(y1, st.y[j]);
    }
    for (int y = std::max(0, static_cast<int>(y0) - 2); y <= std::min(h - 1, static_cast<int>(y1) + 2); ++y) {
      for (int x = std::max(0, static_cast<int>(x0) - 2); x <= std::min(w - 1, static_cast<int>(x1) + 2); ++x) {
        double d = 1e9;
        for (size_t j = 0; j + 1 < st.x.size(); ++j) {
          d = std::min(d, segmentDistance(x + 0.5, y + 0.5, st.x[j], st.y[j], st.x[j + 1], st.y[j + 1]));
        }
        // Coverage of a line of this width through a one-pixel footprint.
        const double cover = st.opacity * clamp01(std::min(st.width, 1.0) * clamp01(0.5 * (st.width + 1.0) - d));
        if (cover <= 0) continue;
        const size_t i = static_cast<size_t>(y) * w + x;
        subject.at(x, y) = (cover / (cover + matte[i] * (1 - cover) + 1e-9)) * st.colour +
                           (matte[i] * (1 - cover) / (cover + matte[i] * (1 - cover) + 1e-9)) * subject.at(x, y);
        matte[i] = cover + matte[i] * (1 - cover);
      }
    }
  }

  // Spill: the backdrop's light reaches the subject near its edges, fading
  // over some 12 px; found from the backdrop's share blurred wide.
  std::vector<double> open(matte.size()), spill(matte.size());
  for (size_t i = 0; i < matte.size(); ++i) open[i] = 1 - matte[i];
  const int r = static_cast<int>(12 * s);
  std::vector<double> tmp(matte.size());
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      double sum = 0;
      for (int k = -r; k <= r; ++k) sum += open[static_cast<size_t>(y) * w + std::clamp(x + k, 0, w - 1)];
      tmp[static_cast<size_t>(y) * w + x] = sum / (2 * r + 1);
    }
  }
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      double sum = 0;
      for (int k = -r; k <= r; ++k) sum += tmp[static_cast<size_t>(std::clamp(y + k, 0, h - 1)) * w + x];
      spill[static_cast<size_t>(y) * w + x] = 0.45 * sum / (2 * r + 1);
    }
  }

  // The new background: a warm evening sky over dark hills, with a few discs.
  Plane background{w, h, std::vector<Rgb>(matte.size())};
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double u = (x + 0.5) / w, v = (y + 0.5) / h;
      Rgb c{0.95 - 0.5 * v, 0.55 - 0.3 * v + 0.1 * u, 0.3 + 0.4 * v};
      if (v > 0.7 + 0.06 * std::sin(9 * u)) c = {0.12, 0.2 + 0.05 * std::sin(23 * u), 0.1};
      for (int k = 0; k < 5; ++k) {
        const double d = std::hypot(u - (0.12 + 0.19 * k), (v - 0.25 - 0.08 * (k % 2)) * h / w);
        if (d < 0.04) c = 0.5 * c + 0.5 * Rgb{1.0, 0.95, 0.7};
      }
      background.at(x, y) = c;
    }
  }

  Scene scene{{w, h, std::vector<Rgb>(matte.size())}, {w, h, std::vector<Rgb>(matte.size())}, background, matte};
  const double sigma = 0.018;
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(y) * w + x;
      const double u = (x + 0.5) / w, v = (y + 0.5) / h;
      const double light =
          (0.78 + 0.25 * u - 0.1 * v) * (1.0 - 0.35 * ((u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5)) * 2.0);
      const Rgb backdrop = light * key;
      const Rgb spilled = subject.at(x, y) + (spill[i] * 0.5) * backdrop;
      const Rgb noise{sigma * gauss(rng), sigma * gauss(rng), sigma * gauss(rng)};
      const double a = matte[i];
      scene.camera.at(x, y) = a * spilled + (1 - a) * backdrop + noise;
      scene.truth.at(x, y) = a * (subject.at(x, y) + noise) + (1 - a) * background.at(x, y);
    }
  }
  return scene;
}

uint8_t byte(double v) { return static_cast<uint8_t>(std::lround(clamp01(v) * 255.0)); }

std::shared_ptr<Image> toImage(const Plane& p) {
  auto image = std::make_shared<Image>(p.w, p.h);
  for (int y = 0; y < p.h; ++y) {
    for (int x = 0; x < p.w; ++x) {
      uint8_t* q = image->pixel(x, y);
      q[0] = byte(p.at(x, y).r), q[1] = byte(p.at(x, y).g), q[2] = byte(p.at(x, y).b), q[3] = 255;
    }
  }
  return image;
}

std::shared_ptr<Image> filledImage(int w, int h, uint8_t v) {
  auto image = std::make_shared<Image>(w, h);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      uint8_t* q = image->pixel(x, y);
      q[0] = q[1] = q[2] = v, q[3] = 255;
    }
  }
  return image;
}

// The mean colour of the frame's outermost 8 pixels, as --key-color auto picks it.
OrvoColor borderColour(const Image& image) {
  double sum[3] = {0, 0, 0};
  int n = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      if (x >= 8 && y >= 8 && x < image.width() - 8 && y < image.height() - 8) continue;
      for (int c = 0; c < 3; ++c) sum[c] += image.pixel(x, y)[c];
      ++n;
    }
  }
  return {static_cast<float>(sum[0] / n / 255), static_cast<float>(sum[1] / n / 255),
          static_cast<float>(sum[2] / n / 255)};
}

double psnr(const Image& got, const Image& want) {
  double sum = 0;
  for (int y = 0; y < want.height(); ++y) {
    for (int x = 0; x < want.width(); ++x) {
      for (int c = 0; c < 3; ++c) {
        const double d = got.pixel(x, y)[c] - want.pixel(x, y)[c];
        sum += d * d;
      }
    }
  }
  const double mse = sum / (3.0 * want.width() * want.height());
  return 10 * std::log10(255.0 * 255.0 / std::max(mse, 1e-12));
}

struct MatteScore {
  double iou = 0, softIou = 0, mae = 0, edgeMae = 0;
};

MatteScore scoreMatte(const std::vector<double>& got, const std::vector<double>& want) {
  double inter = 0, uni = 0, mins = 0, maxs = 0, err = 0, edgeErr = 0;
  size_t edge = 0;
  for (size_t i = 0; i < want.size(); ++i) {
    const bool a = got[i] > 0.5, b = want[i] > 0.5;
    inter += a && b;
    uni += a || b;
    mins += std::min(got[i], want[i]);
    maxs += std::max(got[i], want[i]);
    err += std::abs(got[i] - want[i]);
    if (want[i] > 0.0 && want[i] < 1.0) {
      edgeErr += std::abs(got[i] - want[i]);
      ++edge;
    }
  }
  return {inter / std::max(uni, 1.0), mins / std::max(maxs, 1e-9), err / want.size(),
          edgeErr / std::max<size_t>(edge, 1)};
}

std::shared_ptr<Image> keyWithNudora(OrvoRealTimeProcessor& processor, const Image& camera, const Image& background) {
  auto input = camera.toPixelBuffer();
  auto bg = background.toPixelBuffer();
  auto out = PixelBuffer::create(camera.width(), camera.height());
  processor.effectPixelBuffer(SampleBuffer::create(input, 0.0), out, bg, false, false, 1, 0.0, 0.0);
  return Image::fromPixelBuffer(*out);
}

std::string hexColour(const OrvoColor& c) {
  char text[16];
  std::snprintf(text, sizeof(text), "0x%02X%02X%02X", byte(c.red), byte(c.green), byte(c.blue));
  return text;
}

struct Row {
  std::string label;
  double psnr;
  MatteScore matte;
};

void printRow(const Row& r) {
  std::printf("%-44s %8.2f %8.4f %8.4f %9.4f %9.4f\n", r.label.c_str(), r.psnr, r.matte.iou, r.matte.softIou,
              r.matte.mae, r.matte.edgeMae);
}

}  // namespace

int main(int argc, char** argv) {
  std::string outDir;
  int w = 1280, h = 720;
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--out") && i + 1 < argc) {
      outDir = argv[++i];
    } else if (!std::strcmp(argv[i], "--size") && i + 1 < argc) {
      if (std::sscanf(argv[++i], "%dx%d", &w, &h) != 2 || w < 64 || h < 64) {
        std::fprintf(stderr, "bench_keying: --size wants WxH of at least 64x64\n");
        return 2;
      }
    } else {
      std::fprintf(stderr, "usage: bench_keying [--out DIR] [--size WxH]\n");
      return 2;
    }
  }
  const fs::path work = outDir.empty() ? fs::temp_directory_path() / ("bench-keying-" + std::to_string(::getpid()))
                                       : fs::path(outDir);
  fs::create_directories(work);

  auto processor = std::make_shared<OrvoRealTimeProcessor>();
  if (!processor->setupWithAPI(3)) {
    std::fprintf(stderr, "bench_keying: no OpenGL ES 3 context (the blue-screen path needs one)\n");
    return 1;
  }
  processor->setBlueScreenEnabled(true);
  processor->setBlueScreenType(0);

  std::printf("%-44s %8s %8s %8s %9s %9s\n", "keyer", "PSNR dB", "IoU", "soft IoU", "matte MAE", "edge MAE");
  struct Backdrop {
    const char* name;
    Rgb key, lean;
  } backdrops[] = {{"blue", {0.10, 0.22, 0.78}, {0.30, 0.38, 0.56}},  // denim
                   {"green", {0.16, 0.72, 0.22}, {0.38, 0.50, 0.30}}};  // olive
  int status = 0;
  for (const auto& backdrop : backdrops) {
    const Scene scene = makeScene(w, h, backdrop.key, backdrop.lean, 11);
    auto camera = toImage(scene.camera), truth = toImage(scene.truth), background = toImage(scene.background);
    const std::string name = backdrop.name;
    const std::string cameraPath = (work / (name + "-camera.png")).string();
    const std::string backgroundPath = (work / (name + "-background.png")).string();
    camera->write(cameraPath);
    background->write(backgroundPath);
    truth->write((work / (name + "-truth.png")).string());
    const OrvoColor key = borderColour(*camera);

    processor->setScreenColor(key);
    auto ours = keyWithNudora(*processor, *camera, *background);
    auto overBlack = keyWithNudora(*processor, *camera, *filledImage(w, h, 0));
    auto overWhite = keyWithNudora(*processor, *camera, *filledImage(w, h, 255));
    ours->write((work / (name + "-nudora.png")).string());
    std::vector<double> ourMatte(scene.matte.size());
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        double open = 0;
        for (int c = 0; c < 3; ++c) open += overWhite->pixel(x, y)[c] - overBlack->pixel(x, y)[c];
        ourMatte[static_cast<size_t>(y) * w + x] = clamp01(1.0 - open / (3 * 255.0));
      }
    }
    auto matteImage = std::make_shared<Image>(w, h);
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        uint8_t* q = matteImage->pixel(x, y);
        q[0] = byte(ourMatte[static_cast<size_t>(y) * w + x]);
        q[1] = byte(scene.matte[static_cast<size_t>(y) * w + x]);
        q[2] = 0, q[3] = 255;
      }
    }
    // Red: the library's matte; green: the true one (yellow where they agree).
    matteImage->write((work / (name + "-nudora-matte.png")).string());
    printRow({"nudora blue screen, " + name + " (key " + hexColour(key) + ")", psnr(*ours, *truth),
              scoreMatte(ourMatte, scene.matte)});

    Row best{"", -1, {}};
    for (double similarity : {0.05, 0.1, 0.15, 0.2, 0.3}) {
      for (double blend : {0.0, 0.02, 0.05, 0.1, 0.2}) {
        char filter[256];
        std::snprintf(filter, sizeof(filter),
                      "[1:v]format=yuva444p,chromakey=color=%s:similarity=%g:blend=%g,split[k][m];"
                      "[0:v][k]overlay=format=auto,format=rgb24[o];[m]alphaextract,format=gray[a]",
                      hexColour(key).c_str(), similarity, blend);
        const std::string composite = (work / (name + "-ffmpeg.png")).string();
        const std::string alpha = (work / (name + "-ffmpeg-matte.png")).string();
        if (Subprocess::run({"ffmpeg", "-v", "error", "-nostdin", "-y", "-i", backgroundPath, "-i", cameraPath,
                             "-filter_complex", filter, "-map", "[o]", "-frames:v", "1", composite, "-map", "[a]",
                             "-frames:v", "1", alpha}) != 0) {
          std::fprintf(stderr, "bench_keying: ffmpeg failed (similarity %g, blend %g)\n", similarity, blend);
          status = 1;
          continue;
        }
        auto image = Image::load(composite), theirMatte = Image::load(alpha);
        if (!image || !theirMatte) continue;
        std::vector<double> matte(scene.matte.size());
        for (int y = 0; y < h; ++y) {
          for (int x = 0; x < w; ++x) matte[static_cast<size_t>(y) * w + x] = theirMatte->pixel(x, y)[0] / 255.0;
        }
        const double p = psnr(*image, *truth);
        if (p > best.psnr) {
          char label[128];
          std::snprintf(label, sizeof(label), "ffmpeg chromakey best, %s (sim %g blend %g)", name.c_str(), similarity,
                        blend);
          best = {label, p, scoreMatte(matte, scene.matte)};
          fs::copy_file(composite, work / (name + "-ffmpeg-best.png"), fs::copy_options::overwrite_existing);
        }
      }
    }
    if (best.psnr >= 0) printRow(best);
  }
  if (outDir.empty()) fs::remove_all(work);
  return status;
}

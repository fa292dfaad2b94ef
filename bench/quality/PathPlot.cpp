#include "quality/PathPlot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <utility>

#define STB_IMAGE_WRITE_IMPLEMENTATION
// Kept private to this file: the nudora library has its own copy.
#define STB_IMAGE_WRITE_STATIC
#include "stb_easy_font.h"
#include "stb_image_write.h"

namespace nudora::quality {
namespace {

using Rgb = std::array<uint8_t, 3>;

// First the input, then the stabilised versions.
constexpr Rgb kPalette[] = {{200, 40, 40},  {30, 90, 200},  {30, 150, 60},
                            {230, 140, 20}, {140, 60, 170}, {20, 160, 170}};
constexpr Rgb kInk = {20, 20, 20};
constexpr Rgb kGrid = {225, 225, 225};
constexpr int kTextScale = 2;

class Canvas {
 public:
  Canvas(int w, int h) : w_(w), h_(h), rgb_(static_cast<size_t>(w) * h * 3, 255) {}

  void fill(int x0, int y0, int x1, int y1, Rgb c) {
    for (int y = std::max(0, y0); y < std::min(h_, y1); ++y) {
      for (int x = std::max(0, x0); x < std::min(w_, x1); ++x) set(x, y, c);
    }
  }
  // A line about two pixels wide: discs stamped every quarter pixel.
  void line(double x0, double y0, double x1, double y1, Rgb c) {
    int steps = std::max(1, static_cast<int>(std::ceil(4.0 * std::hypot(x1 - x0, y1 - y0))));
    for (int i = 0; i <= steps; ++i) {
      double t = static_cast<double>(i) / steps;
      double x = x0 + (x1 - x0) * t;
      double y = y0 + (y1 - y0) * t;
      for (int py = static_cast<int>(std::floor(y - 1.0)); py <= static_cast<int>(std::ceil(y + 1.0)); ++py) {
        for (int px = static_cast<int>(std::floor(x - 1.0)); px <= static_cast<int>(std::ceil(x + 1.0)); ++px) {
          if ((px - x) * (px - x) + (py - y) * (py - y) <= 1.1 && px >= 0 && py >= 0 && px < w_ && py < h_) {
            set(px, py, c);
          }
        }
      }
    }
  }
  // Text with its top-left corner at (x, y).
  void text(int x, int y, const std::string& s, Rgb c) {
    std::vector<char> chars(s.begin(), s.end());
    chars.push_back('\0');
    // The font's own example budgets 200 bytes a character; leave room.
    std::vector<char> buffer(1024 * chars.size());
    unsigned char color[4] = {c[0], c[1], c[2], 255};
    int quads = stb_easy_font_print(0.0f, 0.0f, chars.data(), color, buffer.data(), static_cast<int>(buffer.size()));
    // Each vertex is x, y, z floats and four colour bytes; each quad an
    // axis-aligned rectangle.
    for (int q = 0; q < quads; ++q) {
      const float* v0 = reinterpret_cast<const float*>(buffer.data() + q * 64);
      const float* v2 = reinterpret_cast<const float*>(buffer.data() + q * 64 + 32);
      fill(x + static_cast<int>(v0[0] * kTextScale), y + static_cast<int>(v0[1] * kTextScale),
           x + static_cast<int>(v2[0] * kTextScale), y + static_cast<int>(v2[1] * kTextScale), c);
    }
  }
  static int textWidth(const std::string& s) {
    std::vector<char> chars(s.begin(), s.end());
    chars.push_back('\0');
    return stb_easy_font_width(chars.data()) * kTextScale;
  }
  bool save(const std::string& path) const { return stbi_write_png(path.c_str(), w_, h_, 3, rgb_.data(), w_ * 3) != 0; }

 private:
  void set(int x, int y, Rgb c) {
    uint8_t* p = rgb_.data() + (static_cast<size_t>(y) * w_ + x) * 3;
    p[0] = c[0];
    p[1] = c[1];
    p[2] = c[2];
  }
  int w_;
  int h_;
  std::vector<uint8_t> rgb_;
};

// A round tick step (1, 2 or 5 times a power of ten) giving about `count`
// ticks over span.
double tickStep(double span, int count) {
  if (span <= 0.0) return 1.0;
  double raw = span / count;
  double power = std::pow(10.0, std::floor(std::log10(raw)));
  for (double m : {1.0, 2.0, 5.0}) {
    if (m * power >= raw) return m * power;
  }
  return 10.0 * power;
}

std::string format(double v, double step) {
  char text[32];
  int decimals = step >= 1.0 ? 0 : static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
  std::snprintf(text, sizeof text, "%.*f", decimals, std::abs(v) < step * 1e-6 ? 0.0 : v);
  return text;
}

}  // namespace

void PathPlot::add(const std::string& label, std::vector<double> x, std::vector<double> y) {
  series_.push_back({label, std::move(x), std::move(y)});
}

bool PathPlot::write(const std::string& path, double fps, const std::string& title) const {
  size_t frames = 0;
  for (const Series& s : series_) frames = std::max(frames, s.x.size());
  if (frames < 2) {
    std::fprintf(stderr, "%s: no path to plot\n", path.c_str());
    return false;
  }
  if (fps <= 0.0) fps = 30.0;
  Canvas canvas(width_, height_);
  canvas.text(20, 12, title, kInk);

  const int left = 90;
  const int right = width_ - 20;
  const int titleBand = 40;
  const int panelGap = 60;
  const int panelHeight = (height_ - titleBand - 2 * panelGap) / 2;
  const double duration = static_cast<double>(frames - 1) / fps;
  const char* names[2] = {"horizontal camera path (px)", "vertical camera path (px)"};
  for (int panel = 0; panel < 2; ++panel) {
    const int top = titleBand + panel * (panelHeight + panelGap) + 24;
    const int bottom = top + panelHeight - 24;
    double lo = 0.0;
    double hi = 0.0;
    for (const Series& s : series_) {
      for (double v : panel == 0 ? s.x : s.y) {
        lo = std::min(lo, v);
        hi = std::max(hi, v);
      }
    }
    if (hi - lo < 1.0) {
      lo -= 0.5;
      hi += 0.5;
    }
    double pad = 0.05 * (hi - lo);
    lo -= pad;
    hi += pad;
    auto toX = [&](double t) { return left + (right - left) * t / duration; };
    auto toY = [&](double v) { return bottom - (bottom - top) * (v - lo) / (hi - lo); };

    double vStep = tickStep(hi - lo, 6);
    for (double v = std::ceil(lo / vStep) * vStep; v <= hi; v += vStep) {
      int y = static_cast<int>(std::lround(toY(v)));
      canvas.fill(left, y, right, y + 1, kGrid);
      std::string label = format(v, vStep);
      canvas.text(left - 8 - Canvas::textWidth(label), y - 6, label, kInk);
    }
    double tStep = tickStep(duration, 10);
    for (double t = 0.0; t <= duration + 1e-9; t += tStep) {
      int x = static_cast<int>(std::lround(toX(t)));
      canvas.fill(x, top, x + 1, bottom, kGrid);
      canvas.fill(x, bottom, x + 1, bottom + 6, kInk);
      canvas.text(x - Canvas::textWidth(format(t, tStep)) / 2, bottom + 10, format(t, tStep), kInk);
    }
    canvas.fill(left, top, left + 2, bottom + 1, kInk);
    canvas.fill(left, bottom, right, bottom + 2, kInk);
    canvas.text(left, top - 22, names[panel], kInk);
    if (panel == 1) canvas.text(right - Canvas::textWidth("time (s)"), bottom + 30, "time (s)", kInk);

    for (size_t i = 0; i < series_.size(); ++i) {
      const std::vector<double>& values = panel == 0 ? series_[i].x : series_[i].y;
      Rgb c = kPalette[i % std::size(kPalette)];
      for (size_t f = 1; f < values.size(); ++f) {
        canvas.line(toX((f - 1) / fps), toY(values[f - 1]), toX(f / fps), toY(values[f]), c);
      }
    }
    if (panel == 0) {
      // Legend, top right over the lines, one row per video.
      int widest = 0;
      for (const Series& s : series_) widest = std::max(widest, Canvas::textWidth(s.label));
      int x = right - widest - 60;
      canvas.fill(x - 8, top + 2, right - 4, top + 10 + 22 * static_cast<int>(series_.size()), {255, 255, 255});
      for (size_t i = 0; i < series_.size(); ++i) {
        int y = top + 8 + static_cast<int>(i) * 22;
        canvas.line(x, y + 6, x + 30, y + 6, kPalette[i % std::size(kPalette)]);
        canvas.text(x + 40, y, series_[i].label, kInk);
      }
    }
  }
  if (!canvas.save(path)) {
    std::fprintf(stderr, "%s: cannot write the plot\n", path.c_str());
    return false;
  }
  return true;
}

}  // namespace nudora::quality

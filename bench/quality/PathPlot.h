#pragma once
// Draws measured camera paths into a PNG: one panel for the horizontal
// path, one for the vertical, time along the bottom, one coloured line per
// video and a legend. Plain rasterising with stb_easy_font for the text and
// stb_image_write for the file, so it needs no plotting package.

#include <string>
#include <vector>

namespace nudora::quality {

class PathPlot {
 public:
  PathPlot(int width = 1200, int height = 800) : width_(width), height_(height) {}

  // A video's path, one point per frame, in pixels.
  void add(const std::string& label, std::vector<double> x, std::vector<double> y);
  // False, with the reason on standard error, when the file cannot be
  // written or there is nothing to draw.
  bool write(const std::string& path, double fps, const std::string& title) const;

 private:
  struct Series {
    std::string label;
    std::vector<double> x;
    std::vector<double> y;
  };
  int width_;
  int height_;
  std::vector<Series> series_;
};

}  // namespace nudora::quality

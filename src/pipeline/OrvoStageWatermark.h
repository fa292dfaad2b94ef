#pragma once
// Blends a host-supplied picture (typically a logo with alpha) over the
// finished output: at a margin of 5% of the output's longer side from a
// corner, scaled with the output size, turned with the frame's orientation
// and mirrored with the camera.
//
// The picture is padded to a render size (see renderSizeOfSize) with the
// picture at the top-left and transparent elsewhere, uploaded premultiplied
// on the next draw, and only the picture's part of it is sampled. The
// arithmetic (scale, margin, render size, corner table) is in static
// functions that need no GL context.
//
// Thread rules: setupGL, processTex and the destructor run with the owner's
// context current (the processing queue); setWatermarkImage and the plain
// properties touch no GL and may be called on that queue at any time. The
// stage owns its program and texture; the output texture and framebuffer
// stay the caller's.

#include <GLES3/gl3.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "platform/Geometry.h"

namespace nudora {

class Image;

class OrvoStageWatermark {
 public:
  using Vertices = std::array<GLfloat, 8>;

  OrvoStageWatermark() = default;
  ~OrvoStageWatermark();
  OrvoStageWatermark(const OrvoStageWatermark&) = delete;
  OrvoStageWatermark& operator=(const OrvoStageWatermark&) = delete;

  // Switches the stage on and loads its program; false when the program
  // does not build (the loader has printed why).
  bool setupGL();

  // The picture to draw, or nullptr for none. An empty picture is refused
  // with a console line and the previous one kept.
  void setWatermarkImage(const std::shared_ptr<Image>& image);

  // On only when switched on and a picture is set.
  bool enabled() const { return enabled_ && texImage_ != nullptr; }
  void setEnabled(bool enabled) { enabled_ = enabled; }

  // Each side truncated, then the width raised to at least 256 and to a
  // multiple of 32, the height to at least 128 and a multiple of 32.
  static OrvoSize renderSizeOfSize(OrvoSize size);
  // The picture padded to its render size (itself when already that size).
  static std::shared_ptr<Image> generateTextureImage(const std::shared_ptr<Image>& image);

  // Size factor for an output: the larger of height / 1080 and the whole
  // number of 1920s in the width. The truncating width term is kept on
  // purpose: widths under 1920 never raise the scale.
  static double scaleForOutput(int32_t width, int32_t height);
  // Margin from the corner on both axes: 5% of the longer side.
  static double marginForOutput(int32_t width, int32_t height);
  // Clip-space quad (strip order) for the rectangle x0..x1, y0..y1 in output
  // pixels. nullopt for orientations other than 1 to 4.
  static std::optional<Vertices> cornersForRect(double x0, double y0, double x1, double y1, int32_t width,
                                                int32_t height, int64_t orientation, bool mirror, bool mirrorResult);
  // Texture coordinates for the orientation (transposed for 1 and 2), scaled
  // so only the picture's part of the padded texture is sampled.
  static Vertices textureVerticesFor(int64_t orientation, OrvoSize originSize, OrvoSize texSize);

  // Sets squareVertices from displayPos and displaySize; an orientation
  // other than 1 to 4 keeps the previous vertices.
  void updateSizewithOutputWidth(int32_t width, int32_t height, int64_t orientation, bool mirror, bool mirrorResult);

  // Places and draws the watermark over `tex` (width x height) on the
  // framebuffer the caller has bound. False when off or nothing could be drawn.
  bool processTex(GLuint tex, int32_t withWidth, int32_t height, int64_t orientation, bool mirror, bool mirrorResult);

  // The padded picture as uploaded; set through setWatermarkImage.
  const std::shared_ptr<Image>& texImage() const { return texImage_; }
  // Bottom-left corner and size in output pixels; processTex recomputes both
  // from the output size before every draw.
  OrvoPoint displayPos() const { return displayPos_; }
  void setDisplayPos(OrvoPoint p) { displayPos_ = p; }
  OrvoSize displaySize() const { return displaySize_; }
  void setDisplaySize(OrvoSize s) { displaySize_ = s; }
  // The grey level the picture is drawn at: its colour is multiplied by it
  // (1 draws it as given, 0 black), its coverage is kept.
  float displaryGrey() const { return displaryGrey_; }
  void setDisplaryGrey(float grey) { displaryGrey_ = grey; }
  OrvoSize originSize() const { return originSize_; }
  OrvoSize texSize() const { return texSize_; }
  const Vertices& squareVertices() const { return watermarkSquareVertices_; }
  // The texture coordinates of the last draw.
  const Vertices& originalTextureVertices() const { return originalTextureVertices_; }
  GLuint programWatermark() const { return programWatermark_; }
  GLuint watermarkTexture() const { return watermarkTexture_; }

 private:
  bool enabled_ = false;
  std::shared_ptr<Image> texImage_;
  OrvoPoint displayPos_{0.0, 0.0};
  OrvoSize displaySize_{0.0, 0.0};
  float displaryGrey_ = 1.0f;
  OrvoSize originSize_{0.0, 0.0};
  OrvoSize texSize_{0.0, 0.0};
  GLuint programWatermark_ = 0;
  GLuint watermarkTexture_ = 0;
  bool needUpdateTexture_ = true;
  Vertices watermarkSquareVertices_{};
  Vertices originalTextureVertices_{};
};

}  // namespace nudora

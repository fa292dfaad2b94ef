#pragma once
// Turns a camera frame into a foreground mask against a coloured backdrop
// (chroma keying). Three segmentation passes compare each pixel with the
// backdrop colour: by its dominant and weakest channels (segmentByColor,
// segmentSimple) or by hue (segmentHue); two post-passes clean the mask
// (segmentGrow, segmentMedian). The result, segResultTexture, is read by the
// blue-screen compositing program of OrvoRealTimeProcessor.
//
// Mask layout (RGBA, imageWidth x imageHeight):
//   after segmentSimple / segmentByColor (grown): rgb = the local backdrop
//     colour seen around the pixel (black where no backdrop is near), a = the
//     foreground coverage (1 subject, 0 backdrop), with small holes inside
//     the subject filled;
//   after segmentHue: rgb = 0, a = 1 - how close the pixel's hue is to the
//     backdrop's (0 on the key hue, 1 away from it).
// The mask is always imageWidth x imageHeight, whatever the input's size: a
// caller that needs another size sets those properties before enabling.
//
// Thread rules: every call runs on the processing queue with the owner's
// context current and the owner's framebuffer bound; each pass leaves its
// target attached to that framebuffer. The segmentor owns its programs and
// the two mask textures and frees them in its destructor (context current).

#include <GLES3/gl3.h>

#include <cstdint>

#include "platform/Geometry.h"

namespace nudora {

class OrvoSegmentor {
 public:
  OrvoSegmentor() = default;
  ~OrvoSegmentor();
  OrvoSegmentor(const OrvoSegmentor&) = delete;
  OrvoSegmentor& operator=(const OrvoSegmentor&) = delete;

  // Loads the five programs, then makes the mask textures. False when a
  // program did not build (the loader has printed why).
  bool setupGL();
  // (Re)creates both mask textures at imageWidth x imageHeight.
  void initTexture();
  // The arguments are not used: the mask size is imageWidth x imageHeight.
  bool enable(int32_t width, int32_t height);
  void disable();

  bool segmentByColor(GLuint input, const OrvoColor& bgColor, int32_t segMode);
  bool segmentSimple(GLuint input, const OrvoColor& bgColor, float threshold);
  bool segmentHue(GLuint input, const OrvoColor& bgColor, float threshold);
  // Post-passes from segTempTexture into segResultTexture; the steps are the
  // tap spacing in texture coordinates.
  void segmentMedian(float stepX, float stepY);
  void segmentGrow(float stepX, float stepY);

  // RGB (0..1) to hue, saturation and lightness (0..1); a grey gives hue 0
  // and saturation 0, and hue stays below 1 (pure red is 0).
  static void red(float red, float green, float blue, float* toHue, float* saturation, float* lightness);
  // The backdrop's dominant and weakest channels (1 red, 2 green, 3 blue;
  // the first channel in r, g, b order wins ties), or both 0 when the
  // channels' spread is not above limit.
  static void backdropChannels(float r, float g, float b, float limit, int32_t* maxIndex, int32_t* minIndex);
  // The spread limits of the colour pass and the simple pass.
  static constexpr float kColorPassLimit = 0.15f;
  static constexpr float kSimplePassLimit = 0.1f;

  GLuint getSegResultTexture() const { return segResultTexture_; }
  GLuint segResultTexture() const { return segResultTexture_; }
  GLuint segTempTexture() const { return segTempTexture_; }
  bool enabled() const { return enabled_; }
  int32_t segmentMode() const { return segmentMode_; }
  void setSegmentMode(int32_t v) { segmentMode_ = v; }
  int32_t frameBufLen() const { return frameBufLen_; }
  void setFrameBufLen(int32_t v) { frameBufLen_ = v; }
  int32_t frameNum() const { return frameNum_; }
  void setFrameNum(int32_t v) { frameNum_ = v; }
  int32_t imageWidth() const { return imageWidth_; }
  void setImageWidth(int32_t v) { imageWidth_ = v; }
  int32_t imageHeight() const { return imageHeight_; }
  void setImageHeight(int32_t v) { imageHeight_ = v; }
  GLuint programSegmentByColor() const { return programSegmentByColor_; }
  GLuint programSegmentSimple() const { return programSegmentSimple_; }
  GLuint programSegmentHue() const { return programSegmentHue_; }
  GLuint programSegmentMedian() const { return programSegmentMedian_; }
  GLuint programSegmentGrow() const { return programSegmentGrow_; }

 private:
  // Binds from on unit 0, attaches to, clears, and selects program with
  // `original` = 0; the caller sets its uniforms and calls draw().
  void beginPass(GLuint program, GLuint from, GLuint to) const;
  void draw() const;

  bool enabled_ = false;
  int32_t segmentMode_ = 1;
  int32_t frameBufLen_ = 1;
  int32_t frameNum_ = 0;
  int32_t imageWidth_ = 1440;
  int32_t imageHeight_ = 810;
  GLuint segResultTexture_ = 0;
  GLuint segTempTexture_ = 0;
  GLuint programSegmentByColor_ = 0;
  GLuint programSegmentSimple_ = 0;
  GLuint programSegmentHue_ = 0;
  GLuint programSegmentMedian_ = 0;
  GLuint programSegmentGrow_ = 0;
  // Declared by the design beside the others; never loaded.
  GLuint programMedianFilter_ = 0;
};

}  // namespace nudora

#pragma once
// The video seen through a wet window pane: drops and the trails they left
// running down refract the sharp picture, the dry glass around them is
// fogged (a blurred copy of the picture), and a sun glints on the water.
//
// A 1024 x 1024 height map is built once on the CPU at construction
// (initHeightImage): flat glass is 128.0, trails 127.0, drops rise above
// 128. It is tiled over the frame on the GPU (1 / scale tiles across the
// frame's longer side), turned upright for the device orientation, and made
// into a per-pixel displacement texture (RGBA16I: x, y offset in output
// pixels, z sun highlight and w water coverage, both in 1/1024). That
// texture is cached for the frame size and direction; each frame then costs
// one full-screen draw. Needs an OpenGL ES 3 context (integer textures).
//
// Thread rules: the constructor does the CPU work on the creating thread and
// touches no GL. setupGL, process, genDisplacementTextureWithWidth, disable
// and the destructor run with the owner's context current (the processing
// queue). The effect owns its three programs and three textures; the input,
// blurred and output textures and the framebuffer stay the caller's.

#include <GLES3/gl3.h>

#include <cstdint>
#include <vector>

#include "effects/EffectRandom.h"

namespace nudora {

class OrvoEffectWaterPane {
 public:
  static constexpr int kMapSide = 1024;
  static constexpr int kMapCells = kMapSide * kMapSide;
  // Height of dry glass and of a trail's bed.
  static constexpr float kFlat = 128.0f;
  static constexpr float kTrail = 127.0f;

  // The defaults, then initHeightImage with the effect's own generator.
  OrvoEffectWaterPane();
  ~OrvoEffectWaterPane();
  OrvoEffectWaterPane(const OrvoEffectWaterPane&) = delete;
  OrvoEffectWaterPane& operator=(const OrvoEffectWaterPane&) = delete;

  // Loads the three programs and makes the two height textures. False (with
  // a console line) on an ES 2 context or when a program does not build.
  bool setupGL();

  bool enabled() const { return enabled_; }
  // Switches the effect on; always true.
  bool enable();
  // Switches it off and drops the displacement texture, so the next frame
  // rebuilds it (with the light and refraction settings of that time).
  void disable();

  // Draws the pane over `input` (and its level-1 blur `andBlurredTex`, which
  // already carries the digital zoom) into `intoGLBuffer`, attached to the
  // framebuffer the caller has bound, at withWidth x andHeight. `zoom` is the
  // digital zoom, applied to the sharp picture about the centre. Direction
  // is the orientation 1..4; mirroring exchanges 3 and 4. Uses texture units
  // 0..3 and leaves unit 0 active. False when switched off (nothing drawn)
  // or when the arguments or GL state do not allow a draw (console line).
  bool process(GLuint input, GLuint andBlurredTex, int32_t withWidth, int32_t andHeight, GLuint intoGLBuffer,
               bool withMirror, int64_t direction, float zoom);

  // (Re)makes the displacement texture for a w x h frame in that direction
  // unless it was made for exactly those; draws into it through the bound
  // framebuffer, leaving it attached. Uses units 2 and 3.
  void genDisplacementTextureWithWidth(int32_t w, int32_t andHeight, int64_t andDirection);

  // Builds heightImage, heightByte and heightByte2 from `amount`: trails,
  // drops, smoothing, gravityFilter(5), then the byte maps. The overload
  // draws from `random` instead of the effect's generator (for tests).
  void initHeightImage();
  void initHeightImage(const EffectRandom::Source& random);
  // Replaces heightByte by the resource "waterpane_heightmap.png" (scaled
  // to 1024 x 1024 if needed, grey, each byte divided by 4). False with a
  // console line when the image cannot be read; heightByte is then kept.
  bool loadHeightImage();
  // Separable 5-tap binomial blur of heightImage, wrapping around.
  void gaussianFilter();
  // Water runs down: every cell that is not exactly 128.0 becomes the mean
  // of itself and the n - 1 cells above it. n below 1 is refused.
  void gravityFilter(int n);

  // The construction steps on any 1024 x 1024 map (row-major, rows first,
  // wrapping), for tests and tools. addTrails answers how many trails it
  // laid, addDrops how many drops it placed.
  static int addTrails(std::vector<float>& map, float amount, const EffectRandom::Source& random);
  static int addDrops(std::vector<float>& map, float amount, const EffectRandom::Source& random);
  // Each cell the 1 / ((|dx| + 1)(|dy| + 1)) weighted mean of its 5 x 5 block.
  static void smoothHeights(std::vector<float>& map);
  // The direction the passes receive: 3 and 4 exchange when mirrored.
  static int64_t directionForMirror(int64_t direction, bool mirror);

  // Replaces heightImage (for tests and tools); false with a console line
  // unless it has exactly kMapCells values.
  bool setHeightImage(const std::vector<float>& heights);
  const std::vector<float>& heightImage() const { return heightImage_; }
  const std::vector<float>& heightImage2() const { return heightImage2_; }
  const std::vector<uint8_t>& heightByte() const { return heightByte_; }
  const std::vector<uint8_t>& heightByte2() const { return heightByte2_; }

  float amount() const { return amount_; }
  void setAmount(float v) { amount_ = v; }
  float size() const { return size_; }
  void setSize(float v) { size_ = v; }
  float thickness() const { return thickness_; }
  void setThickness(float v) { thickness_ = v; }
  float refraction() const { return refraction_; }
  void setRefraction(float v) { refraction_ = v; }
  float scale() const { return scale_; }
  void setScale(float v) { scale_ = v; }
  float sunlight_angle_xy() const { return sunlight_angle_xy_; }
  void setSunlight_angle_xy(float v) { sunlight_angle_xy_ = v; }
  float sunlight_angle_z() const { return sunlight_angle_z_; }
  void setSunlight_angle_z(float v) { sunlight_angle_z_ = v; }
  float sunlight_luminance() const { return sunlight_luminance_; }
  void setSunlight_luminance(float v) { sunlight_luminance_ = v; }

  GLuint program() const { return program_; }
  GLuint programDisplacementGen() const { return programDisplacementGen_; }
  GLuint programDisplacement() const { return programDisplacement_; }
  GLuint heightTex() const { return heightTex_; }
  GLuint heightTex2() const { return heightTex2_; }
  GLuint displacementTex() const { return displacementTex_; }
  int32_t displacementWidth() const { return displacementWidth_; }
  int32_t displacementHeight() const { return displacementHeight_; }
  int64_t displacementDirection() const { return displacementDirection_; }
  // How many times the displacement texture has been drawn (cache misses).
  int displacementGenerations() const { return displacementGenerations_; }

 private:
  bool enabled_ = false;
  float amount_ = 0.25f;
  float size_ = 0.0f;
  float thickness_ = 0.5f;
  float refraction_ = 0.4f;
  float scale_ = 0.7f;
  float sunlight_angle_xy_ = 0.7853982f;
  float sunlight_angle_z_ = 0.7853982f;
  float sunlight_luminance_ = 0.25f;

  EffectRandom random_;
  std::vector<float> heightImage_;
  std::vector<float> heightImage2_;
  std::vector<uint8_t> heightByte_;
  std::vector<uint8_t> heightByte2_;

  GLuint program_ = 0;
  GLuint programDisplacementGen_ = 0;
  GLuint programDisplacement_ = 0;
  GLuint heightTex_ = 0;
  GLuint heightTex2_ = 0;
  GLuint displacementTex_ = 0;
  int32_t displacementWidth_ = 0;
  int32_t displacementHeight_ = 0;
  int64_t displacementDirection_ = -1;
  int displacementGenerations_ = 0;
};

}  // namespace nudora

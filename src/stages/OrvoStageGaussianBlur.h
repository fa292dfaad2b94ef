#pragma once
// The blur pyramid: up to four progressively smaller and blurrier copies of
// a picture, each made by a horizontal then a vertical Gaussian pass. The
// filter pass samples them as gaussianLevel1..4; level 1 also carries the
// digital zoom.
//
// Each level has an intermediate texture (the horizontal pass) and a result
// texture; their sizes follow from the input size (see levelSize). Steps are
// given in units of the full input, so the kernel's reach grows from level
// to level (2, 6, 14, 32 input pixels between taps) while the textures
// shrink; levels 3 and 4 share a size and differ only in reach.
//
// Thread rules: setupGL, resizewithWidth, processLevel, freeTextures and the
// destructor run with the owner's context current (the processing queue).
// The stage owns its two programs and eight textures and frees them in its
// destructor; the source texture and the framebuffer stay the caller's.

#include <GLES3/gl3.h>

#include <array>

namespace nudora {

// Sizes and steps of one pyramid level for a given input size.
struct OrvoBlurLevelSize {
  int xWidth = 0;   // horizontal intermediate
  int xHeight = 0;
  int width = 0;    // result
  int height = 0;
  float stepPixels = 0.0f;  // distance between taps, in input pixels
};

class OrvoStageGaussianBlur {
 public:
  static constexpr int kLevelCount = 4;

  OrvoStageGaussianBlur() = default;
  ~OrvoStageGaussianBlur();
  OrvoStageGaussianBlur(const OrvoStageGaussianBlur&) = delete;
  OrvoStageGaussianBlur& operator=(const OrvoStageGaussianBlur&) = delete;

  // Level 1..4 for a width x height input (integer division, as the texture
  // sizes are whole pixels). Any other level gives all zeros.
  static OrvoBlurLevelSize levelSize(int level, int width, int height);

  // Loads both programs, replacing any loaded before. False when either
  // fails (the loader has printed why).
  bool setupGL();
  // (Re)makes the eight textures for a width x height input.
  void resizewithWidth(int width, int andHeight);
  // Runs the first `level` levels (0 does nothing, above 4 acts as 4) from
  // the texture `from` of width x height, zoomed by `zoom` about the centre
  // in level 1, on the framebuffer the caller has bound. Leaves the
  // framebuffer's colour attachment on the last result written and unit 0
  // bound to the last intermediate.
  void processLevel(int level, GLuint from, int width, int height, float zoom);
  void freeTextures();

  GLuint programGaussianX() const { return programGaussianX_; }
  GLuint programGaussianY() const { return programGaussianY_; }

  GLuint level1GaussianTexture() const { return levelTextures_[0]; }
  GLuint level2GaussianTexture() const { return levelTextures_[1]; }
  GLuint level3GaussianTexture() const { return levelTextures_[2]; }
  GLuint level4GaussianTexture() const { return levelTextures_[3]; }
  GLuint level1XGaussianTexture() const { return levelXTextures_[0]; }
  GLuint level2XGaussianTexture() const { return levelXTextures_[1]; }
  GLuint level3XGaussianTexture() const { return levelXTextures_[2]; }
  GLuint level4XGaussianTexture() const { return levelXTextures_[3]; }
  // The setters hand a texture name to the stage, which then owns it.
  void setLevel1GaussianTexture(GLuint t) { levelTextures_[0] = t; }
  void setLevel2GaussianTexture(GLuint t) { levelTextures_[1] = t; }
  void setLevel3GaussianTexture(GLuint t) { levelTextures_[2] = t; }
  void setLevel4GaussianTexture(GLuint t) { levelTextures_[3] = t; }
  void setLevel1XGaussianTexture(GLuint t) { levelXTextures_[0] = t; }
  void setLevel2XGaussianTexture(GLuint t) { levelXTextures_[1] = t; }
  void setLevel3XGaussianTexture(GLuint t) { levelXTextures_[2] = t; }
  void setLevel4XGaussianTexture(GLuint t) { levelXTextures_[3] = t; }

 private:
  GLuint programGaussianX_ = 0;
  GLuint programGaussianY_ = 0;
  std::array<GLuint, kLevelCount> levelTextures_{};
  std::array<GLuint, kLevelCount> levelXTextures_{};
};

}  // namespace nudora

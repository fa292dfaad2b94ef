#pragma once
// A closing at full size: the per-channel maximum over a 3x3 square of taps,
// then the minimum over the same square, the taps `step` pixels apart. The
// water-colour lens reads the result as its auxiliary picture; a larger step
// closes wider gaps.
//
// Thread rules: setupGL, processFromTex and the destructor run with the
// owner's context current (the processing queue). The stage owns its two
// programs; the textures and the framebuffer are the caller's.

#include <GLES3/gl3.h>

namespace nudora {

class OrvoStageMinMax {
 public:
  OrvoStageMinMax() = default;
  ~OrvoStageMinMax();
  OrvoStageMinMax(const OrvoStageMinMax&) = delete;
  OrvoStageMinMax& operator=(const OrvoStageMinMax&) = delete;

  // Loads programMax, then programMin, replacing any loaded before. False
  // when either fails (the loader has printed why).
  bool setupGL();

  // Maximum from `src` into `interMediaTex`, then minimum from there into
  // `toTex`, all withWidth x height, on the framebuffer the caller has bound.
  // `toTex` may be `src`: the intermediate separates the two passes. A step
  // of 0 samples one point and copies the source. False when nothing was
  // drawn (no programs, an empty size, or the intermediate is src or toTex).
  bool processFromTex(GLuint src, GLuint interMediaTex, GLuint toTex, int withWidth, int height, float step);

  GLuint programMax() const { return programMax_; }
  GLuint programMin() const { return programMin_; }

 private:
  GLuint programMax_ = 0;
  GLuint programMin_ = 0;
};

}  // namespace nudora

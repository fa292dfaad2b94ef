#pragma once
// Draws a picture into a target through a 2x2 transform (a turn, flip or
// shear given as qa, qb, qc, qd) plus the translation that brings the
// transformed unit square back into 0..1. When the target is larger or
// smaller than the turned picture, the sharp picture sits at its own size in
// the middle and a blurred copy, scaled to cover, fills the border.
//
// An output position p (0..1) reads the source at
//   (dot(ac, p), dot(bd, p)) + t,
// and in the resize case p is first taken to the turned picture's frame by
// zoomfit / fitTrans (sharp) or zoomfill / fillTrans (blurred background).
// All uniform values come from uniformsFor, which needs no GL context.
//
// Thread rules: setupGL, processFromTex and the destructor run with the
// owner's context current. The stage owns its two programs; textures and
// the bound framebuffer stay the caller's.

#include <GLES3/gl3.h>

#include <cstdint>

#include <glm/vec2.hpp>

namespace nudora {

struct OrvoRotateResizeUniforms {
  // Case A: qb and qc both above or both below 0. Its ac and bd negate qa
  // and qd, and its y translation takes qd itself where -qd would keep the
  // square in range; that asymmetry is kept on purpose.
  bool caseA = false;
  glm::vec2 ac{0.0f};
  glm::vec2 bd{0.0f};
  glm::vec2 t{0.0f};
  // Destination and output sizes differ: the four below are set.
  bool resize = false;
  glm::vec2 zoomfit{1.0f};
  glm::vec2 fitTrans{0.0f};
  glm::vec2 zoomfill{1.0f};
  glm::vec2 fillTrans{0.0f};
};

class OrvoStageRotateResize {
 public:
  OrvoStageRotateResize() = default;
  ~OrvoStageRotateResize();
  OrvoStageRotateResize(const OrvoStageRotateResize&) = delete;
  OrvoStageRotateResize& operator=(const OrvoStageRotateResize&) = delete;

  // Loads both programs; false when either fails (the loader has printed why).
  bool setupGL();

  // Uniforms for a destWidth x destHeight picture on an outWidth x
  // outHeight output. Sizes must be positive.
  static OrvoRotateResizeUniforms uniformsFor(int32_t destWidth, int32_t destHeight, int32_t outWidth,
                                              int32_t outHeight, float qa, float qb, float qc, float qd);

  // Draws `from` (blurred copy `blurTex`) into `toTex` on the framebuffer the
  // caller has bound. Uses texture units 0 and 1. Draws nothing, with a
  // console line, when a size is not positive or the program is missing.
  void processFromTex(GLuint from, GLuint blurTex, GLuint toTex, int32_t destWidth, int32_t destHeight,
                      int32_t outWidth, int32_t outHeight, float qa, float qb, float qc, float qd);

  GLuint programRotate() const { return programRotate_; }
  GLuint programRotateResize() const { return programRotateResize_; }

 private:
  GLuint programRotate_ = 0;
  GLuint programRotateResize_ = 0;
};

}  // namespace nudora

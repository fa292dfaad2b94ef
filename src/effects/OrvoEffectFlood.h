#pragma once
// Floods the lower part of the picture with animated water that reflects
// the scene above it.
//
// A 256 x 256 fractal height field (diamond-square) ripples under an
// explicit wave equation, one step per drawn frame, on the CPU. Each frame
// the field is uploaded as bytes into a tiled (GL_REPEAT) texture and one
// full-screen pass draws the water: the camera looks at the picture as a
// wall `scene_distance` away, standing on a water plane `water_position`
// below the eye (negative is below), so the water reaches the wall at
// waterLineFor(...) of the upright frame's height and mirrors the picture
// about that line, bent by the ripples. Needs an OpenGL ES 3 context.
//
// Thread rules: the constructor touches no GL. setupGL, process and the
// destructor run with the owner's context current (the processing queue);
// the effect owns its program and height texture, the input and output
// textures and the framebuffer stay the caller's.

#include <GLES3/gl3.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "effects/EffectRandom.h"

namespace nudora {

class OrvoEffectFlood {
 public:
  static constexpr int kFieldSide = 256;
  static constexpr int kFieldCells = kFieldSide * kFieldSide;
  // The shader's camera: rays leave the eye through (x * aspect, y, kFocal)
  // for the upright frame's x, y in -1 .. 1 (y up).
  static constexpr float kFocal = 2.0f;

  // The defaults, then initHeightImage(hcoeff) with the effect's own generator.
  OrvoEffectFlood();
  ~OrvoEffectFlood();
  OrvoEffectFlood(const OrvoEffectFlood&) = delete;
  OrvoEffectFlood& operator=(const OrvoEffectFlood&) = delete;

  // Loads the program and makes the height texture. False (with a console
  // line) on an ES 2 context or when the program does not build.
  bool setupGL();

  bool enabled() const { return enabled_; }
  // Switches the effect on; a switch-on from off starts a fresh random field
  // with the current hcoeff. The argument is not used. Always true.
  bool enable(const std::shared_ptr<void>& sender = nullptr);
  void disable() { enabled_ = false; }

  // The field from scratch (diamond-square with roughness exponent c, each
  // cell in 0 .. 1), at rest. The overload draws from `random` (for tests).
  void initHeightImage(float roughness);
  void initHeightImage(float roughness, const EffectRandom::Source& random);
  // One step of the undamped wave equation.
  void updateHeightImage();

  // Draws the flooded `input` into `intoGLBuffer`, attached to the
  // framebuffer the caller has bound, at withWidth x andHeight, then advances
  // the field. Direction is the orientation 1..4 (mirroring exchanges 3 and
  // 4). Uses texture units 0 and 1 and leaves unit 0 active. False when
  // switched off (nothing drawn) or when the arguments or GL state do not
  // allow a draw (console line).
  bool process(GLuint input, int32_t withWidth, int32_t andHeight, GLuint intoGLBuffer, bool withMirror,
               int64_t direction);

  // The upload bytes: (h + 1) x 127.5, truncated. Heights the evolution has
  // pushed outside -1 .. 1 are clamped to 0 and 255 rather than wrapped, so a
  // crest never turns into a trough on the GPU.
  static void heightBytes(const std::vector<float>& heights, std::vector<uint8_t>& bytes);
  // The direction the pass receives: 3 and 4 exchange when mirrored.
  static int64_t directionForMirror(int64_t direction, bool mirror);
  // Where the water starts, as a fraction of the upright frame's height from
  // its top (the shader's geometry); 1 or more when no water is in view.
  static float waterLineFor(float water_position, float scene_distance);

  // Replaces the heights (for tests); false with a console line unless it
  // has exactly kFieldCells values. Velocities are kept.
  bool setHeightImage(const std::vector<float>& heights);
  const std::vector<float>& heightImage() const { return heightImage_; }
  const std::vector<float>& velImage() const { return velImage_; }

  float hcoeff() const { return hcoeff_; }
  void setHcoeff(float v) { hcoeff_ = v; }
  float scene_distance() const { return scene_distance_; }
  void setScene_distance(float v) { scene_distance_ = v; }
  float water_position() const { return water_position_; }
  void setWater_position(float v) { water_position_ = v; }

  GLuint programFlood() const { return programFlood_; }
  GLuint heightTex() const { return heightTex_; }

 private:
  bool enabled_ = false;
  float hcoeff_ = 0.5f;
  float scene_distance_ = 50.0f;
  float water_position_ = -6.0f;

  EffectRandom random_;
  std::vector<float> heightImage_;
  std::vector<float> velImage_;
  std::vector<uint8_t> bytes_;

  GLuint heightTex_ = 0;
  GLuint programFlood_ = 0;
};

}  // namespace nudora

#pragma once
// The GPU stage that removes camera shake from live video.
//
// For each frame it asks the camera motion estimator for the frame's
// accumulated rotation (curQ) and its 64 rolling-shutter row-band rotations,
// optionally refines curQ by comparing the frame with a stored reference
// frame (the digital adjustment), smooths it, uploads the inverted rotations
// as four 64 x 1 lookup textures and renders the input re-projected through
// them. The output shows the central `cropping` part of the field of view;
// the margin is where the correction moves. The warp is drawn as a mesh of
// the 64 row bands: its vertices read and decode their band's rotation and
// turn the sensor point, and each pixel only projects the interpolated ray,
// which within a band is the same as evaluating the rule below per pixel.
//
// Conventions (shared with the gyro sources, the estimator and the tools):
//   * Image axes: x to the right along a buffer row, y up (towards buffer
//     row 0, the top row), z out of the picture; the camera looks along -z.
//     Gyro sources deliver device axes; the ring buffer maps them at enqueue
//     (image x = -device y, image y = device x, image z = device z).
//   * A normalised output position (u, v), u = (column + 0.5) / W,
//     v = (row + 0.5) / H, lies on the sensor plane at
//     P = ((u - 0.5) Sw, (0.5 - v) Sh, -f), with Sw, Sh the "sense_width" and
//     "sense_height" uniforms (they include `cropping` and the lens zoom).
//   * curQ is the camera's orientation relative to the stabilised reference;
//     row band k (k = 0..63, band 0 = buffer row 0, read out first) is the
//     rotation from the start of the visible readout to band k.
//   * The warp takes Q[k] = invert(curQ * rowBand[k]) with
//     k = min(63, floor(v * 64)), rotates P by it and projects back onto the
//     input sensor plane: u' = 0.5 + (f P'.x / -P'.z) / (Sw / cropping),
//     v' = 0.5 - (f P'.y / -P'.z) / (Sh / cropping). GL texture coordinate
//     v = 0 is buffer row 0.
//   * Lookup textures: one per component (x, y, z, w on units 1..4), texel k
//     for band k; a component is a 24-bit base-255 fraction in R, G, B
//     (x, y, z offset by +0.5), read back as r + g / 255 + b / 255^2.
//
// Digital adjustment: a 144 x 144 test pass scores 81 candidate corrections
// (a 9 x 9 grid of 16 x 16 blocks; block column i, row j tests
// ((i - 4) step, (j - 4) step, 0, 1) as adjustMotion would apply it) against
// the reference; a 9 x 9 diff pass sums each block into one score per
// candidate, packed as a little-endian 32-bit word: the block's summed
// absolute luminance difference in 8-bit steps times 16, rounded, in R
// (lowest byte), G and B, with alpha 0. The scores are weighted by
// (1 / (d + 1))^4 into one correction. The reference is the stabilised
// output at 960 x 540, refreshed every 30 frames and whenever smoothing
// pulled the rotation back; it starts black.
//
// Thread rules: every member runs on the thread that has the context
// current (the processing queue); the caller keeps the processing
// framebuffer bound, and every pass attaches its target as its colour
// attachment 0. The context is not owned: it must outlive the stabiliser.
// The destructor releases the GL objects (making the context current) and
// the stabiliser's share of the gyro.

#include <GLES3/gl3.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include <glm/vec2.hpp>

#include "stabilization/OrvoFrameMotion.h"
#include "stabilization/OrvoMotionSample.h"
#include "stabilization/Quaternion.h"

namespace nudora {

class EglContext;
class OrvoCameraMotionEstimator;
class SampleBuffer;

class OrvoVideoStabilizer {
 public:
  static constexpr int kLookupWidth = 64;
  static constexpr int kReferenceWidth = 960;
  static constexpr int kReferenceHeight = 540;
  static constexpr int kCandidatesPerSide = 9;
  static constexpr int kBlockSize = 16;
  static constexpr int kTestMapSide = kCandidatesPerSide * kBlockSize;  // 144
  static constexpr int kMarkerWidth = 480;
  static constexpr int kMarkerHeight = 270;
  static constexpr uint32_t kReferenceInterval = 30;
  static constexpr float kMaxShake = 0.25f;
  // Colours as little-endian words: R 255, G 63, B 0, A 127 and grey 127 throughout.
  static constexpr uint32_t kMarkerCrossColor = 0x7F003FFFu;
  static constexpr uint32_t kMarkerRectangleColor = 0x7F7F7F7Fu;

  // With the process-wide estimator.
  OrvoVideoStabilizer();
  // With an estimator of the caller's (tests, hosts with their own gyro).
  explicit OrvoVideoStabilizer(std::shared_ptr<OrvoCameraMotionEstimator> estimator);
  ~OrvoVideoStabilizer();
  OrvoVideoStabilizer(const OrvoVideoStabilizer&) = delete;
  OrvoVideoStabilizer& operator=(const OrvoVideoStabilizer&) = delete;

  // Stores the context and builds the five programs; false when one failed
  // (the loader has said why) or the context is null.
  bool setupGL(EglContext* context);

  // Starts the estimator's gyro and makes the per-session textures. False,
  // making nothing, when the estimator refuses or no context was set up.
  bool enable();
  // Frees the per-session textures and releases the gyro; nothing when off.
  void disable();

  // Renders the stabilised picture of fromGLTex (the sample's frame, its
  // size) into intoGLBuffer, a texture of the same size. False, drawing
  // nothing, when the stabiliser is off or no motion is available.
  bool process(const std::shared_ptr<SampleBuffer>& sample, bool mirror, GLuint fromGLTex, GLuint intoGLBuffer,
               float lensZoom);

  // The 480 x 270 overlay showing where the accumulated rotation points and
  // the smoothing filter's dead zone and limit; 0 when off or not asked for.
  GLuint genStabilizationMarkerTextureWithZoom(float zoom);

  // ---- CPU arithmetic, usable without a GPU ----

  // One quaternion component as base-255 digits (R, G, B). Vector parts are
  // offset by 0.5 first; the value is clamped to 0..1 so a component out of
  // range saturates instead of wrapping.
  static std::array<uint8_t, 3> encodeQuaternionComponent(float value, bool vectorPart);
  // The four 64 x 1 RGBA lookup images (x, y, z, w) for 64 band rotations.
  static std::array<std::array<uint8_t, kLookupWidth * 4>, 4> encodeLookupTextures(const glm::quat* rotations);
  // The diff-map weighting: (dx, dy) in candidate steps from 81 scores
  // (row j, column i at j * 9 + i).
  static glm::dvec2 correctionFromDiffMap(const uint32_t* diffMap);
  // A packed score from four read-back bytes (R lowest, alpha highest).
  static uint32_t scoreFromBytes(const uint8_t* rgba);
  // The peak-held shake measure after one frame at the given rotation rate.
  static float updatedShakeStrength(float shakeStrength, const OrvoRotationRate& rate);
  // Candidate spacing for a shake measure: 0.00018 at rest to 0.0007 at 0.25.
  static float testStepForShake(float shakeStrength);
  // Advances the reference timer by one frame; true when the reference is to
  // be refreshed now (and the timer restarts when it was due).
  static bool stepReferenceTimer(uint32_t* refFrameTimer, bool digitalAdjustment, bool capped);
  // Draws the marker into a zeroed 480 x 270 RGBA buffer. sensorWidth and
  // sensorHeight are the visible extent including cropping. Never writes
  // outside the buffer.
  static void drawStabilizationMarker(uint8_t* buffer, const glm::quat& currentQ, float filterL0, float filterCap,
                                      float sensorWidth, float sensorHeight, float focalLength, float zoom);

  // ---- Properties ----
  bool enabled() const { return enabled_; }
  bool digital_adjustment() const { return digital_adjustment_; }
  void setDigital_adjustment(bool v) { digital_adjustment_ = v; }
  bool precise_alignment() const { return precise_alignment_; }
  void setPrecise_alignment(bool v) { precise_alignment_ = v; }
  const std::shared_ptr<OrvoCameraMotionEstimator>& cameraMotionEstimator() const { return cameraMotionEstimator_; }
  void setCameraMotionEstimator(std::shared_ptr<OrvoCameraMotionEstimator> v) { cameraMotionEstimator_ = std::move(v); }
  float cropping() const { return cropping_; }
  void setCropping(float v) { cropping_ = v; }
  bool showMarker() const { return showMarker_; }
  void setShowMarker(bool v) { showMarker_ = v; }
  EglContext* context() const { return context_; }
  void setContext(EglContext* v) { context_ = v; }

  // State, for diagnostics and tests.
  float shakeStrength() const { return shakeStrength_; }
  uint32_t refFrameTimer() const { return refFrameTimer_; }
  const std::array<uint32_t, kCandidatesPerSide * kCandidatesPerSide>& diffMap() const { return diffMap_; }
  const std::array<GLuint, 4>& quaternionTextures() const { return quaternionTextures_; }
  GLuint lastFrameTexture() const { return lastFrameTexture_; }
  GLuint testMapTexture() const { return testMapTexture_; }
  GLuint diffMapTexture() const { return diffMapTexture_; }
  GLuint markerTex() const { return markerTex_; }
  const std::vector<uint8_t>& markerBuffer() const { return markerBuffer_; }
  GLuint programStabilizer() const { return programStabilizer_; }
  GLuint programPassThrough() const { return programPassThrough_; }
  GLuint programStabilizerTest() const { return programStabilizerTest_; }
  GLuint programStabilizerTestFine() const { return programStabilizerTestFine_; }
  GLuint programDiffMap() const { return programDiffMap_; }

 private:
  struct SensorUniforms {
    float senseWidth, senseHeight, focalLength, cropping;
  };
  void uploadLookupTextures(const glm::quat* rotations);
  void setSensorUniforms(GLuint program, const SensorUniforms& s) const;
  void runDigitalAdjustment(const SensorUniforms& s, const OrvoFrameMotion& motion, bool* capped);
  // Attaches texture as the bound framebuffer's colour attachment 0 and sets
  // the viewport to it.
  void target(GLuint texture, int width, int height) const;
  // A full-screen pass into texture.
  void drawInto(GLuint texture, int width, int height) const;

  GLuint programStabilizer_ = 0;
  GLuint programPassThrough_ = 0;
  GLuint programStabilizerTest_ = 0;
  GLuint programStabilizerTestFine_ = 0;
  GLuint programDiffMap_ = 0;
  std::array<GLuint, 4> quaternionTextures_{};
  GLuint lastFrameTexture_ = 0;
  GLuint testMapTexture_ = 0;
  GLuint diffMapTexture_ = 0;
  std::array<uint32_t, kCandidatesPerSide * kCandidatesPerSide> diffMap_{};
  float shakeStrength_ = 0.0f;
  uint32_t refFrameTimer_ = 0;
  std::vector<uint8_t> markerBuffer_;
  GLuint markerTex_ = 0;

  bool enabled_ = false;
  bool digital_adjustment_ = true;
  bool precise_alignment_ = false;
  std::shared_ptr<OrvoCameraMotionEstimator> cameraMotionEstimator_;
  float cropping_ = 0.85f;
  bool showMarker_ = false;
  EglContext* context_ = nullptr;
};

}  // namespace nudora

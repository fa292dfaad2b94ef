#pragma once
// Temporal noise reduction of live video: each frame is blended with up to
// seven earlier frames, every one shifted by the camera motion the gyro
// measured since, so that the noise averages out while the picture stays.
//
// The stage keeps a ring of the last eight input frames as textures
// (bufTex), a ring of eight image-plane shifts (motion: entry k belongs to
// the frame in bufTex[k], the motion from its previous frame to it) and a
// ring of eight frame durations that picks one of three shader variants:
// when the frames come slower than every 37 ms on average the blend gets
// cheaper, below 36 ms it gets dearer again (one level per frame; the 1 ms
// band between the two keeps it from flickering between levels).
//
// Per frame: one of the two motion setters (setMotion with a rotation the
// caller has, estimateMotion to ask the estimator), then process. The
// setters write the slot that process is about to fill.
//
// Shifts are in texture-coordinate units (fractions of the frame). The
// rotation q of a frame turns its camera's axes into the previous frame's
// (the estimator's rotation since the previous frame). The conversion (see
// motionFromRotation) negates x and keeps y on purpose: the result is the
// way the picture content moved between the frames in texture coordinates
// (u right, v down the rows), and the shaders fetch history at the pixel's
// position minus the accumulated shift. Roll (about the view axis) and the
// rolling shutter's skew are not in a shift; the blend's rejection of
// history that does not match covers what they leave misaligned.
//
// Shader contract (fshTDDenoising, fshTDDenoisingD1, fshTDDenoisingD2, all
// with vshPassThrough): "original" (unit 0) is the current frame, "input0"
// .. "input6" (units 1..7) the history from newest to oldest, "motion0" ..
// "motion6" their accumulated shifts, "inv_threshold2" the reciprocal of the
// squared difference that counts as a change, "step_x"/"step_y" two thirds
// of a texel (four diagonal bilinear taps there give the 3 x 3 box mean),
// "blurriness" 0..1 (fast turns: less history). The levels differ in how
// many history frames (7, 4, 2) and current-frame taps (4, 4, 2) they read;
// resources/shaders/prelude/td_denoising.glsl has the blend.
//
// Thread rules: everything runs on the thread that has the processing
// context current (the processing queue); the caller keeps its framebuffer
// bound, and both passes attach their target as its colour attachment 0
// (the output texture stays attached). The stage owns its four programs and
// eight history textures and frees them in its destructor; GL objects are
// only freed when a context is current then (the gyro share is always
// handed back).

#include <GLES3/gl3.h>

#include <array>
#include <functional>
#include <memory>

#include <glm/vec2.hpp>

#include "stabilization/OrvoMotionSample.h"
#include "stabilization/Quaternion.h"

namespace nudora {

class OrvoCameraMotionEstimator;
class SampleBuffer;

class OrvoTimeDomainDenoising {
 public:
  static constexpr int kRingSize = 8;
  static constexpr int kHistoryInputs = 7;
  static constexpr int kLevels = 3;
  // Quality adaptation: average frame time above which the blend gets
  // cheaper, and below which it gets dearer again (seconds).
  static constexpr float kSlowFrameTime = 0.037f;
  static constexpr float kFastFrameTime = 0.036f;
  // The frame time every slot of the ring starts from at enable.
  static constexpr float kInitialFrameTime = 0.033f;

  // Seconds on the uptime clock; injectable so that the quality adaptation
  // can be driven without waiting.
  using Uptime = std::function<double()>;

  // One history input of the blend: the ring slot it reads (kCurrentFrame:
  // the frame being processed) and its accumulated shift.
  static constexpr int kCurrentFrame = -1;
  struct HistoryInput {
    int slot = kCurrentFrame;
    glm::vec2 shift{0.0f, 0.0f};
  };

  // With the process-wide estimator and Clock::uptime.
  OrvoTimeDomainDenoising();
  // With an estimator of the caller's (null: none; then no gyro, enable
  // fails) and a clock (null: Clock::uptime).
  OrvoTimeDomainDenoising(std::shared_ptr<OrvoCameraMotionEstimator> estimator, Uptime uptime);
  ~OrvoTimeDomainDenoising();
  OrvoTimeDomainDenoising(const OrvoTimeDomainDenoising&) = delete;
  OrvoTimeDomainDenoising& operator=(const OrvoTimeDomainDenoising&) = delete;

  // Builds the four programs (the context must be current) and drops the
  // history so that the ring is rebuilt on the next frame. False when a
  // program did not build (the loader has printed why).
  bool setupGL();

  // Starts the estimator's gyro and resets the frame-time statistics; true
  // at once when already on, false (staying off) when the gyro cannot run.
  bool enable();
  // Releases the gyro and frees the history; nothing when off.
  void disable();

  // This frame's shift from the estimator: its rotation since the previous
  // frame, after which the estimator's rotation is reset. A zero shift when
  // the estimator has no motion. fromGLTex is not used.
  void estimateMotion(const std::shared_ptr<SampleBuffer>& sample, GLuint fromGLTex, bool mirror, float lensZoom);
  // This frame's shift from a rotation of the caller's (the stabiliser's
  // deducted rotation); the estimator only lends its camera optics.
  void setMotion(const glm::quat& rotation, float lensZoom);

  // Stores input (width x height) in the ring and renders the denoised frame
  // into intoGLBuffer, a texture of the same size. False, touching no GL
  // state, when off (or, with a console line, for a size that is not
  // positive). Uses texture units 0..7.
  bool process(GLuint input, int32_t withWidth, int32_t andHeight, GLuint intoGLBuffer);

  // The quality adaptation process runs after each frame: records the time
  // since the previous frame and moves the level by at most one. Forces
  // level 0 when autoDegrade is off.
  void adaptQuality();

  // ---- CPU arithmetic, usable without a GPU ----

  // The shift of a rotation q between two frames, for a visible sensor
  // extent (sensorWidth x sensorHeight, zoom and crop included) and focal
  // length in the same unit: r = q (0, 0, -1) q^-1, shift =
  // (-r.x / -r.z * f / sw, r.y / -r.z * f / sh).
  static glm::vec2 motionFromRotation(const glm::quat& q, float sensorWidth, float sensorHeight, float focalLength);
  // 0..1 from the rotation rate: |(x, y)| clamped to 0.2 rad/s, times 5; z
  // (a roll smears the picture much less at the centre) is ignored.
  static float blurrinessForRotationRate(const OrvoRotationRate& rate);
  // The seven history inputs of a frame written into slot wrPos with numTex
  // valid frames before it: input i reads slot wrPos - 1 - i (wrapping) with
  // the sum of the shifts of the frames after it, or the current frame at
  // zero shift where the history is shorter.
  static std::array<HistoryInput, kHistoryInputs> historyInputs(const std::array<glm::vec2, kRingSize>& motion,
                                                                int wrPos, int numTex);

  // ---- Properties ----
  bool enabled() const { return enabled_; }
  bool autoDegrade() const { return autoDegrade_; }
  void setAutoDegrade(bool v) { autoDegrade_ = v; }
  const std::shared_ptr<OrvoCameraMotionEstimator>& cameraMotionEstimator() const { return cameraMotionEstimator_; }
  void setCameraMotionEstimator(std::shared_ptr<OrvoCameraMotionEstimator> v) { cameraMotionEstimator_ = std::move(v); }

  // State, for diagnostics and tests.
  int degrade() const { return degrade_; }
  int wrPos() const { return wrPos_; }
  int numTex() const { return numTex_; }
  int curWidth() const { return curWidth_; }
  int curHeight() const { return curHeight_; }
  const std::array<glm::vec2, kRingSize>& motion() const { return motion_; }
  const std::array<GLuint, kRingSize>& bufTex() const { return bufTex_; }
  const std::array<GLuint, kLevels>& programTDDenoising() const { return programTDDenoising_; }
  GLuint programPassThrough() const { return programPassThrough_; }

 private:
  void deleteHistory();
  float currentBlurriness() const;

  bool enabled_ = false;
  bool autoDegrade_ = true;
  std::shared_ptr<OrvoCameraMotionEstimator> cameraMotionEstimator_;
  Uptime uptime_;

  std::array<GLuint, kLevels> programTDDenoising_{};
  GLuint programPassThrough_ = 0;
  int curWidth_ = 0;
  int curHeight_ = 0;
  std::array<GLuint, kRingSize> bufTex_{};
  std::array<glm::vec2, kRingSize> motion_{};
  int wrPos_ = 0;
  int numTex_ = 0;
  int degrade_ = 0;
  double lastFrameTs_ = 0.0;
  std::array<float, kRingSize> frameTimeSeq_{};
  int frameTimeWrPos_ = 0;
};

}  // namespace nudora

#pragma once
// Warps each frame of a burst onto the burst's reference frame, so that the
// multi-frame synthesis can add the frames up.
//
// The rotation is the shared camera motion estimator's accumulated rotation
// (curQ), reset at each new reference and advanced by the gyro (one rotation
// per frame, no rolling-shutter bands). The image comparison then refines it
// as the video stabiliser does, with a larger grid and a fixed step: a
// 352 x 352 test pass scores 121 candidate corrections (an 11 x 11 grid of
// 32 x 32 blocks; block column i, row j tests ((i - 5) 0.00036,
// (j - 5) 0.00036, 0, 1) as adjustMotion applies it) against the stored
// 1632 x 1224 reference, an 11 x 11 diff pass packs one score per candidate
// (a little-endian word, lower is better, alpha 0), and the scores are
// weighted by (100000 / (d + 1))^4 into one correction, applied without any
// limit check. The warp then renders the frame through invert(curQ). Its
// geometry is the stabiliser's (see OrvoVideoStabilizer.h) with a single
// rotation for the whole frame.
//
// Without a running gyro the estimator leaves curQ alone, so each frame's
// search starts from the rotation the previous frame ended with (identity
// after updateReference). A caller that knows a better start (a coarse
// image measurement) sets curQ on the estimator before process.
//
// Thread rules: every member runs on the one thread that calls the burst;
// the context is not owned and must outlive the aligner, and the caller
// keeps a framebuffer bound, whose colour attachment 0 every pass takes.
// With useGyro, enable waits for the gyro's first reading, which the motion
// manager delivers on its own thread. The destructor frees the GL objects
// (making the context current).

#include <GLES3/gl3.h>

#include <array>
#include <cstdint>
#include <memory>

#include <glm/vec2.hpp>

#include "stabilization/Quaternion.h"

namespace nudora {

class EglContext;
class OrvoCameraMotionEstimator;
class SampleBuffer;

class OrvoFrameAligner {
 public:
  static constexpr int kReferenceWidth = 1632;
  static constexpr int kReferenceHeight = 1224;
  static constexpr int kCandidatesPerSide = 11;
  static constexpr int kBlockSize = 32;
  static constexpr int kTestMapSide = kCandidatesPerSide * kBlockSize;  // 352
  static constexpr float kTestStep = 0.00036f;
  // How long enable waits for the first gyro reading before it gives up.
  static constexpr double kGyroWaitSeconds = 2.0;

  // With the process-wide estimator.
  OrvoFrameAligner();
  // With an estimator of the caller's (tests, hosts with their own gyro).
  explicit OrvoFrameAligner(std::shared_ptr<OrvoCameraMotionEstimator> estimator);
  ~OrvoFrameAligner();
  OrvoFrameAligner(const OrvoFrameAligner&) = delete;
  OrvoFrameAligner& operator=(const OrvoFrameAligner&) = delete;

  // Stores the context and builds the four programs; false when one failed
  // (the loader has said why) or the context is null.
  bool setupGL(EglContext* context);

  // With useGyro, starts the estimator's gyro and waits (at most
  // kGyroWaitSeconds) for its first reading: false, with the gyro share
  // handed back, when it does not come; false when the estimator refuses.
  // Then makes the reference, test-map and diff-map textures (again, when
  // already enabled). False without a context.
  bool enable();
  // Releases the estimator's gyro when the estimator runs (whether or not
  // this aligner started it) and frees the three textures.
  void disable();

  // Advances the estimator's rotation to the sample's frame; then, when
  // intoGLBuffer names a texture and the aligner is enabled, refines the
  // rotation against the reference (digitalAdjustment) and renders
  // fromGLTex, the sample's frame, warped onto the reference into
  // intoGLBuffer, a texture of the frame's size. An output of 0 only
  // advances the rotation.
  void process(const std::shared_ptr<SampleBuffer>& sample, bool mirror, GLuint fromGLTex, GLuint intoGLBuffer,
               float lensZoom);
  // Resets the estimator's rotation; with digitalAdjustment also copies the
  // texture (scaled) into the reference.
  void updateReference(GLuint texture);

  // ---- CPU arithmetic, usable without a GPU ----

  // The diff-map weighting: (sx / sum, sy / sum) in candidate steps from 121
  // scores (row j, column i at j * 11 + i), w = (100000 / (d + 1))^4.
  static glm::vec2 correctionFromDiffMap(const int32_t* diffMap);
  // A score from four read-back bytes (R lowest, alpha highest), signed.
  static int32_t scoreFromBytes(const uint8_t* rgba);

  // ---- Properties ----
  bool enabled() const { return enabled_; }
  bool useGyro() const { return useGyro_; }
  void setUseGyro(bool v) { useGyro_ = v; }
  bool digitalAdjustment() const { return digitalAdjustment_; }
  void setDigitalAdjustment(bool v) { digitalAdjustment_ = v; }
  const std::shared_ptr<OrvoCameraMotionEstimator>& cameraMotionEstimator() const { return cameraMotionEstimator_; }
  void setCameraMotionEstimator(std::shared_ptr<OrvoCameraMotionEstimator> v) { cameraMotionEstimator_ = std::move(v); }
  float cropping() const { return cropping_; }
  void setCropping(float v) { cropping_ = v; }
  EglContext* context() const { return context_; }
  void setContext(EglContext* v) { context_ = v; }

  // State, for diagnostics and tests.
  const std::array<int32_t, kCandidatesPerSide * kCandidatesPerSide>& diffMap() const { return diffMap_; }
  GLuint refFrameTexture() const { return refFrameTexture_; }
  GLuint testMapTexture() const { return testMapTexture_; }
  GLuint diffMapTexture() const { return diffMapTexture_; }

 private:
  struct SensorUniforms {
    float senseWidth, senseHeight, focalLength, cropping;
  };
  void setSensorUniforms(GLuint program, const SensorUniforms& s) const;
  // Scores the candidates around q0 and applies the weighted correction.
  void runDigitalAdjustment(const SensorUniforms& s, const glm::quat& q0);
  bool waitForGyro() const;
  void deleteTextures();

  GLuint programAligner_ = 0;
  GLuint programPassThrough_ = 0;
  GLuint programAlignerTest_ = 0;
  GLuint programDiffMap_ = 0;
  GLuint refFrameTexture_ = 0;
  GLuint testMapTexture_ = 0;
  GLuint diffMapTexture_ = 0;
  std::array<int32_t, kCandidatesPerSide * kCandidatesPerSide> diffMap_{};

  bool enabled_ = false;
  bool useGyro_ = false;
  bool digitalAdjustment_ = true;
  std::shared_ptr<OrvoCameraMotionEstimator> cameraMotionEstimator_;
  float cropping_ = 1.0f;
  EglContext* context_ = nullptr;
};

}  // namespace nudora

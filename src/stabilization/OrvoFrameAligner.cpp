#include "stabilization/OrvoFrameAligner.h"

#include <chrono>
#include <cmath>
#include <thread>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/EglContext.h"
#include "platform/SampleBuffer.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoFrameMotion.h"

namespace nudora {
namespace {

constexpr int kCandidates = OrvoFrameAligner::kCandidatesPerSide * OrvoFrameAligner::kCandidatesPerSide;
constexpr int kCentreCandidate = OrvoFrameAligner::kCandidatesPerSide / 2;
// The reference (test pass) or the test map (diff pass) sits on unit 5.
constexpr GLint kReferenceUnit = 5;
constexpr float kWeightScale = 100000.0f;

GLint uniform(GLuint program, const char* name) { return glGetUniformLocation(program, name); }

void makeTexture(GLuint* texture, int width, int height, GLint filter) {
  glGenTextures(1, texture);
  glBindTexture(GL_TEXTURE_2D, *texture);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void drawInto(GLuint texture, int width, int height) {
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  glViewport(0, 0, width, height);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
}

void bindUnit(GLint unit, GLuint texture) {
  glActiveTexture(GL_TEXTURE0 + unit);
  glBindTexture(GL_TEXTURE_2D, texture);
  glActiveTexture(GL_TEXTURE0);
}

}  // namespace

// ---- CPU arithmetic ----

int32_t OrvoFrameAligner::scoreFromBytes(const uint8_t* rgba) {
  const uint32_t word = static_cast<uint32_t>(rgba[0]) | static_cast<uint32_t>(rgba[1]) << 8 |
                        static_cast<uint32_t>(rgba[2]) << 16 | static_cast<uint32_t>(rgba[3]) << 24;
  return static_cast<int32_t>(word);
}

glm::vec2 OrvoFrameAligner::correctionFromDiffMap(const int32_t* diffMap) {
  double column[kCandidatesPerSide] = {}, row[kCandidatesPerSide] = {}, sum = 0.0;
  for (int j = 0; j < kCandidatesPerSide; ++j) {
    for (int i = 0; i < kCandidatesPerSide; ++i) {
      // The weight in single precision; a score of 0 weighs 1e20, far from
      // the float range's end, and any positive score stays above zero.
      const float base = kWeightScale / (static_cast<float>(diffMap[j * kCandidatesPerSide + i]) + 1.0f);
      const float w = (base * base) * (base * base);
      column[i] += w;
      row[j] += w;
      sum += w;
    }
  }
  // Offsets summed in mirrored pairs: equal scores give exactly zero.
  double sx = 0.0, sy = 0.0;
  for (int d = kCentreCandidate; d >= 1; --d) {
    sx += d * (column[kCentreCandidate + d] - column[kCentreCandidate - d]);
    sy += d * (row[kCentreCandidate + d] - row[kCentreCandidate - d]);
  }
  return {static_cast<float>(sx / sum), static_cast<float>(sy / sum)};
}

// ---- Lifecycle ----

OrvoFrameAligner::OrvoFrameAligner() : OrvoFrameAligner(OrvoCameraMotionEstimator::sharedInstance()) {}

OrvoFrameAligner::OrvoFrameAligner(std::shared_ptr<OrvoCameraMotionEstimator> estimator)
    : cameraMotionEstimator_(std::move(estimator)) {}

OrvoFrameAligner::~OrvoFrameAligner() {
  // Only a share this aligner took is handed back here; disable() itself
  // releases the estimator whoever started it.
  if (enabled_) disable();
  if (!context_ || !context_->makeCurrent()) return;
  OrvoProcessHelpers::deleteProgram(&programAligner_);
  OrvoProcessHelpers::deleteProgram(&programPassThrough_);
  OrvoProcessHelpers::deleteProgram(&programAlignerTest_);
  OrvoProcessHelpers::deleteProgram(&programDiffMap_);
}

bool OrvoFrameAligner::setupGL(EglContext* context) {
  context_ = context;
  if (!context_ || !context_->makeCurrent()) {
    consoleLogLevel(kConsoleError, "OrvoFrameAligner: setupGL without a usable context");
    return false;
  }
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshFrameAligner, &programAligner_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshPassThrough, &programPassThrough_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshAlignerTest, &programAlignerTest_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshDiffMapLarge, &programDiffMap_);
  return programAligner_ && programPassThrough_ && programAlignerTest_ && programDiffMap_;
}

bool OrvoFrameAligner::waitForGyro() const {
  // The readings arrive on the motion manager's delivery thread; polling
  // every millisecond costs nothing next to a burst and returns within a
  // millisecond of the first one.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(kGyroWaitSeconds);
  while (!cameraMotionEstimator_->hasValidGyroData()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

bool OrvoFrameAligner::enable() {
  if (!context_ || !cameraMotionEstimator_) return false;
  if (useGyro_) {
    if (!cameraMotionEstimator_->enable()) return false;
    if (!waitForGyro()) {
      consoleLog("OrvoFrameAligner: no gyro reading within %.1f s", kGyroWaitSeconds);
      cameraMotionEstimator_->disable();
      return false;
    }
  }
  context_->makeCurrent();
  deleteTextures();  // enabling twice remakes them rather than leaking the first ones
  makeTexture(&refFrameTexture_, kReferenceWidth, kReferenceHeight, GL_LINEAR);
  makeTexture(&testMapTexture_, kTestMapSide, kTestMapSide, GL_NEAREST);
  makeTexture(&diffMapTexture_, kCandidatesPerSide, kCandidatesPerSide, GL_NEAREST);
  glBindTexture(GL_TEXTURE_2D, 0);
  enabled_ = true;
  return true;
}

void OrvoFrameAligner::deleteTextures() {
  for (GLuint* t : {&refFrameTexture_, &testMapTexture_, &diffMapTexture_}) {
    if (*t != 0) glDeleteTextures(1, t);
    *t = 0;
  }
}

void OrvoFrameAligner::disable() {
  if (cameraMotionEstimator_ && cameraMotionEstimator_->enabled()) cameraMotionEstimator_->disable();
  if (context_ && context_->makeCurrent()) deleteTextures();
  refFrameTexture_ = testMapTexture_ = diffMapTexture_ = 0;
  enabled_ = false;
}

// ---- Passes ----

void OrvoFrameAligner::updateReference(GLuint texture) {
  if (cameraMotionEstimator_) cameraMotionEstimator_->resetRotation();
  if (!digitalAdjustment_ || !enabled_ || !context_ || !context_->makeCurrent()) return;
  glUseProgram(programPassThrough_);
  glUniform1i(uniform(programPassThrough_, "original"), 0);
  bindUnit(0, texture);
  drawInto(refFrameTexture_, kReferenceWidth, kReferenceHeight);
}

void OrvoFrameAligner::setSensorUniforms(GLuint program, const SensorUniforms& s) const {
  glUniform1i(uniform(program, "original"), 0);
  glUniform1f(uniform(program, "sense_width"), s.senseWidth);
  glUniform1f(uniform(program, "sense_height"), s.senseHeight);
  glUniform1f(uniform(program, "focal_len"), s.focalLength);
  glUniform1f(uniform(program, "inv_sense_width"), 1.0f / s.senseWidth);
  glUniform1f(uniform(program, "inv_sense_height"), 1.0f / s.senseHeight);
  glUniform1f(uniform(program, "inv_focal_len"), 1.0f / s.focalLength);
  glUniform1f(uniform(program, "cropping"), s.cropping);
}

void OrvoFrameAligner::runDigitalAdjustment(const SensorUniforms& s, const glm::quat& q0) {
  // Test pass: the input seen through each candidate against the reference.
  glUseProgram(programAlignerTest_);
  setSensorUniforms(programAlignerTest_, s);
  glUniform1f(uniform(programAlignerTest_, "test_step"), kTestStep);
  glUniform4f(uniform(programAlignerTest_, "q0"), q0.x, q0.y, q0.z, q0.w);
  glUniform1f(uniform(programAlignerTest_, "block_size"), static_cast<float>(kBlockSize));
  glUniform1i(uniform(programAlignerTest_, "ref_tex"), kReferenceUnit);
  bindUnit(kReferenceUnit, refFrameTexture_);
  drawInto(testMapTexture_, kTestMapSide, kTestMapSide);

  // Diff pass: one packed score per candidate.
  glUseProgram(programDiffMap_);
  glUniform1i(uniform(programDiffMap_, "original"), kReferenceUnit);
  glUniform1i(uniform(programDiffMap_, "block_size"), kBlockSize);
  glUniform1f(uniform(programDiffMap_, "inc"), 1.0f / kTestMapSide);
  bindUnit(kReferenceUnit, testMapTexture_);
  drawInto(diffMapTexture_, kCandidatesPerSide, kCandidatesPerSide);

  uint8_t bytes[kCandidates * 4];
  glPixelStorei(GL_PACK_ALIGNMENT, 4);
  glReadPixels(0, 0, kCandidatesPerSide, kCandidatesPerSide, GL_RGBA, GL_UNSIGNED_BYTE, bytes);
  for (int n = 0; n < kCandidates; ++n) diffMap_[n] = scoreFromBytes(bytes + n * 4);
  bindUnit(kReferenceUnit, 0);

  const glm::vec2 d = correctionFromDiffMap(diffMap_.data());
  cameraMotionEstimator_->adjustMotion(quaternionMake(d.x * kTestStep, d.y * kTestStep, 0.0f, 1.0f));
}

void OrvoFrameAligner::process(const std::shared_ptr<SampleBuffer>& sample, bool mirror, GLuint fromGLTex,
                               GLuint intoGLBuffer, float lensZoom) {
  if (!cameraMotionEstimator_ || !sample || !sample->imageBuffer()) return;
  OrvoCameraMotionEstimator& estimator = *cameraMotionEstimator_;
  // One rotation per frame: the row bands are not needed, and the estimate
  // only advances curQ (without a running gyro it leaves it alone).
  estimator.setMirror(mirror);
  const bool intraFrame = estimator.enableIntraFrame();
  estimator.setEnableIntraFrame(false);
  OrvoFrameMotion motion;
  estimator.estimateFrameMotion(&motion, sample, lensZoom);
  estimator.setEnableIntraFrame(intraFrame);

  if (!enabled_ || !context_ || !context_->makeCurrent() || !glIsTexture(intoGLBuffer)) return;
  const glm::quat q0 = quaternionInvert(estimator.getCurrentQ());
  const int width = sample->imageBuffer()->width(), height = sample->imageBuffer()->height();
  bindUnit(0, fromGLTex);
  const SensorUniforms s{estimator.sensorWidth() * estimator.sensorCropWidth() * cropping_ / lensZoom,
                         estimator.sensorHeight() * estimator.sensorCropHeight() * cropping_ / lensZoom,
                         estimator.focalLength(), cropping_};
  glm::quat q = q0;
  if (digitalAdjustment_) {
    runDigitalAdjustment(s, q0);
    q = quaternionInvert(estimator.getCurrentQ());
  }

  glUseProgram(programAligner_);
  setSensorUniforms(programAligner_, s);
  glUniform4f(uniform(programAligner_, "q"), q.x, q.y, q.z, q.w);
  drawInto(intoGLBuffer, width, height);
}

}  // namespace nudora

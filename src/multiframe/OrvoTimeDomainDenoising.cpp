#include "multiframe/OrvoTimeDomainDenoising.h"

#include <EGL/egl.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Clock.h"
#include "platform/Console.h"
#include "platform/SampleBuffer.h"
#include "stabilization/OrvoCameraMotionEstimator.h"
#include "stabilization/OrvoFrameMotion.h"

namespace nudora {
namespace {

// Two thirds of a texel: the mean of four bilinear taps at (+-2/3, +-2/3)
// texels weighs each texel of the 3 x 3 neighbourhood by exactly 1/9.
constexpr float kStepFraction = 0.666667f;
// The difference (per unit of colour, over the three channels) that counts
// as a change rather than noise.
constexpr float kThreshold = 0.1f;
constexpr float kMaxBlurRate = 0.2f;  // rad/s at which blurriness reaches 1
constexpr float kBlurScale = 5.0f;
constexpr GLint kFirstHistoryUnit = 1;

GLint uniform(GLuint program, const char* name) { return glGetUniformLocation(program, name); }

}  // namespace

OrvoTimeDomainDenoising::OrvoTimeDomainDenoising()
    : OrvoTimeDomainDenoising(OrvoCameraMotionEstimator::sharedInstance(), nullptr) {}

OrvoTimeDomainDenoising::OrvoTimeDomainDenoising(std::shared_ptr<OrvoCameraMotionEstimator> estimator,
                                                 Uptime uptime)
    : cameraMotionEstimator_(std::move(estimator)), uptime_(uptime ? std::move(uptime) : Uptime(&Clock::uptime)) {}

OrvoTimeDomainDenoising::~OrvoTimeDomainDenoising() {
  disable();
  // The owner destroys the stage on its processing queue with the context
  // current; without one the names cannot be freed (nor do they matter).
  if (eglGetCurrentContext() == EGL_NO_CONTEXT) return;
  for (GLuint& program : programTDDenoising_) OrvoProcessHelpers::deleteProgram(&program);
  OrvoProcessHelpers::deleteProgram(&programPassThrough_);
}

bool OrvoTimeDomainDenoising::setupGL() {
  const char* const pieces[kLevels] = {fshTDDenoising, fshTDDenoisingD1, fshTDDenoisingD2};
  for (int level = 0; level < kLevels; ++level) {
    OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, pieces[level],
                                                           &programTDDenoising_[level]);
  }
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshPassThrough, &programPassThrough_);
  // A new context (or new programs) starts a new history.
  deleteHistory();
  return std::all_of(programTDDenoising_.begin(), programTDDenoising_.end(), [](GLuint p) { return p != 0; }) &&
         programPassThrough_ != 0;
}

bool OrvoTimeDomainDenoising::enable() {
  if (enabled_) return true;
  if (!cameraMotionEstimator_ || !cameraMotionEstimator_->enable()) return false;
  enabled_ = true;
  degrade_ = 0;
  lastFrameTs_ = uptime_();
  frameTimeSeq_.fill(kInitialFrameTime);
  frameTimeWrPos_ = 0;
  return true;
}

void OrvoTimeDomainDenoising::disable() {
  if (!enabled_) return;
  if (cameraMotionEstimator_) cameraMotionEstimator_->disable();
  enabled_ = false;
  deleteHistory();
  curWidth_ = curHeight_ = numTex_ = wrPos_ = 0;
}

void OrvoTimeDomainDenoising::deleteHistory() {
  for (GLuint& texture : bufTex_) OrvoProcessHelpers::deleteTexture(&texture);
}

// ---- Motion ----

glm::vec2 OrvoTimeDomainDenoising::motionFromRotation(const glm::quat& q, float sensorWidth, float sensorHeight,
                                                      float focalLength) {
  // q (0, 0, -1, 0) q^-1 with the true inverse, as the platform's vector
  // rotation computes it.
  const glm::quat r =
      quaternionMultiply(quaternionMultiply(q, quaternionMake(0.0f, 0.0f, -1.0f, 0.0f)), quaternionInvert(q));
  return {(-r.x) / (-r.z) * focalLength / sensorWidth, r.y / (-r.z) * focalLength / sensorHeight};
}

void OrvoTimeDomainDenoising::setMotion(const glm::quat& rotation, float lensZoom) {
  const OrvoCameraMotionEstimator* e = cameraMotionEstimator_.get();
  if (!e) {
    motion_[wrPos_] = glm::vec2(0.0f);
    return;
  }
  motion_[wrPos_] = motionFromRotation(rotation, e->sensorWidth() * e->sensorCropWidth() / lensZoom,
                                       e->sensorHeight() * e->sensorCropHeight() / lensZoom, e->focalLength());
}

void OrvoTimeDomainDenoising::estimateMotion(const std::shared_ptr<SampleBuffer>& sample, GLuint, bool mirror,
                                             float lensZoom) {
  OrvoCameraMotionEstimator* e = cameraMotionEstimator_.get();
  if (!e) {
    motion_[wrPos_] = glm::vec2(0.0f);
    return;
  }
  e->setMirror(mirror);
  OrvoFrameMotion frameMotion;
  if (!e->estimateFrameMotion(&frameMotion, sample, lensZoom)) {
    motion_[wrPos_] = glm::vec2(0.0f);
    return;
  }
  setMotion(e->getCurrentQ(), lensZoom);
  e->resetRotation();
}

float OrvoTimeDomainDenoising::blurrinessForRotationRate(const OrvoRotationRate& rate) {
  const float x = static_cast<float>(rate.x), y = static_cast<float>(rate.y);
  return std::min(std::sqrt(x * x + y * y), kMaxBlurRate) * kBlurScale;
}

float OrvoTimeDomainDenoising::currentBlurriness() const {
  return blurrinessForRotationRate(cameraMotionEstimator_ ? cameraMotionEstimator_->currentRotationRate()
                                                          : OrvoRotationRate{});
}

std::array<OrvoTimeDomainDenoising::HistoryInput, OrvoTimeDomainDenoising::kHistoryInputs>
OrvoTimeDomainDenoising::historyInputs(const std::array<glm::vec2, kRingSize>& motion, int wrPos, int numTex) {
  std::array<HistoryInput, kHistoryInputs> inputs{};
  glm::vec2 shift(0.0f);
  int rd = wrPos;
  for (int i = 0; i < kHistoryInputs; ++i) {
    if (i < numTex) {
      shift += motion[rd];
      rd = rd == 0 ? kRingSize - 1 : rd - 1;
      inputs[i] = {rd, shift};
    } else {
      inputs[i] = {kCurrentFrame, glm::vec2(0.0f)};
    }
  }
  return inputs;
}

// ---- Frame ----

bool OrvoTimeDomainDenoising::process(GLuint input, int32_t withWidth, int32_t andHeight, GLuint intoGLBuffer) {
  if (!enabled_) return false;
  const int32_t width = withWidth, height = andHeight;
  if (width <= 0 || height <= 0) {
    consoleLog("OrvoTimeDomainDenoising: no frame of %d x %d to denoise", width, height);
    return false;
  }
  if (bufTex_[0] == 0 || width != curWidth_ || height != curHeight_) {
    for (GLuint& texture : bufTex_) OrvoProcessHelpers::generateTexture(&texture, width, height, GL_RGBA);
    curWidth_ = width;
    curHeight_ = height;
    wrPos_ = 0;
    numTex_ = 0;
  }

  // Store pass: the frame as it came, into its ring slot.
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, bufTex_[wrPos_], 0);
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, input);
  glViewport(0, 0, width, height);
  glUseProgram(programPassThrough_);
  glUniform1i(uniform(programPassThrough_, "original"), 0);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);

  // Denoise pass.
  const GLuint program = programTDDenoising_[degrade_];
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, intoGLBuffer, 0);
  glUseProgram(program);
  glUniform1i(uniform(program, "original"), 0);
  glUniform1f(uniform(program, "step_x"), kStepFraction / static_cast<float>(width));
  glUniform1f(uniform(program, "step_y"), kStepFraction / static_cast<float>(height));
  const auto inputs = historyInputs(motion_, wrPos_, numTex_);
  for (int i = 0; i < kHistoryInputs; ++i) {
    glActiveTexture(GL_TEXTURE0 + kFirstHistoryUnit + i);
    glBindTexture(GL_TEXTURE_2D, inputs[i].slot == kCurrentFrame ? input : bufTex_[inputs[i].slot]);
    const std::string index = std::to_string(i);
    glUniform1i(uniform(program, ("input" + index).c_str()), kFirstHistoryUnit + i);
    glUniform2f(uniform(program, ("motion" + index).c_str()), inputs[i].shift.x, inputs[i].shift.y);
  }
  glUniform1f(uniform(program, "inv_threshold2"), 1.0f / (kThreshold * kThreshold));
  glUniform1f(uniform(program, "blurriness"), currentBlurriness());
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
  // The history stays bound nowhere, so no later pass can sample a texture
  // that it also renders into.
  for (int i = 0; i < kHistoryInputs; ++i) {
    glActiveTexture(GL_TEXTURE0 + kFirstHistoryUnit + i);
    glBindTexture(GL_TEXTURE_2D, 0);
  }
  glActiveTexture(GL_TEXTURE0);

  wrPos_ = (wrPos_ + 1) % kRingSize;
  numTex_ = std::min(numTex_ + 1, kRingSize);
  adaptQuality();
  return true;
}

void OrvoTimeDomainDenoising::adaptQuality() {
  if (!autoDegrade_) {
    degrade_ = 0;
    return;
  }
  const double now = uptime_();
  frameTimeSeq_[frameTimeWrPos_] = static_cast<float>(now - lastFrameTs_);
  frameTimeWrPos_ = (frameTimeWrPos_ + 1) % kRingSize;
  lastFrameTs_ = now;
  // The sum of eight floats is exact in double; the average, rounded back to
  // float, meets the thresholds as floats, so that frames of exactly 37 ms
  // (stored as the float nearest to 0.037) sit on the threshold, not above.
  double sum = 0.0;
  for (float t : frameTimeSeq_) sum += t;
  const float average = static_cast<float>(sum / kRingSize);
  if (average > kSlowFrameTime && degrade_ < kLevels - 1) ++degrade_;
  if (average < kFastFrameTime && degrade_ > 0) --degrade_;
}

}  // namespace nudora

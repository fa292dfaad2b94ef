#include "stabilization/OrvoVideoStabilizer.h"

#include <algorithm>
#include <cmath>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/EglContext.h"
#include "platform/SampleBuffer.h"
#include "stabilization/OrvoCameraMotionEstimator.h"

namespace nudora {
namespace {

constexpr int kCandidates = OrvoVideoStabilizer::kCandidatesPerSide * OrvoVideoStabilizer::kCandidatesPerSide;
constexpr int kCentreCandidate = OrvoVideoStabilizer::kCandidatesPerSide / 2;
// The lookup textures sit on units 1..4, the reference (or test map) on 5.
constexpr GLint kLookupUnit = 1;
constexpr GLint kReferenceUnit = 5;
constexpr float kShakeDecay = 0.9f;
constexpr float kMinTestStep = 0.00018f;
constexpr float kTestStepRange = 0.00052f;

// The warp is drawn as a mesh rather than a full-screen quad so that the
// band rotations are read and decoded per vertex instead of per pixel: 64
// row bands (band k covers output rows with v in [k / 64, (k + 1) / 64)) of
// kWarpColumns quads each. A band's vertices, on its bottom edge too, carry
// its own index, so adjacent bands meet on the same positions with their
// own rotations and the rasteriser assigns each pixel centre to one band.
// The vertices hand on the turned sensor point, which is affine in the
// output position within a band, and the projection is done per pixel: the
// result does not depend on the column count, and one quad per band is the
// fewest triangles. (Projecting per vertex instead bends the picture inside
// each quad: at 1080p and a few degrees of turn, 16 columns strayed beyond 3
// levels of the exact warp and 32 were needed to stay within 2.)
constexpr int kWarpColumns = 1;
constexpr GLuint kAttribBand = 4;  // the band index, beside position (0) and texCoord (3)

struct WarpVertex {
  GLfloat x, y;  // clip space
  GLfloat u, v;  // output position, v = 0 at buffer row 0
  GLfloat band;
};

struct WarpMesh {
  std::vector<WarpVertex> vertices;
  std::vector<GLushort> indices;  // triangles
};

WarpMesh buildWarpMesh() {
  constexpr int kBands = OrvoVideoStabilizer::kLookupWidth, kRowLength = kWarpColumns + 1;
  static_assert(kBands * 2 * kRowLength <= 65536, "indices are 16-bit");
  WarpMesh mesh;
  mesh.vertices.reserve(static_cast<size_t>(kBands) * 2 * kRowLength);
  mesh.indices.reserve(static_cast<size_t>(kBands) * kWarpColumns * 6);
  for (int k = 0; k < kBands; ++k) {
    const auto first = static_cast<GLushort>(mesh.vertices.size());
    for (int edge = 0; edge < 2; ++edge) {
      // The same float expression for band k's bottom and band k + 1's top:
      // the shared edge must be bit-identical or pixels on it could be
      // drawn twice or not at all.
      const GLfloat v = static_cast<GLfloat>(k + edge) / kBands;
      for (int j = 0; j < kRowLength; ++j) {
        const GLfloat u = static_cast<GLfloat>(j) / kWarpColumns;
        mesh.vertices.push_back({2.0f * u - 1.0f, 2.0f * v - 1.0f, u, v, static_cast<GLfloat>(k)});
      }
    }
    for (int j = 0; j < kWarpColumns; ++j) {
      const auto top = static_cast<GLushort>(first + j), bottom = static_cast<GLushort>(first + kRowLength + j);
      for (GLushort index : {top, static_cast<GLushort>(top + 1), bottom, bottom, static_cast<GLushort>(top + 1),
                             static_cast<GLushort>(bottom + 1)}) {
        mesh.indices.push_back(index);
      }
    }
  }
  return mesh;
}

// Client-side arrays, as every pass of the system draws; the mesh does not
// depend on the picture size, so one serves every stabiliser.
void drawWarpMesh() {
  static const WarpMesh mesh = buildWarpMesh();
  constexpr GLsizei kStride = sizeof(WarpVertex);
  glVertexAttribPointer(kAttribPosition, 2, GL_FLOAT, GL_FALSE, kStride, &mesh.vertices[0].x);
  glEnableVertexAttribArray(kAttribPosition);
  glVertexAttribPointer(kAttribTexCoord, 2, GL_FLOAT, GL_FALSE, kStride, &mesh.vertices[0].u);
  glEnableVertexAttribArray(kAttribTexCoord);
  glVertexAttribPointer(kAttribBand, 1, GL_FLOAT, GL_FALSE, kStride, &mesh.vertices[0].band);
  glEnableVertexAttribArray(kAttribBand);
  glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(mesh.indices.size()), GL_UNSIGNED_SHORT, mesh.indices.data());
  glDisableVertexAttribArray(kAttribBand);
}

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

void deleteTexture(GLuint* texture) {
  if (*texture != 0) glDeleteTextures(1, texture);
  *texture = 0;
}

// GLKQuaternionRotateVector4 of (0, 0, -1, 0): q v q^-1 with the true
// inverse, so an unnormalised quaternion turns the vector as its unit form.
glm::vec3 viewDirection(const glm::quat& q) {
  const glm::quat v = quaternionMake(0.0f, 0.0f, -1.0f, 0.0f);
  const glm::quat r = quaternionMultiply(quaternionMultiply(q, v), quaternionInvert(q));
  return {r.x, r.y, r.z};
}

// Normalised marker coordinates of where a rotation points.
glm::vec2 markerProjection(const glm::quat& q, float sw, float sh, float f, float zoom) {
  const glm::vec3 v = viewDirection(q);
  return {v.x / -v.z * f / sw * zoom, v.y / -v.z * f / sh * zoom};
}

// Truncation towards zero, refused for values no pixel index can hold (a
// degenerate rotation projects to infinity or NaN).
bool truncated(float value, int* out) {
  if (!std::isfinite(value) || std::fabs(value) > 1.0e6f) return false;
  *out = static_cast<int>(value);
  return true;
}

class MarkerCanvas {
 public:
  explicit MarkerCanvas(uint8_t* pixels) : pixels_(pixels) {}
  void set(int x, int y, uint32_t color) const {
    if (x < 0 || y < 0 || x >= OrvoVideoStabilizer::kMarkerWidth || y >= OrvoVideoStabilizer::kMarkerHeight) return;
    uint8_t* p = pixels_ + (static_cast<size_t>(y) * OrvoVideoStabilizer::kMarkerWidth + x) * 4;
    for (int c = 0; c < 4; ++c) p[c] = static_cast<uint8_t>(color >> (8 * c));
  }

 private:
  uint8_t* pixels_;
};

void drawRectangle(const MarkerCanvas& canvas, const glm::vec2& p) {
  constexpr float W = OrvoVideoStabilizer::kMarkerWidth, H = OrvoVideoStabilizer::kMarkerHeight;
  int left, right, top, bottom;
  if (!truncated((p.x + 0.5f) * W + 0.5f, &left) || !truncated((0.5f - p.x) * W + 0.5f, &right) ||
      !truncated((0.5f - p.y) * H + 0.5f, &top) || !truncated((p.y + 0.5f) * H + 0.5f, &bottom)) {
    return;
  }
  // Loops that start past their end draw nothing: the rectangle shows only
  // while the projection keeps left <= right and top <= bottom. Edges off the
  // buffer are skipped, and the loops never run beyond it.
  constexpr uint32_t color = OrvoVideoStabilizer::kMarkerRectangleColor;
  for (int x = std::max(left, 0); x <= std::min(right, static_cast<int>(W) - 1); ++x) {
    canvas.set(x, bottom, color);
    canvas.set(x, top, color);
  }
  for (int y = std::max(top, 0); y <= std::min(bottom, static_cast<int>(H) - 1); ++y) {
    canvas.set(right, y, color);
    canvas.set(left, y, color);
  }
}

}  // namespace

// ---- CPU arithmetic ----

std::array<uint8_t, 3> OrvoVideoStabilizer::encodeQuaternionComponent(float value, bool vectorPart) {
  // Double precision keeps the three truncations exact to the last base-255
  // digit; single precision would lose about half of the third.
  double v = vectorPart ? static_cast<double>(value) + 0.5 : static_cast<double>(value);
  v = std::clamp(v, 0.0, 1.0);
  const double a = v * 255.0;
  const double r = std::floor(a);
  const double b = (a - r) * 255.0;
  const double g = std::floor(b);
  const double c = (b - g) * 255.0;
  return {static_cast<uint8_t>(r), static_cast<uint8_t>(g), static_cast<uint8_t>(std::floor(c))};
}

std::array<std::array<uint8_t, OrvoVideoStabilizer::kLookupWidth * 4>, 4> OrvoVideoStabilizer::encodeLookupTextures(
    const glm::quat* rotations) {
  std::array<std::array<uint8_t, kLookupWidth * 4>, 4> images{};
  for (int k = 0; k < kLookupWidth; ++k) {
    const float components[4] = {rotations[k].x, rotations[k].y, rotations[k].z, rotations[k].w};
    for (int i = 0; i < 4; ++i) {
      const std::array<uint8_t, 3> digits = encodeQuaternionComponent(components[i], i < 3);
      std::copy(digits.begin(), digits.end(), images[i].begin() + k * 4);
      images[i][k * 4 + 3] = 255;
    }
  }
  return images;
}

uint32_t OrvoVideoStabilizer::scoreFromBytes(const uint8_t* rgba) {
  return static_cast<uint32_t>(rgba[0]) | static_cast<uint32_t>(rgba[1]) << 8 | static_cast<uint32_t>(rgba[2]) << 16 |
         static_cast<uint32_t>(rgba[3]) << 24;
}

glm::dvec2 OrvoVideoStabilizer::correctionFromDiffMap(const uint32_t* diffMap) {
  double column[kCandidatesPerSide] = {}, row[kCandidatesPerSide] = {}, sum = 0.0;
  for (int j = 0; j < kCandidatesPerSide; ++j) {
    for (int i = 0; i < kCandidatesPerSide; ++i) {
      // Double precision: a score near 2^32 still has a weight (about 1e-39)
      // above zero, so the sum never vanishes.
      const double w = std::pow(1.0 / (static_cast<double>(diffMap[j * kCandidatesPerSide + i]) + 1.0), 4.0);
      column[i] += w;
      row[j] += w;
      sum += w;
    }
  }
  // Summing the offsets in mirrored pairs makes a symmetric map give exactly
  // zero (the plain running sum leaves a rounding residue).
  double sx = 0.0, sy = 0.0;
  for (int d = kCentreCandidate; d >= 1; --d) {
    sx += d * (column[kCentreCandidate + d] - column[kCentreCandidate - d]);
    sy += d * (row[kCentreCandidate + d] - row[kCentreCandidate - d]);
  }
  return {sx / sum, sy / sum};
}

float OrvoVideoStabilizer::updatedShakeStrength(float shakeStrength, const OrvoRotationRate& rate) {
  const float x = static_cast<float>(rate.x), y = static_cast<float>(rate.y);
  const float s = std::min(std::sqrt(x * x + y * y), kMaxShake);
  return s > shakeStrength ? s : shakeStrength * kShakeDecay;
}

float OrvoVideoStabilizer::testStepForShake(float shakeStrength) {
  return kMinTestStep + (shakeStrength / kMaxShake) * kTestStepRange;
}

bool OrvoVideoStabilizer::stepReferenceTimer(uint32_t* refFrameTimer, bool digitalAdjustment, bool capped) {
  if (*refFrameTimer < kReferenceInterval) ++*refFrameTimer;
  const bool refresh = digitalAdjustment && (capped || *refFrameTimer == kReferenceInterval);
  if (refresh && *refFrameTimer == kReferenceInterval) *refFrameTimer = 0;
  return refresh;
}

void OrvoVideoStabilizer::drawStabilizationMarker(uint8_t* buffer, const glm::quat& currentQ, float filterL0,
                                                  float filterCap, float sensorWidth, float sensorHeight,
                                                  float focalLength, float zoom) {
  const MarkerCanvas canvas(buffer);
  const glm::vec2 p = markerProjection(currentQ, sensorWidth, sensorHeight, focalLength, zoom);
  int cx, cy;
  if (truncated((p.x + 0.5f) * kMarkerWidth, &cx) && truncated((0.5f - p.y) * kMarkerHeight, &cy)) {
    // 14 pixels long, 2 thick; pixels off the buffer are skipped.
    for (int x = cx - 6; x <= cx + 7; ++x) {
      canvas.set(x, cy, kMarkerCrossColor);
      canvas.set(x, cy + 1, kMarkerCrossColor);
    }
    for (int y = cy - 6; y <= cy + 7; ++y) {
      canvas.set(cx, y, kMarkerCrossColor);
      canvas.set(cx + 1, y, kMarkerCrossColor);
    }
  }
  // The rectangles' quaternions are deliberately left unnormalised: the
  // rotation of the view direction does not depend on the length.
  drawRectangle(canvas, markerProjection(quaternionMake(filterL0, filterL0, 0.0f, 1.0f), sensorWidth, sensorHeight,
                                         focalLength, zoom));
  drawRectangle(canvas, markerProjection(quaternionMake(filterCap, filterCap, 0.0f, 1.0f), sensorWidth, sensorHeight,
                                         focalLength, zoom));
}

// ---- Lifecycle ----

OrvoVideoStabilizer::OrvoVideoStabilizer() : OrvoVideoStabilizer(OrvoCameraMotionEstimator::sharedInstance()) {}

OrvoVideoStabilizer::OrvoVideoStabilizer(std::shared_ptr<OrvoCameraMotionEstimator> estimator)
    : markerBuffer_(static_cast<size_t>(kMarkerWidth) * kMarkerHeight * 4, 0),
      cameraMotionEstimator_(std::move(estimator)) {}

OrvoVideoStabilizer::~OrvoVideoStabilizer() {
  disable();
  if (!context_ || !context_->makeCurrent()) return;
  OrvoProcessHelpers::deleteProgram(&programStabilizer_);
  OrvoProcessHelpers::deleteProgram(&programPassThrough_);
  OrvoProcessHelpers::deleteProgram(&programStabilizerTest_);
  OrvoProcessHelpers::deleteProgram(&programStabilizerTestFine_);
  OrvoProcessHelpers::deleteProgram(&programDiffMap_);
}

bool OrvoVideoStabilizer::setupGL(EglContext* context) {
  context_ = context;
  if (!context_ || !context_->makeCurrent()) {
    consoleLogLevel(kConsoleError, "OrvoVideoStabilizer: setupGL without a usable context");
    return false;
  }
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshStabilizer, fshStabilizer, &programStabilizer_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshPassThrough, &programPassThrough_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshStabilizerTest, &programStabilizerTest_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshStabilizerTestFine,
                                                         &programStabilizerTestFine_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshDiffMap, &programDiffMap_);
  return programStabilizer_ && programPassThrough_ && programStabilizerTest_ && programStabilizerTestFine_ &&
         programDiffMap_;
}

bool OrvoVideoStabilizer::enable() {
  if (enabled_) return true;
  // Without a context there is no stage to switch on; the gyro is left alone.
  if (!context_ || !cameraMotionEstimator_) return false;
  if (!cameraMotionEstimator_->enable()) return false;
  shakeStrength_ = 0.0f;
  refFrameTimer_ = 0;
  context_->makeCurrent();
  glGenTextures(4, quaternionTextures_.data());
  makeTexture(&lastFrameTexture_, kReferenceWidth, kReferenceHeight, GL_LINEAR);
  makeTexture(&testMapTexture_, kTestMapSide, kTestMapSide, GL_NEAREST);
  makeTexture(&diffMapTexture_, kCandidatesPerSide, kCandidatesPerSide, GL_NEAREST);
  makeTexture(&markerTex_, kMarkerWidth, kMarkerHeight, GL_LINEAR);
  // The reference starts black rather than with whatever the memory held,
  // so the frames before its first refresh compare against a known picture.
  GLint framebuffer = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
  if (framebuffer != 0) {
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, lastFrameTexture_, 0);
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
  }
  glBindTexture(GL_TEXTURE_2D, 0);
  enabled_ = true;
  return true;
}

void OrvoVideoStabilizer::disable() {
  if (!enabled_) return;
  if (context_ && context_->makeCurrent()) {
    glDeleteTextures(4, quaternionTextures_.data());
    deleteTexture(&lastFrameTexture_);
    deleteTexture(&testMapTexture_);
    deleteTexture(&diffMapTexture_);
    deleteTexture(&markerTex_);
  }
  quaternionTextures_ = {};
  lastFrameTexture_ = testMapTexture_ = diffMapTexture_ = markerTex_ = 0;
  if (cameraMotionEstimator_) cameraMotionEstimator_->disable();
  enabled_ = false;
}

// ---- Passes ----

void OrvoVideoStabilizer::uploadLookupTextures(const glm::quat* rotations) {
  const auto images = encodeLookupTextures(rotations);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  for (int i = 0; i < 4; ++i) {
    glActiveTexture(GL_TEXTURE0 + kLookupUnit + i);
    glBindTexture(GL_TEXTURE_2D, quaternionTextures_[i]);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, kLookupWidth, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, images[i].data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  }
  glActiveTexture(GL_TEXTURE0);
}

void OrvoVideoStabilizer::setSensorUniforms(GLuint program, const SensorUniforms& s) const {
  glUniform1i(uniform(program, "original"), 0);
  glUniform1f(uniform(program, "sense_width"), s.senseWidth);
  glUniform1f(uniform(program, "sense_height"), s.senseHeight);
  glUniform1f(uniform(program, "focal_len"), s.focalLength);
  glUniform1f(uniform(program, "inv_sense_width"), 1.0f / s.senseWidth);
  glUniform1f(uniform(program, "inv_sense_height"), 1.0f / s.senseHeight);
  glUniform1f(uniform(program, "inv_focal_len"), 1.0f / s.focalLength);
  glUniform1f(uniform(program, "cropping"), s.cropping);
  glUniform1i(uniform(program, "q0_tex"), kLookupUnit);
  glUniform1i(uniform(program, "q1_tex"), kLookupUnit + 1);
  glUniform1i(uniform(program, "q2_tex"), kLookupUnit + 2);
  glUniform1i(uniform(program, "q3_tex"), kLookupUnit + 3);
}

void OrvoVideoStabilizer::target(GLuint texture, int width, int height) const {
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  glViewport(0, 0, width, height);
}

void OrvoVideoStabilizer::drawInto(GLuint texture, int width, int height) const {
  target(texture, width, height);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
}

void OrvoVideoStabilizer::runDigitalAdjustment(const SensorUniforms& s, const OrvoFrameMotion& motion, bool* capped) {
  OrvoCameraMotionEstimator& estimator = *cameraMotionEstimator_;
  shakeStrength_ = updatedShakeStrength(shakeStrength_, estimator.currentRotationRate());
  const float testStep = testStepForShake(shakeStrength_);

  // Test pass: the input warped by each candidate against the reference.
  const GLuint test = precise_alignment_ ? programStabilizerTestFine_ : programStabilizerTest_;
  glActiveTexture(GL_TEXTURE0 + kReferenceUnit);
  glBindTexture(GL_TEXTURE_2D, lastFrameTexture_);
  glActiveTexture(GL_TEXTURE0);
  glUseProgram(test);
  setSensorUniforms(test, s);
  glUniform1i(uniform(test, "last_tex"), kReferenceUnit);
  glUniform1f(uniform(test, "test_step"), testStep);
  glUniform1f(uniform(test, "block_size"), static_cast<float>(kBlockSize));
  drawInto(testMapTexture_, kTestMapSide, kTestMapSide);

  // Diff pass: one packed score per candidate.
  glActiveTexture(GL_TEXTURE0 + kReferenceUnit);
  glBindTexture(GL_TEXTURE_2D, testMapTexture_);
  glActiveTexture(GL_TEXTURE0);
  glUseProgram(programDiffMap_);
  glUniform1i(uniform(programDiffMap_, "original"), kReferenceUnit);
  glUniform1i(uniform(programDiffMap_, "block_size"), kBlockSize);
  glUniform1f(uniform(programDiffMap_, "inc"), 1.0f / kTestMapSide);
  drawInto(diffMapTexture_, kCandidatesPerSide, kCandidatesPerSide);

  uint8_t bytes[kCandidates * 4];
  glPixelStorei(GL_PACK_ALIGNMENT, 4);
  glReadPixels(0, 0, kCandidatesPerSide, kCandidatesPerSide, GL_RGBA, GL_UNSIGNED_BYTE, bytes);
  for (int n = 0; n < kCandidates; ++n) diffMap_[n] = scoreFromBytes(bytes + n * 4);
  glActiveTexture(GL_TEXTURE0 + kReferenceUnit);
  glBindTexture(GL_TEXTURE_2D, 0);
  glActiveTexture(GL_TEXTURE0);

  const glm::dvec2 d = correctionFromDiffMap(diffMap_.data());
  glm::quat c = quaternionMake(static_cast<float>(d.x * testStep), static_cast<float>(d.y * testStep), 0.0f, 1.0f);
  // Near its limit the rotation is about to be clamped anyway; an image
  // correction on top would only fight the clamp.
  if (estimator.rotationAlmostCapped()) c = quaternionIdentity();
  estimator.adjustMotion(c);
  *capped = estimator.filterRotation();

  glm::quat inverted[kLookupWidth];
  estimator.getInvertedIntraFrameMotion(inverted, &motion);
  uploadLookupTextures(inverted);
}

bool OrvoVideoStabilizer::process(const std::shared_ptr<SampleBuffer>& sample, bool mirror, GLuint fromGLTex,
                                  GLuint intoGLBuffer, float lensZoom) {
  if (!enabled_ || !cameraMotionEstimator_ || !context_ || !sample || !sample->imageBuffer()) return false;
  OrvoCameraMotionEstimator& estimator = *cameraMotionEstimator_;
  context_->makeCurrent();
  estimator.setMirror(mirror);

  OrvoFrameMotion motion;
  if (!estimator.estimateFrameMotion(&motion, sample, lensZoom)) return false;
  const int width = sample->imageBuffer()->width(), height = sample->imageBuffer()->height();

  // Without the image refinement the smoothing runs here, before the upload.
  if (!digital_adjustment_) estimator.filterRotation();

  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, fromGLTex);
  glm::quat inverted[kLookupWidth];
  estimator.getInvertedIntraFrameMotion(inverted, &motion);
  uploadLookupTextures(inverted);

  const SensorUniforms s{estimator.sensorWidth() * estimator.sensorCropWidth() * cropping_ / lensZoom,
                         estimator.sensorHeight() * estimator.sensorCropHeight() * cropping_ / lensZoom,
                         estimator.focalLength(), cropping_};
  bool capped = false;
  // At rest neither the filter nor the image correction runs: the rotation
  // of the last moving frame holds.
  if (digital_adjustment_ && !estimator.steady()) runDigitalAdjustment(s, motion, &capped);

  glUseProgram(programStabilizer_);
  setSensorUniforms(programStabilizer_, s);
  target(intoGLBuffer, width, height);
  drawWarpMesh();

  if (stepReferenceTimer(&refFrameTimer_, digital_adjustment_, capped)) {
    glBindTexture(GL_TEXTURE_2D, intoGLBuffer);
    glUseProgram(programPassThrough_);
    glUniform1i(uniform(programPassThrough_, "original"), 0);
    drawInto(lastFrameTexture_, kReferenceWidth, kReferenceHeight);
  }
  return true;
}

GLuint OrvoVideoStabilizer::genStabilizationMarkerTextureWithZoom(float zoom) {
  if (!enabled_ || !showMarker_ || !context_) return 0;
  context_->makeCurrent();
  std::fill(markerBuffer_.begin(), markerBuffer_.end(), 0);
  // Without an estimator the zero quaternion projects nowhere: no cross.
  const glm::quat q = cameraMotionEstimator_ ? cameraMotionEstimator_->getCurrentQ() : quaternionMake(0, 0, 0, 0);
  const OrvoCameraMotionEstimator* e = cameraMotionEstimator_.get();
  const float sw = e ? e->sensorWidth() * e->sensorCropWidth() * cropping_ : 0.0f;
  const float sh = e ? e->sensorHeight() * e->sensorCropHeight() * cropping_ : 0.0f;
  drawStabilizationMarker(markerBuffer_.data(), q, e ? e->filter_l0() : 0.0f, e ? e->filter_cap() : 0.0f, sw, sh,
                          e ? e->focalLength() : 0.0f, zoom);
  glBindTexture(GL_TEXTURE_2D, markerTex_);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, kMarkerWidth, kMarkerHeight, 0, GL_RGBA, GL_UNSIGNED_BYTE,
               markerBuffer_.data());
  glBindTexture(GL_TEXTURE_2D, 0);
  return markerTex_;
}

}  // namespace nudora

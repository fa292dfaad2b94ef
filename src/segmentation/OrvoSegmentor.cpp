#include "segmentation/OrvoSegmentor.h"

#include <algorithm>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"

namespace nudora {
namespace {
GLint uniform(GLuint program, const char* name) { return glGetUniformLocation(program, name); }
}  // namespace

OrvoSegmentor::~OrvoSegmentor() {
  OrvoProcessHelpers::deleteTexture(&segResultTexture_);
  OrvoProcessHelpers::deleteTexture(&segTempTexture_);
  OrvoProcessHelpers::deleteProgram(&programSegmentByColor_);
  OrvoProcessHelpers::deleteProgram(&programSegmentSimple_);
  OrvoProcessHelpers::deleteProgram(&programSegmentHue_);
  OrvoProcessHelpers::deleteProgram(&programSegmentMedian_);
  OrvoProcessHelpers::deleteProgram(&programSegmentGrow_);
  OrvoProcessHelpers::deleteProgram(&programMedianFilter_);
}

bool OrvoSegmentor::setupGL() {
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshSegmentByColor, &programSegmentByColor_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshSegmentSimple, &programSegmentSimple_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshSegmentHue, &programSegmentHue_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshSegmentMedian, &programSegmentMedian_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshSegmentGrow, &programSegmentGrow_);
  initTexture();
  return programSegmentByColor_ && programSegmentSimple_ && programSegmentHue_ && programSegmentMedian_ &&
         programSegmentGrow_;
}

void OrvoSegmentor::initTexture() {
  OrvoProcessHelpers::generateTexture(&segResultTexture_, imageWidth_, imageHeight_, GL_RGBA);
  OrvoProcessHelpers::generateTexture(&segTempTexture_, imageWidth_, imageHeight_, GL_RGBA);
}

bool OrvoSegmentor::enable(int32_t, int32_t) {
  if (enabled_) return true;
  enabled_ = true;
  initTexture();
  return true;
}

void OrvoSegmentor::disable() {
  if (!enabled_) return;
  enabled_ = false;
  OrvoProcessHelpers::deleteTexture(&segResultTexture_);
  OrvoProcessHelpers::deleteTexture(&segTempTexture_);
}

void OrvoSegmentor::backdropChannels(float r, float g, float b, float limit, int32_t* maxIndex, int32_t* minIndex) {
  const float maxC = std::max(r, std::max(g, b));
  const float minC = std::min(r, std::min(g, b));
  *maxIndex = 0;
  *minIndex = 0;
  if (!(maxC - minC > limit)) return;
  *maxIndex = r == maxC ? 1 : g == maxC ? 2 : 3;
  *minIndex = r == minC ? 1 : g == minC ? 2 : 3;
}

void OrvoSegmentor::red(float r, float g, float b, float* toHue, float* saturation, float* lightness) {
  const float maxC = std::max(r, std::max(g, b));
  const float minC = std::min(r, std::min(g, b));
  const float d = maxC - minC, s2 = maxC + minC;
  *lightness = s2 * 0.5f;
  *toHue = 0.0f;
  *saturation = 0.0f;
  if (maxC == minC) return;
  *saturation = *lightness < 0.5f ? d / s2 : d / (2.0f - maxC - minC);
  constexpr float kSixth = 0.1666666667f;
  const float dr = ((maxC - r) * kSixth + d / 2.0f) / d;
  const float dg = ((maxC - g) * kSixth + d / 2.0f) / d;
  const float db = ((maxC - b) * kSixth + d / 2.0f) / d;
  float hue;
  if (r == maxC) {
    hue = db - dg;
    if (!(g > b)) hue += 1.0f;
  } else if (g == maxC) {
    hue = 0.333333333f + dr - db;
  } else {
    hue = 0.666666667f + dg - dr;
  }
  if (hue < 0.0f) hue += 1.0f;
  if (hue >= 1.0f) hue -= 1.0f;
  *toHue = hue;
}

void OrvoSegmentor::beginPass(GLuint program, GLuint from, GLuint to) const {
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, from);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, to, 0);
  glViewport(0, 0, imageWidth_, imageHeight_);
  glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glUseProgram(program);
  glUniform1i(uniform(program, "original"), 0);
}

void OrvoSegmentor::draw() const {
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
  glBindTexture(GL_TEXTURE_2D, 0);
}

bool OrvoSegmentor::segmentByColor(GLuint input, const OrvoColor& bgColor, int32_t segMode) {
  // Drawn with the simple program on purpose: it knows segMode and imagestep.
  const GLuint program = programSegmentSimple_;
  beginPass(program, input, segTempTexture_);
  int32_t maxIndex = 0, minIndex = 0;
  backdropChannels(bgColor.red, bgColor.green, bgColor.blue, kColorPassLimit, &maxIndex, &minIndex);
  glUniform1f(uniform(program, "threshold"), segMode == 4 ? 0.6f : 0.3f);
  glUniform1i(uniform(program, "segMode"), segMode);
  glUniform2f(uniform(program, "imagestep"), 1.0f / static_cast<float>(imageWidth_),
              1.0f / static_cast<float>(imageHeight_));
  glUniform3f(uniform(program, "bgColor"), bgColor.red, bgColor.green, bgColor.blue);
  glUniform1i(uniform(program, "bgMaxIndex"), maxIndex);
  glUniform1i(uniform(program, "bgMinIndex"), minIndex);
  draw();
  segmentGrow(1.0f / static_cast<float>(imageWidth_), 1.0f / static_cast<float>(imageHeight_));
  return true;
}

bool OrvoSegmentor::segmentSimple(GLuint input, const OrvoColor& bgColor, float threshold) {
  const GLuint program = programSegmentSimple_;
  beginPass(program, input, segTempTexture_);
  int32_t maxIndex = 0, minIndex = 0;
  backdropChannels(bgColor.red, bgColor.green, bgColor.blue, kSimplePassLimit, &maxIndex, &minIndex);
  glUniform1f(uniform(program, "threshold"), threshold);
  glUniform3f(uniform(program, "bgColor"), bgColor.red, bgColor.green, bgColor.blue);
  glUniform1i(uniform(program, "bgMaxIndex"), maxIndex);
  glUniform1i(uniform(program, "bgMinIndex"), minIndex);
  draw();
  segmentGrow(4.0f / static_cast<float>(imageWidth_), 4.0f / static_cast<float>(imageHeight_));
  return true;
}

bool OrvoSegmentor::segmentHue(GLuint input, const OrvoColor& bgColor, float threshold) {
  const GLuint program = programSegmentHue_;
  beginPass(program, input, segResultTexture_);
  float hue = 0.0f, saturation = 0.0f, lightness = 0.0f;
  red(bgColor.red, bgColor.green, bgColor.blue, &hue, &saturation, &lightness);
  glUniform1f(uniform(program, "bgHue"), hue);
  glUniform1f(uniform(program, "threshold"), threshold);
  glUniform1f(uniform(program, "invTresh"), static_cast<float>(1.0 / static_cast<double>(threshold)));
  draw();
  return true;
}

void OrvoSegmentor::segmentMedian(float stepX, float stepY) {
  const GLuint program = programSegmentMedian_;
  beginPass(program, segTempTexture_, segResultTexture_);
  glUniform2f(uniform(program, "iamgestep"), stepX, stepY);
  draw();
}

void OrvoSegmentor::segmentGrow(float stepX, float stepY) {
  const GLuint program = programSegmentGrow_;
  beginPass(program, segTempTexture_, segResultTexture_);
  glUniform2f(uniform(program, "imagestep"), stepX, stepY);
  draw();
}

}  // namespace nudora

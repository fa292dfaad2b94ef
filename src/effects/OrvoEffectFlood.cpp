#include "effects/OrvoEffectFlood.h"

#include <algorithm>
#include <cmath>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/EglContext.h"

namespace nudora {

namespace {

constexpr int kSide = OrvoEffectFlood::kFieldSide;
constexpr int kMask = kSide - 1;

inline size_t cell(int y, int x) { return static_cast<size_t>(y & kMask) * kSide + static_cast<size_t>(x & kMask); }

}  // namespace

OrvoEffectFlood::OrvoEffectFlood()
    : heightImage_(kFieldCells, 0.0f), velImage_(kFieldCells, 0.0f), bytes_(kFieldCells, 0) {
  initHeightImage(hcoeff_);
}

OrvoEffectFlood::~OrvoEffectFlood() {
  OrvoProcessHelpers::deleteTexture(&heightTex_);
  OrvoProcessHelpers::deleteProgram(&programFlood_);
}

bool OrvoEffectFlood::setupGL() {
  if (EglContext::currentGlesMajorVersion() < 3) {
    consoleLog("OrvoEffectFlood: needs an OpenGL ES 3 context; the effect stays unavailable");
    return false;
  }
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshFlood, &programFlood_);
  OrvoProcessHelpers::generateRepeatingR8Texture(&heightTex_, kSide, kSide);
  return programFlood_ != 0;
}

bool OrvoEffectFlood::enable(const std::shared_ptr<void>& /*sender*/) {
  if (!enabled_) {
    enabled_ = true;
    initHeightImage(hcoeff_);
  }
  return true;
}

void OrvoEffectFlood::initHeightImage(float roughness) {
  initHeightImage(roughness, [this] { return random_.next(); });
}

void OrvoEffectFlood::initHeightImage(float roughness, const EffectRandom::Source& random) {
  std::fill(heightImage_.begin(), heightImage_.end(), 0.0f);
  std::vector<float>& h = heightImage_;
  for (int s = 0; kSide >> s >= 2; ++s) {
    const int b = 1 << s;
    const int size = kSide / b;
    const int half = size / 2;
    const float a = std::pow(0.5f, static_cast<float>(s) * roughness);
    // Four neighbours' mean plus this level's noise, kept within 0 .. 1.
    auto set = [&](int x, int y, int x1, int y1, int x2, int y2, int x3, int y3, int x4, int y4) {
      const float sum = h[cell(y1, x1)] + h[cell(y2, x2)] + h[cell(y3, x3)] + h[cell(y4, x4)];
      const double value = 0.25 * sum + a * (random() / 2147483648.0 - 0.5);
      h[cell(y, x)] = static_cast<float>(std::clamp(value, 0.0, 1.0));
    };
    for (int i = 0; i < b; ++i) {
      for (int j = 0; j < b; ++j) {
        const int x0 = j * kSide / b, y0 = i * kSide / b;
        set(x0 + half, y0 + half, x0, y0, x0 + size, y0, x0, y0 + size, x0 + size, y0 + size);
        set(x0 + half, y0, x0, y0, x0 + size, y0, x0 + half, y0 - half, x0 + half, y0 + half);
        set(x0 + half, y0 + size, x0, y0 + size, x0 + size, y0 + size, x0 + half, y0 + half, x0 + half,
            y0 + 3 * half);
        set(x0, y0 + half, x0, y0, x0, y0 + size, x0 - half, y0 + half, x0 + half, y0 + half);
        set(x0 + size, y0 + half, x0 + size, y0, x0 + size, y0 + size, x0 + half, y0 + half, x0 + 3 * half,
            y0 + half);
      }
    }
  }
  std::fill(velImage_.begin(), velImage_.end(), 0.0f);
}

void OrvoEffectFlood::updateHeightImage() {
  const std::vector<float>& h = heightImage_;
  for (int y = 0; y < kSide; ++y) {
    const float* up = h.data() + cell(y - 1, 0);
    const float* row = h.data() + cell(y, 0);
    const float* down = h.data() + cell(y + 1, 0);
    float* vel = velImage_.data() + cell(y, 0);
    for (int x = 0; x < kSide; ++x) {
      const float c = row[x];
      const float l = row[(x - 1) & kMask], r = row[(x + 1) & kMask];
      vel[x] += ((l - c) + (r - c) + (up[x] - c) + (down[x] - c)) * 1.0f * 0.2f;
    }
  }
  for (size_t i = 0; i < heightImage_.size(); ++i) heightImage_[i] += velImage_[i] * 0.2f;
}

void OrvoEffectFlood::heightBytes(const std::vector<float>& heights, std::vector<uint8_t>& bytes) {
  bytes.resize(heights.size());
  for (size_t i = 0; i < heights.size(); ++i) {
    bytes[i] = static_cast<uint8_t>(std::clamp((heights[i] + 1.0f) * 127.5f, 0.0f, 255.0f));
  }
}

int64_t OrvoEffectFlood::directionForMirror(int64_t direction, bool mirror) {
  if (mirror && direction == 3) return 4;
  if (mirror && direction == 4) return 3;
  return direction;
}

float OrvoEffectFlood::waterLineFor(float water_position, float scene_distance) {
  // A ray through upright height y (-1 .. 1, up) meets the water plane
  // before the wall when y < water_position x kFocal / scene_distance.
  if (water_position >= 0.0f || scene_distance <= 0.0f) return 1.0f;
  return 0.5f * (1.0f - water_position * kFocal / scene_distance);
}

bool OrvoEffectFlood::setHeightImage(const std::vector<float>& heights) {
  if (heights.size() != static_cast<size_t>(kFieldCells)) {
    consoleLog("OrvoEffectFlood: a height field needs %d cells, not %zu", kFieldCells, heights.size());
    return false;
  }
  heightImage_ = heights;
  return true;
}

bool OrvoEffectFlood::process(GLuint input, int32_t withWidth, int32_t andHeight, GLuint intoGLBuffer,
                              bool withMirror, int64_t direction) {
  if (!enabled_) return false;
  if (programFlood_ == 0) {
    consoleLog("OrvoEffectFlood: no program; setupGL has not succeeded");
    return false;
  }
  if (withWidth <= 0 || andHeight <= 0) {
    consoleLog("OrvoEffectFlood: cannot draw a %dx%d frame", withWidth, andHeight);
    return false;
  }
  GLint framebuffer = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
  if (framebuffer == 0) {
    consoleLog("OrvoEffectFlood: no framebuffer bound; nothing drawn");
    return false;
  }

  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, input);

  heightBytes(heightImage_, bytes_);
  glActiveTexture(GL_TEXTURE1);
  glBindTexture(GL_TEXTURE_2D, heightTex_);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kSide, kSide, GL_RED, GL_UNSIGNED_BYTE, bytes_.data());

  direction = directionForMirror(direction, withMirror);

  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, intoGLBuffer, 0);
  glViewport(0, 0, withWidth, andHeight);
  const GLuint p = programFlood_;
  glUseProgram(p);
  glUniform1i(glGetUniformLocation(p, "original"), 0);
  glUniform1i(glGetUniformLocation(p, "heightimage"), 1);
  glUniform1f(glGetUniformLocation(p, "amplitude"), 4.0f);
  glUniform1f(glGetUniformLocation(p, "reflection"), 0.95f);
  glUniform1f(glGetUniformLocation(p, "water_position"), water_position_);
  glUniform1f(glGetUniformLocation(p, "scene_distance"), scene_distance_);
  glUniform1i(glGetUniformLocation(p, "direction"), static_cast<GLint>(direction));
  // No gyro here: the view stays level (identity rotation and its inverse).
  glUniform4f(glGetUniformLocation(p, "q"), 0.0f, 0.0f, 0.0f, 1.0f);
  glUniform4f(glGetUniformLocation(p, "q_inv"), 0.0f, 0.0f, 0.0f, 1.0f);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
  glActiveTexture(GL_TEXTURE0);

  updateHeightImage();
  return true;
}

}  // namespace nudora

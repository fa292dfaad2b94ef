#include "effects/OrvoEffectWaterPane.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "gpu/OrvoProcessHelpers.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/EglContext.h"
#include "platform/Image.h"

namespace nudora {

namespace {

constexpr int kSide = OrvoEffectWaterPane::kMapSide;
constexpr int kMask = kSide - 1;  // the side is a power of two: & wraps negatives too

inline size_t cell(int y, int x) { return static_cast<size_t>(y & kMask) * kSide + static_cast<size_t>(x & kMask); }

void uploadHeightBytes(GLenum unit, GLuint texture, const std::vector<uint8_t>& bytes) {
  glActiveTexture(unit);
  glBindTexture(GL_TEXTURE_2D, texture);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
  glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kSide, kSide, GL_RED, GL_UNSIGNED_BYTE, bytes.data());
}

}  // namespace

OrvoEffectWaterPane::OrvoEffectWaterPane()
    : heightImage_(kMapCells, kFlat),
      heightImage2_(kMapCells, kFlat),
      heightByte_(kMapCells, 0),
      heightByte2_(kMapCells, 0) {
  initHeightImage();
}

OrvoEffectWaterPane::~OrvoEffectWaterPane() {
  OrvoProcessHelpers::deleteProgram(&program_);
  OrvoProcessHelpers::deleteTexture(&heightTex_);
  OrvoProcessHelpers::deleteTexture(&heightTex2_);
  OrvoProcessHelpers::deleteProgram(&programDisplacement_);
  OrvoProcessHelpers::deleteProgram(&programDisplacementGen_);
  OrvoProcessHelpers::deleteTexture(&displacementTex_);
}

bool OrvoEffectWaterPane::setupGL() {
  if (EglContext::currentGlesMajorVersion() < 3) {
    consoleLog("OrvoEffectWaterPane: needs an OpenGL ES 3 context; the effect stays unavailable");
    return false;
  }
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshWaterPane, &program_);
  OrvoProcessHelpers::generateRepeatingR8Texture(&heightTex_, kSide, kSide);
  OrvoProcessHelpers::generateRepeatingR8Texture(&heightTex2_, kSide, kSide);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshWaterPaneDisplacementGen,
                                                         &programDisplacementGen_);
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough, fshWaterPaneDisplacement,
                                                         &programDisplacement_);
  return program_ != 0 && programDisplacementGen_ != 0 && programDisplacement_ != 0;
}

bool OrvoEffectWaterPane::enable() {
  enabled_ = true;
  return true;
}

void OrvoEffectWaterPane::disable() {
  if (!enabled_) return;
  enabled_ = false;
  OrvoProcessHelpers::deleteTexture(&displacementTex_);
  displacementTex_ = 0;
  displacementHeight_ = 0;
  displacementDirection_ = -1;
}

int64_t OrvoEffectWaterPane::directionForMirror(int64_t direction, bool mirror) {
  if (mirror && direction == 3) return 4;
  if (mirror && direction == 4) return 3;
  return direction;
}

void OrvoEffectWaterPane::genDisplacementTextureWithWidth(int32_t w, int32_t andHeight, int64_t andDirection) {
  const int32_t h = andHeight;
  if (w == displacementWidth_ && h == displacementHeight_ && andDirection == displacementDirection_ &&
      displacementTex_ != 0) {
    return;
  }
  OrvoProcessHelpers::deleteTexture(&displacementTex_);
  glGenTextures(1, &displacementTex_);
  glBindTexture(GL_TEXTURE_2D, displacementTex_);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA16I, w, h, 0, GL_RGBA_INTEGER, GL_SHORT, nullptr);
  // Integer textures are only complete with nearest filtering.
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);

  uploadHeightBytes(GL_TEXTURE2, heightTex_, heightByte_);
  uploadHeightBytes(GL_TEXTURE3, heightTex2_, heightByte2_);

  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, displacementTex_, 0);
  glViewport(0, 0, w, h);
  const GLuint p = programDisplacementGen_;
  glUseProgram(p);
  glUniform1i(glGetUniformLocation(p, "heightimage"), 2);
  glUniform1i(glGetUniformLocation(p, "heightimage2"), 3);
  glUniform1f(glGetUniformLocation(p, "thickness"), thickness_);
  glUniform1f(glGetUniformLocation(p, "refraction"), refraction_);
  glUniform1i(glGetUniformLocation(p, "width"), w);
  glUniform1i(glGetUniformLocation(p, "height"), h);
  glUniform1f(glGetUniformLocation(p, "scale"), 1.0f / scale_);
  glUniform1f(glGetUniformLocation(p, "lightdirx"), std::cos(sunlight_angle_xy_) * std::cos(sunlight_angle_z_));
  glUniform1f(glGetUniformLocation(p, "lightdiry"), std::sin(sunlight_angle_xy_) * std::cos(sunlight_angle_z_));
  glUniform1f(glGetUniformLocation(p, "lightdirz"), std::sin(sunlight_angle_z_));
  glUniform1i(glGetUniformLocation(p, "direction"), static_cast<GLint>(andDirection));
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);

  displacementWidth_ = w;
  displacementHeight_ = h;
  displacementDirection_ = andDirection;
  ++displacementGenerations_;
}

bool OrvoEffectWaterPane::process(GLuint input, GLuint andBlurredTex, int32_t withWidth, int32_t andHeight,
                                  GLuint intoGLBuffer, bool withMirror, int64_t direction, float zoom) {
  if (!enabled_) return false;
  if (programDisplacementGen_ == 0 || programDisplacement_ == 0) {
    consoleLog("OrvoEffectWaterPane: no program; setupGL has not succeeded");
    return false;
  }
  if (withWidth <= 0 || andHeight <= 0 || withWidth > 32767 || andHeight > 32767) {
    consoleLog("OrvoEffectWaterPane: cannot draw a %dx%d frame", withWidth, andHeight);
    return false;
  }
  if (!std::isfinite(zoom) || zoom <= 0.0f) {
    consoleLog("OrvoEffectWaterPane: zoom %g is not a positive number; using 1", static_cast<double>(zoom));
    zoom = 1.0f;
  }
  GLint framebuffer = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &framebuffer);
  if (framebuffer == 0) {
    consoleLog("OrvoEffectWaterPane: no framebuffer bound; nothing drawn");
    return false;
  }

  direction = directionForMirror(direction, withMirror);
  genDisplacementTextureWithWidth(withWidth, andHeight, direction);

  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, input);
  glActiveTexture(GL_TEXTURE1);
  glBindTexture(GL_TEXTURE_2D, andBlurredTex);
  glActiveTexture(GL_TEXTURE2);
  glBindTexture(GL_TEXTURE_2D, displacementTex_);

  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, intoGLBuffer, 0);
  glViewport(0, 0, withWidth, andHeight);
  const GLuint p = programDisplacement_;
  glUseProgram(p);
  glUniform1i(glGetUniformLocation(p, "original"), 0);
  glUniform1i(glGetUniformLocation(p, "blurtex"), 1);
  glUniform1i(glGetUniformLocation(p, "displacementTex"), 2);
  glUniform1f(glGetUniformLocation(p, "luminance"), sunlight_luminance_);
  glUniform1f(glGetUniformLocation(p, "invzoom"), 1.0f / zoom);
  OrvoProcessHelpers::renderWithSquareVertices(squareVertices, textureVertices);
  glActiveTexture(GL_TEXTURE0);
  return true;
}

void OrvoEffectWaterPane::initHeightImage() {
  initHeightImage([this] { return random_.next(); });
}

void OrvoEffectWaterPane::initHeightImage(const EffectRandom::Source& random) {
  std::fill(heightImage_.begin(), heightImage_.end(), kFlat);
  addTrails(heightImage_, amount_, random);
  addDrops(heightImage_, amount_, random);
  smoothHeights(heightImage_);
  gravityFilter(5);
  for (size_t i = 0; i < heightImage_.size(); ++i) {
    // Every value lies within 127 .. 227 by construction; the clamp only
    // guards maps set from outside.
    heightByte_[i] = static_cast<uint8_t>(std::clamp(heightImage_[i], 0.0f, 255.0f));
  }
  for (uint8_t& b : heightByte2_) {
    const float r = static_cast<float>(random());
    // Mostly 0 or 1; a draw within 64 of the top rounds up to 2^31 as a float and gives 2.
    b = static_cast<uint8_t>(static_cast<int>((r + r) / 2147483648.0));
  }
}

int OrvoEffectWaterPane::addTrails(std::vector<float>& map, float amount, const EffectRandom::Source& random) {
  if (map.size() != static_cast<size_t>(kMapCells)) {
    consoleLog("OrvoEffectWaterPane: a height map needs %d cells, not %zu", kMapCells, map.size());
    return 0;
  }
  std::array<int, kSide> path{};
  int i = 0;
  // The bound is drawn anew before every trail, the last (failing) test included.
  for (; i < static_cast<int>(amount * 10.0 + (random() % 4)); ++i) {
    path[0] = random() % kSide;
    for (int j = 1; j < kSide / 2; ++j) path[j] = path[j - 1] + random() % 5 - 2;
    // The lower half retraces the upper, so the trail closes over the vertical wrap.
    for (int j = kSide / 2; j < kSide; ++j) path[j] = path[kSide - 1 - j];
    const int w = random() % 3;
    for (int y = 0; y < kSide; ++y) {
      bool open = false;
      for (int k = -(w + 1); k <= w + 1 && !open; ++k) open = map[cell(y, path[y] + k)] == kFlat;
      if (!open) break;  // ran into an earlier trail
      for (int k = -(w + 3); k <= w + 3; ++k) map[cell(y, path[y] + k)] = kTrail;
    }
  }
  return i;
}

int OrvoEffectWaterPane::addDrops(std::vector<float>& map, float amount, const EffectRandom::Source& random) {
  if (map.size() != static_cast<size_t>(kMapCells)) {
    consoleLog("OrvoEffectWaterPane: a height map needs %d cells, not %zu", kMapCells, map.size());
    return 0;
  }
  const int drops = static_cast<int>(amount * 1024.0);
  int placed = 0;
  for (int n = 0; n < drops; ++n) {
    const int m = random() % 6;
    const int R = m + 2;
    const int cx = random() % kSide;
    const int cy = random() % kSide;
    // The clear zone reaches one column further right than down.
    bool clear = true;
    for (int dy = -6 - m; dy <= m + 5 && clear; ++dy) {
      for (int dx = -6 - m; dx <= m + 6 && clear; ++dx) clear = map[cell(cy + dy, cx + dx)] == kFlat;
    }
    if (!clear) continue;
    for (int dy = -R; dy <= R; ++dy) {
      for (int dx = -R; dx <= R; ++dx) {
        const float d = std::sqrt(static_cast<float>(dx * dx + dy * dy));
        if (d < static_cast<float>(R)) {
          float& v = map[cell(cy + dy, cx + dx)];
          v = static_cast<float>(v + (static_cast<float>(R * R) - d * d) * 2.0 + 1.0);
        }
      }
    }
    ++placed;
  }
  return placed;
}

void OrvoEffectWaterPane::smoothHeights(std::vector<float>& map) {
  if (map.size() != static_cast<size_t>(kMapCells)) {
    consoleLog("OrvoEffectWaterPane: a height map needs %d cells, not %zu", kMapCells, map.size());
    return;
  }
  float weights[5][5];
  float total = 0.0f;
  for (int dy = -2; dy <= 2; ++dy) {
    for (int dx = -2; dx <= 2; ++dx) {
      weights[dy + 2][dx + 2] = 1.0f / static_cast<float>((std::abs(dx) + 1) * (std::abs(dy) + 1));
      total += weights[dy + 2][dx + 2];
    }
  }
  const std::vector<float> source = map;
  for (int y = 0; y < kSide; ++y) {
    const float* rows[5];
    for (int dy = -2; dy <= 2; ++dy) rows[dy + 2] = source.data() + cell(y + dy, 0);
    float* out = map.data() + cell(y, 0);
    for (int x = 0; x < kSide; ++x) {
      float sum = 0.0f;
      for (int dy = 0; dy < 5; ++dy) {
        for (int dx = -2; dx <= 2; ++dx) sum += rows[dy][(x + dx) & kMask] * weights[dy][dx + 2];
      }
      out[x] = sum / total;
    }
  }
}

void OrvoEffectWaterPane::gravityFilter(int n) {
  if (n < 1) {
    consoleLog("OrvoEffectWaterPane: gravityFilter needs at least one row, not %d", n);
    return;
  }
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const float v = heightImage_[cell(y, x)];
      if (v == kFlat) {
        heightImage2_[cell(y, x)] = kFlat;
        continue;
      }
      float sum = 0.0f;
      for (int k = 0; k < n; ++k) sum += heightImage_[cell(y - k, x)];
      heightImage2_[cell(y, x)] = sum / static_cast<float>(n);
    }
  }
  heightImage_ = heightImage2_;
}

void OrvoEffectWaterPane::gaussianFilter() {
  static constexpr float kTaps[5] = {0.0625f, 0.25f, 0.375f, 0.25f, 0.0625f};
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      float sum = 0.0f;
      for (int k = -2; k <= 2; ++k) sum += heightImage_[cell(y, x + k)] * kTaps[k + 2];
      heightImage2_[cell(y, x)] = sum;
    }
  }
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      float sum = 0.0f;
      for (int k = -2; k <= 2; ++k) sum += heightImage2_[cell(y + k, x)] * kTaps[k + 2];
      heightImage_[cell(y, x)] = sum;
    }
  }
}

bool OrvoEffectWaterPane::loadHeightImage() {
  auto image = Image::imageNamed("waterpane_heightmap.png");
  if (!image || image->width() <= 0 || image->height() <= 0) {
    consoleLog("OrvoEffectWaterPane: waterpane_heightmap.png could not be read; the height bytes stay as they are");
    return false;
  }
  for (int y = 0; y < kSide; ++y) {
    const int sy = static_cast<int>(static_cast<int64_t>(y) * image->height() / kSide);
    for (int x = 0; x < kSide; ++x) {
      const int sx = static_cast<int>(static_cast<int64_t>(x) * image->width() / kSide);
      const uint8_t* p = image->pixel(sx, sy);
      // Grey as a grey bitmap takes it: Rec. 601 luma, exact for grey pixels.
      const int grey = (299 * p[0] + 587 * p[1] + 114 * p[2] + 500) / 1000;
      heightByte_[cell(y, x)] = static_cast<uint8_t>(grey / 4);
    }
  }
  return true;
}

bool OrvoEffectWaterPane::setHeightImage(const std::vector<float>& heights) {
  if (heights.size() != static_cast<size_t>(kMapCells)) {
    consoleLog("OrvoEffectWaterPane: a height map needs %d cells, not %zu", kMapCells, heights.size());
    return false;
  }
  heightImage_ = heights;
  return true;
}

}  // namespace nudora

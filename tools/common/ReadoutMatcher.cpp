#include "common/ReadoutMatcher.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>

#include "common/BgraSampling.h"
#include "common/EveryCore.h"

namespace nudora::tool {
namespace {

// exp of half a rotation vector: the turn by |v| about v.
glm::dquat turn(const glm::dvec3& v) {
  const double angle = glm::length(v);
  if (angle < 1e-300) return glm::dquat(1.0, 0.0, 0.0, 0.0);
  return glm::angleAxis(angle, v / angle);
}

// Frame's colour at (sx, sy) in pixel-centre coordinates.
void sampleBilinear(const PixelBuffer& frame, double sx, double sy, uint8_t* px) {
  sampleBgraBilinear(frame.baseAddress(), frame.bytesPerRow(), frame.width(), frame.height(), sx, sy, px);
}

}  // namespace

ReadoutMatcher::ReadoutMatcher(std::shared_ptr<const GyroLog> log, double readoutSeconds, double delaySeconds,
                               double focalPx)
    : log_(std::move(log)), readout_(readoutSeconds), delay_(delaySeconds), focal_(focalPx) {}

bool ReadoutMatcher::covers(double t) const {
  return log_ && log_->size() >= 2 && log_->startTime() <= t + delay_ && log_->endTime() >= t + delay_ + readout_;
}

glm::dvec3 ReadoutMatcher::rateAt(double t, size_t* hint) const {
  const auto& readings = log_->readings();
  size_t i = std::min(*hint, readings.size() - 2);
  while (i + 2 < readings.size() && readings[i + 1].t <= t) ++i;
  *hint = i;
  const double span = readings[i + 1].t - readings[i].t;
  const double w = span > 0.0 ? std::clamp((t - readings[i].t) / span, 0.0, 1.0) : 0.0;
  const GyroData a = log_->deviceReading(i), b = log_->deviceReading(i + 1);
  const glm::dvec3 device(a.x + (b.x - a.x) * w, a.y + (b.y - a.y) * w, a.z + (b.z - a.z) * w);
  return {-device.y, device.x, device.z};
}

std::vector<glm::dquat> ReadoutMatcher::rowTurns(double t, int rows) const {
  std::vector<glm::dquat> turns(static_cast<size_t>(std::max(rows, 1)), glm::dquat(1.0, 0.0, 0.0, 0.0));
  const double start = t + delay_, step = readout_ / std::max(rows, 1);
  size_t hint = 0;  // rateAt walks on from here
  glm::dquat q(1.0, 0.0, 0.0, 0.0);
  for (int r = 1; r < rows; ++r) {
    // The body rate turns by right-multiplication; the rate at the step's
    // middle keeps the error at the third order of the step.
    q = glm::normalize(q * turn(rateAt(start + step * (r - 0.5), &hint) * step));
    turns[static_cast<size_t>(r)] = q;
  }
  return turns;
}

std::shared_ptr<PixelBuffer> ReadoutMatcher::match(const PixelBuffer& frame, double t, double t0) const {
  const int w = frame.width(), h = frame.height();
  if (w < 2 || h < 2 || !covers(t) || !covers(t0)) return nullptr;
  auto out = PixelBuffer::create(w, h);
  if (!out) return nullptr;
  const std::vector<glm::dquat> own = rowTurns(t, h), reference = rowTurns(t0, h);
  onEveryCore([&](int first, int step) {
    for (int y = first; y < h; y += step) {
      const glm::dmat3 m = glm::mat3_cast(glm::conjugate(own[y]) * reference[y]);
      const double yc = (h * 0.5 - y - 0.5) / focal_;
      // The row's rays are (xc, yc, -1): their sources are xc * m0 + (yc * m1 - m2).
      const glm::dvec3 base = yc * m[1] - m[2];
      uint8_t* px = out->row(y);
      for (int x = 0; x < w; ++x, px += 4) {
        const glm::dvec3 s = base + ((x + 0.5 - w * 0.5) / focal_) * m[0];
        sampleBilinear(frame, w * 0.5 + focal_ * s.x / -s.z - 0.5, h * 0.5 - focal_ * s.y / -s.z - 0.5, px);
      }
    }
  });
  return out;
}

std::shared_ptr<PixelBuffer> ReadoutMatcher::matchShear(const PixelBuffer& frame, double shearX, double stretchY) {
  const int w = frame.width(), h = frame.height();
  if (w < 2 || h < 2) return nullptr;
  auto out = PixelBuffer::create(w, h);
  if (!out) return nullptr;
  onEveryCore([&](int first, int step) {
    for (int y = first; y < h; y += step) {
      const double along = (y + 0.5) / h - 0.5;
      uint8_t* px = out->row(y);
      for (int x = 0; x < w; ++x, px += 4) sampleBilinear(frame, x + shearX * along, y + stretchY * along, px);
    }
  });
  return out;
}

}  // namespace nudora::tool

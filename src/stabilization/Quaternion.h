#pragma once
// Rotation quaternions of the gyro stabilisation, as glm::quat.
//
// glm::quat stores x, y, z, w in that order in memory, but its constructor
// takes (w, x, y, z). These helpers take components in (x, y, z, w) order and
// set them by name, so call sites never depend on the constructor order.
// quaternionMultiply(a, b) is the Hamilton product a * b in written order;
// applied to a vector, b acts first. Arithmetic is single precision, with the
// same terms as the platform quaternion library the rest of the design assumes
// (its invert divides by the squared norm; its normalise multiplies by the
// reciprocal length).

#include <cmath>
#include <cstddef>

#include <glm/gtc/quaternion.hpp>

namespace nudora {

static_assert(sizeof(glm::quat) == 4 * sizeof(float), "glm::quat must be four packed floats");
static_assert(offsetof(glm::quat, x) == 0 && offsetof(glm::quat, w) == 3 * sizeof(float),
              "glm::quat must be laid out x, y, z, w (do not define GLM_FORCE_QUAT_DATA_WXYZ)");

inline glm::quat quaternionMake(float x, float y, float z, float w) {
  glm::quat q;
  q.x = x;
  q.y = y;
  q.z = z;
  q.w = w;
  return q;
}

inline glm::quat quaternionIdentity() { return quaternionMake(0.0f, 0.0f, 0.0f, 1.0f); }

inline glm::quat quaternionMultiply(const glm::quat& a, const glm::quat& b) {
  return quaternionMake(a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y,
                        a.w * b.y + a.y * b.w + a.z * b.x - a.x * b.z,
                        a.w * b.z + a.z * b.w + a.x * b.y - a.y * b.x,
                        a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z);
}

inline float quaternionLength(const glm::quat& q) {
  return std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w);
}

inline glm::quat quaternionNormalize(const glm::quat& q) {
  const float scale = 1.0f / quaternionLength(q);
  return quaternionMake(q.x * scale, q.y * scale, q.z * scale, q.w * scale);
}

// The true inverse (conjugate over the squared norm), also for non-unit input.
inline glm::quat quaternionInvert(const glm::quat& q) {
  const float scale = 1.0f / (q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w);
  return quaternionMake(-q.x * scale, -q.y * scale, -q.z * scale, q.w * scale);
}

}  // namespace nudora

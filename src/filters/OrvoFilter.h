#pragma once
// The user-adjustable parameters of one style or lens filter: an angle, a
// radius, a centre and three general values, read by the filter pass into the
// uniforms "angle", "radius", "offset" and "commonInput". The setters keep
// every value inside the range the shaders are written for.
//
// Thread rules: no locking; the base processor owns its filter objects and
// touches them only on its processing queue.

#include <cstdint>
#include <memory>

#include "platform/Geometry.h"

namespace nudora {

class OrvoFilter {
 public:
  static constexpr int64_t kTypeStyle = 0;
  static constexpr int64_t kTypeLens = 1;

  static std::shared_ptr<OrvoFilter> filterWithType(int64_t type, int64_t filterID);

  // type: kTypeStyle or kTypeLens; filterID: the style or lens index.
  // Starts at angle 0, radius 0.25, centre (0.5, 0.5), values 0.5.
  OrvoFilter(int64_t type, int64_t filterID);

  int64_t filterType() const { return filterType_; }
  int64_t filterID() const { return filterID_; }

  float angle() const { return angle_; }
  // Radians, wrapped into [0, 2 pi) by whole turns in double precision and
  // then stored as float; taking a double lets exactly 2 pi come out as 0. A
  // value just below 0 can still round up to 2 pi in the float. A non-finite
  // angle is refused with a console line and the angle is kept.
  void setAngle(double angle);

  float radius() const { return radius_; }
  // Clamped to 0.125 .. 0.45. NaN is refused and the radius kept.
  void setRadius(float radius);

  OrvoPoint center() const { return center_; }
  // Each coordinate clamped to 0.25 .. 0.75, so the centre never reaches the
  // picture's edges. A NaN coordinate refuses the whole point.
  void setCenter(OrvoPoint center);

  float value1() const { return value1_; }
  float value2() const { return value2_; }
  float value3() const { return value3_; }
  // Clamped to 0 .. 1. NaN is refused and the value kept.
  void setValue1(float value);
  void setValue2(float value);
  void setValue3(float value);

 private:
  int64_t filterType_;
  int64_t filterID_;
  float angle_ = 0.0f;
  float radius_ = 0.25f;
  OrvoPoint center_{0.5, 0.5};
  float value1_ = 0.5f;
  float value2_ = 0.5f;
  float value3_ = 0.5f;
};

}  // namespace nudora

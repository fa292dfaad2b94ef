#pragma once
// Gives a burst frame the rolling shutter of the burst's first frame, from
// the gyro log, so that one rotation per frame can then align it.
//
// A rolling shutter reads row r some r / H of the readout after row 0, and a
// camera that turns meanwhile bends every frame its own way. The frame
// aligner turns each frame by one rotation onto the first, which cannot
// undo a bend that differs between them: at a 20 ms readout and a hand's
// shake the rows of a burst frame disagree with the first frame's by a
// pixel or more. This class resamples frame k so that each of its rows
// carries the turn that the first frame's row of the same number carries,
// relative to its own first row:
//
//   source ray = A_k(r)^-1 * A_0(r) * output ray,
//
// where A_i(r) is the camera's turn in frame i from row 0's time to row r's
// time, integrated from the log's rates. The gyro's zero drift is the same
// in both terms over a span of equal length and drops out. Afterwards frame
// k differs from the first frame by the turn between their first rows only.
//
// Axes are the image axes (x right, y up, the camera looking along -z); a
// log's device axes map to them as on a phone's rear camera held in
// landscape: image x = -device y, image y = device x, image z = device z.
// Pixel (c, r) looks along ((c + 0.5 - W/2) / f, (H/2 - r - 0.5) / f, -1).
//
// Thread rules: const members may be called from any thread at once.

#include <memory>

#include <glm/gtc/quaternion.hpp>

#include "platform/GyroLog.h"
#include "platform/PixelBuffer.h"

namespace nudora::tool {

class ReadoutMatcher {
 public:
  // readoutSeconds: first to last row; delaySeconds: a frame's time plus
  // this is the log's time.
  ReadoutMatcher(std::shared_ptr<const GyroLog> log, double readoutSeconds, double delaySeconds, double focalPx);

  // A_i(r) for every row of a frame of `rows` rows whose first row is read
  // at frame time t: entry r maps a ray of row r's camera into row 0's.
  std::vector<glm::dquat> rowTurns(double t, int rows) const;

  // Frame (first row at frame time t) resampled to carry the rows' turns of
  // the reference frame (first row at t0), read bilinearly, the edge
  // continued beyond the border. Null when the log does not cover both
  // readouts.
  std::shared_ptr<PixelBuffer> match(const PixelBuffer& frame, double t, double t0) const;

  // Without a log: frame resampled to undo a bend measured from the
  // pictures, the content of its bottom row moved shearX pixels right and
  // stretchY pixels down more than its top row's, against the reference;
  // the centre row stays. Null for a frame under 2 x 2.
  static std::shared_ptr<PixelBuffer> matchShear(const PixelBuffer& frame, double shearX, double stretchY);

  // True when the log holds readings from t to the end of its readout.
  bool covers(double t) const;

 private:
  // The log's rate at log time t in image axes, linear between readings.
  glm::dvec3 rateAt(double t, size_t* hint) const;

  std::shared_ptr<const GyroLog> log_;
  double readout_;
  double delay_;
  double focal_;
};

}  // namespace nudora::tool

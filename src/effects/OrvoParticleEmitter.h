#pragma once
// The base of the particle emitters: a fixed array of particles that the
// emitter moves one step per update, and the shader pieces and sprite image
// it is drawn with. The base holds no particles and moves nothing; each
// subclass owns its array inline and points `particles` at it.
//
// Random numbers: every draw is a uniformly random 32-bit unsigned value,
// reduced with % or & by the emitter's rules. By default they come from one
// process-wide generator seeded from std::random_device; a test hands in its
// own source to get a known sequence.
//
// Thread rules: an emitter is not locked; it is moved and read on the GL
// thread that draws it. It is neither copyable nor movable, as `particles`
// points into the object itself.

#include <cstdint>
#include <functional>
#include <string>

#include "effects/OrvoParticle.h"

namespace nudora {

class OrvoParticleEmitter {
 public:
  using RandomSource = std::function<uint32_t()>;

  // nullptr: the process-wide generator.
  explicit OrvoParticleEmitter(RandomSource random = nullptr);
  virtual ~OrvoParticleEmitter() = default;
  OrvoParticleEmitter(const OrvoParticleEmitter&) = delete;
  OrvoParticleEmitter& operator=(const OrvoParticleEmitter&) = delete;

  // A uniformly random 32-bit value from the process-wide generator, seeded
  // once from std::random_device (locked, so emitters on different threads
  // do not tear it).
  static uint32_t defaultRandom();

  // How many particles of the array are drawn and moved.
  int64_t aliveParticleNum() const { return aliveParticleNum_; }
  // Lowers (or restores) the count within the emitter's array; a count
  // outside 0 .. capacity is refused with a console line and false.
  bool setAliveParticleNum(int64_t count);
  // The size of the emitter's array (0 for the base).
  int64_t capacity() const { return capacity_; }
  // The emitter's particle array, nullptr for the base.
  Particle* particles() const { return particles_; }

  // Stored shader pieces the particle program is built from.
  const char* vsh() const { return vsh_; }
  const char* fsh() const { return fsh_; }
  const std::string& textureName() const { return textureName_; }

  // The name keeps its original spelling: hosts and subclasses know it so.
  virtual void initParicles() {}
  virtual void updateParticles() {}
  std::string getParticleImageName() const { return textureName_; }

 protected:
  // The next random draw.
  uint32_t draw() { return random_(); }

  // Positions from draws, on a 1920 x 1080 grid of the frame (the
  // constants are 1/1920 and 1/1080 as the emitters have always used them).
  // Across the frame: -1 .. 1.
  static float frameX(uint32_t r) { return static_cast<float>(r % 1920 * 0.00052083333333 * 2.0 - 1.0); }
  // Down the frame: -1 .. 1.
  static float frameY(uint32_t r) { return static_cast<float>(r % 1080 * 0.00092592592593 * 2.0 - 1.0); }
  // Up to half a frame above its top: -1.5 .. -1, where falling particles re-enter.
  static float aboveFrameY(uint32_t r) { return static_cast<float>(-(r % 540 * 0.00092592592593) - 1.0); }
  // Subclass constructors: the array, its count, and the drawing resources.
  void adopt(Particle* array, int64_t count, const char* fragmentPiece, std::string texture);

  int64_t aliveParticleNum_ = 0;
  int64_t capacity_ = 0;
  Particle* particles_ = nullptr;
  const char* vsh_;
  const char* fsh_;
  std::string textureName_ = "rain.png";

 private:
  RandomSource random_;
};

}  // namespace nudora

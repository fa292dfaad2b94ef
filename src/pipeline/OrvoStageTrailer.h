#pragma once
// The closing animation of a recording: one full-screen pass mixing the
// current picture, a strongly blurred copy of it (blur level 3) and a
// host-supplied trailer picture, driven by stopSec, the seconds since the
// trailer began. The curve (see weightsAt):
//   0 .. 1 s     the picture melts into its blurred copy;
//   1 .. 2.5 s   the trailer card fades in, growing from 85% to full size,
//                while the blurred background darkens by 35%;
//   afterwards   held.
// The card is a centred square, 80% of the frame's shorter side at full
// size, turned with the frame's orientation like the watermark (1 and 2
// transposed, 4 half a turn, 3 upright; a mirrored input exchanges 3 and 4,
// mirrored input and result together flip it along y). The picture is
// uploaded padded to a square with a transparent rim (see cardImage), so it
// keeps its own shape inside the card.
//
// Thread rules: setupGL, loadImage, freeTextures, processFrom and the
// destructor run with the owner's context current (the processing queue).
// The stage owns its program and the trailer texture; the source and target
// textures, the framebuffer and the blur stage stay the caller's.

#include <GLES3/gl3.h>

#include <cstdint>
#include <memory>

namespace nudora {

class Image;
class OrvoStageGaussianBlur;

// The animation at one moment. Output colour (premultiplied) is
//   background = picture * original + blurred * blurredCopy, rgb times shade
//   card       = trailer picture sample * trailer (zero outside the card)
//   out        = background * (1 - card alpha) + card
// with the card's side scaled by `scale`.
struct OrvoTrailerWeights {
  float picture = 1.0f;
  float blurred = 0.0f;
  float trailer = 0.0f;
  float shade = 1.0f;
  float scale = 0.85f;
};

class OrvoStageTrailer {
 public:
  OrvoStageTrailer() = default;
  ~OrvoStageTrailer();
  OrvoStageTrailer(const OrvoStageTrailer&) = delete;
  OrvoStageTrailer& operator=(const OrvoStageTrailer&) = delete;

  // The curve above; fshTrailer_GLES1 computes the same per pixel.
  static OrvoTrailerWeights weightsAt(float stopSec);
  // The picture centred on a transparent square of side max(w, h) + 2;
  // nullptr for a missing or empty picture.
  static std::shared_ptr<Image> cardImage(const std::shared_ptr<Image>& image);

  // Loads the program into programTrailer; false when it does not build
  // (the loader has printed why).
  bool setupGL();
  // Uploads the trailer picture, replacing the previous one. A missing or
  // empty picture is refused with a console line and the previous one kept.
  void loadImage(const std::shared_ptr<Image>& image);
  void freeTextures();

  // Draws the trailer frame for stopSec from `from` into `to` (width x
  // height) on the framebuffer the caller has bound, after running blur
  // level 3 of gaussianBlurStage on `from` (the stage must be sized for
  // width x height). False, drawing nothing, when stopSec is not above 0 or
  // a size is not positive; true without drawing when there is no program
  // or the framebuffer is incomplete. Without a blur stage the picture
  // stands in for its blurred copy. Without a trailer picture unit 2 holds
  // texture 0, which samples opaque black. Uses texture units 0 to 2.
  bool processFrom(GLuint from, GLuint to, int32_t width, int32_t height, float stopSec, bool mirror,
                   bool mirrorResult, int64_t orientation, OrvoStageGaussianBlur* gaussianBlurStage);

  GLuint programTrailer() const { return programTrailer_; }
  GLuint trailerTexture() const { return trailerTexture_; }

 private:
  GLuint programTrailer_ = 0;
  GLuint trailerTexture_ = 0;
};

}  // namespace nudora

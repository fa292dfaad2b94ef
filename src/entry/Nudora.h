#pragma once
// The library's front door: a host obtains the shared facade once, then
// hands it every camera frame with an output buffer of its own.
//
//   auto nudora = nudora::Nudora::sharedInstance();   // nullptr without OpenGL ES 2 or 3
//   nudora->processor()->setStyleFilter(18);
//   nudora->process(frame, output);                    // output now holds the frame
//
// Everything beyond stabilisation (filters, trailer, watermark, denoise) is
// set on processor(). Frames from process() are never mirrored, composed
// over a background or given a trailer, and always use orientation 1; a host
// that wants those calls processor()->effectPixelBuffer itself.
//
// Thread rules: sharedInstance is safe from any thread. process blocks its
// caller until the frame is rendered and must not be called from the
// processing queue. enableStabi reads and writes the processor's flag
// directly; a change takes effect from the next frame.

#include <memory>

#include "pipeline/OrvoRealTimeProcessor.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"

extern "C" {
// "@(#)PROGRAM:Nudora  PROJECT:Nudora-1" and a line feed.
extern const unsigned char NudoraVersionString[];
extern const double NudoraVersionNumber;
}

namespace nudora {

class Nudora {
 public:
  // The process-wide facade, made once with create(); nullptr when this
  // machine offers neither OpenGL ES 3 nor 2.
  static std::shared_ptr<Nudora> sharedInstance();
  // A facade whose processor is set up for OpenGL ES 3, else 2; nullptr
  // (after "v2 v3 not support") when neither can be had.
  static std::shared_ptr<Nudora> create();

  // The pipeline, made on first use.
  const std::shared_ptr<OrvoRealTimeProcessor>& processor();
  void setProcessor(std::shared_ptr<OrvoRealTimeProcessor> processor) { processor_ = std::move(processor); }

  // One camera frame into the host's BGRA output buffer.
  void process(const std::shared_ptr<SampleBuffer>& sample, const std::shared_ptr<PixelBuffer>& outBuffer);

  bool enableStabi();
  void setEnableStabi(bool enable);

 private:
  Nudora() = default;
  std::shared_ptr<OrvoRealTimeProcessor> processor_;
};

}  // namespace nudora

#pragma once
// Runs single frames through the base processor's effect pass (style, lens,
// beautify, tone mapping, digital zoom, watermark) and keeps the picture in a
// result buffer of its own, which the caller reads after the call returns.
//
// The frame is first copied into an input buffer the processor owns, so the
// caller's sample buffer is only read during effectSampeBuffer. Both buffers
// are 32BGRA at the frame's size; they are made on the first frame, remade
// when the size changes and kept until releaseAllResources.
//
// Thread rules: effectSampeBuffer and prepareForInputWidth may be called from
// any thread; the work runs on queue(). effectSampeBuffer waits for it, so
// resultPixelBuffer() holds the frame on return; prepareForInputWidth only
// waits when already on a processor queue (it runs in place there).
// resultPixelBuffer() is rewritten by the next frame. setBeauty and lensZoom
// are plain fields set from the host's thread, like the base's filter choices.
// The processor must not be destroyed on its own queue.

#include <cstdint>
#include <memory>

#include "gpu/OrvoBaseProcessor.h"
#include "platform/PixelBuffer.h"
#include "platform/SampleBuffer.h"

namespace nudora {

class OrvoImageProcessor : public OrvoBaseProcessor {
 public:
  // The application's one still processor, made on first use. The caller
  // sets it up with setupWithAPI before the first frame.
  static std::shared_ptr<OrvoImageProcessor> sharedInstance();

  OrvoImageProcessor() = default;
  ~OrvoImageProcessor() override;

  // A new zero-filled 32BGRA buffer; nullptr, after printing
  // "Allocat input image buffer error : <status>", when it cannot be made.
  std::shared_ptr<PixelBuffer> allocatPixelBuffer(int64_t width, int64_t height);

  // Sizes the swap texture and both buffers for a frame of width x height.
  void prepareForInputWidth(int64_t width, int64_t height);

  // Copies the sample's picture into the input buffer and renders it into
  // resultPixelBuffer() with the given flags. A null sample does nothing.
  void effectSampeBuffer(const std::shared_ptr<SampleBuffer>& sample, bool mirror, bool mirrorResult,
                         int64_t orientation);

  // Levels 0 to 4 pick beautify strength and face stretching; others are ignored.
  void setBeauty(int64_t level);

  // True when a frame would be changed: a filter pass is needed or a watermark is on.
  bool shouldEnableProcess() const;

  // The base release, then both buffers (the next frame makes them again).
  void releaseAllResources() override;

  const std::shared_ptr<PixelBuffer>& resultPixelBuffer() const { return resultPixelBuffer_; }
  float lensZoom() const { return lensZoom_; }
  void setLensZoom(float v) { lensZoom_ = v; }

  // For callers that must tell a drawn result from a stale one: whether the
  // last effectSampeBuffer rendered into resultPixelBuffer().
  bool rendered() const { return rendered_; }
  // The input copy buffer and how many times each buffer has been allocated.
  const std::shared_ptr<PixelBuffer>& inPixelBuffer() const { return inPixelBuffer_; }
  int64_t inputAllocationCount() const { return inputAllocationCount_; }
  int64_t resultAllocationCount() const { return resultAllocationCount_; }

 private:
  // The body of prepareForInputWidth; runs on the queue.
  void prepareOnQueue(int64_t width, int64_t height);
  // Copies the picture of source into inPixelBuffer_, which has its size.
  void copyIntoInputBuffer(const PixelBuffer& source);

  uint64_t inputWidth_ = 0;
  uint64_t inputHeight_ = 0;
  std::shared_ptr<PixelBuffer> inPixelBuffer_;
  uint64_t resultWidth_ = 0;
  uint64_t resultHeight_ = 0;
  std::shared_ptr<PixelBuffer> resultPixelBuffer_;
  float lensZoom_ = 0.0f;

  bool rendered_ = false;
  int64_t inputAllocationCount_ = 0;
  int64_t resultAllocationCount_ = 0;
};

}  // namespace nudora

#include "gpu/OrvoImageProcessor.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "log/OrvoLog.h"
#include "pipeline/OrvoStageWatermark.h"
#include "platform/Console.h"

namespace nudora {
namespace {
// The statuses a buffer allocation reports, numbered as the phone's pixel
// buffers number them (invalid size, allocation failed).
constexpr int32_t kAllocatInvalidSize = -6681;
constexpr int32_t kAllocatFailed = -6662;

struct BeautyLevel {
  float beautify;
  bool stretchFace;
};
constexpr BeautyLevel kBeautyLevels[] = {{0.0f, false}, {0.3f, false}, {0.5f, false}, {0.8f, false}, {0.8f, true}};
}  // namespace

std::shared_ptr<OrvoImageProcessor> OrvoImageProcessor::sharedInstance() {
  static const std::shared_ptr<OrvoImageProcessor> instance = std::make_shared<OrvoImageProcessor>();
  return instance;
}

OrvoImageProcessor::~OrvoImageProcessor() {
  // An asynchronous prepareForInputWidth may still be queued and touches this
  // object's buffers, which go before the base destructor drains the queue.
  queue_->sync([] {});
}

std::shared_ptr<PixelBuffer> OrvoImageProcessor::allocatPixelBuffer(int64_t width, int64_t height) {
  // There is no IOSurface here: library-owned memory is what the texture
  // cache uploads from and writes back to.
  std::shared_ptr<PixelBuffer> buffer;
  int32_t status = kAllocatInvalidSize;
  if (width > 0 && height > 0 && width <= std::numeric_limits<int>::max() &&
      height <= std::numeric_limits<int>::max()) {
    try {
      buffer = PixelBuffer::create(static_cast<int>(width), static_cast<int>(height));
    } catch (const std::bad_alloc&) {
      status = kAllocatFailed;
    }
  }
  if (!buffer) consoleLog("Allocat input image buffer error : %d", status);
  return buffer;
}

void OrvoImageProcessor::prepareForInputWidth(int64_t width, int64_t height) {
  if (SerialQueue::getCurrentSpecific(OrvoProcessorQueueContext) != nullptr) {
    prepareOnQueue(width, height);
  } else {
    queue_->async([this, width, height] { prepareOnQueue(width, height); });
  }
}

void OrvoImageProcessor::prepareOnQueue(int64_t width, int64_t height) {
  // Without a context there is no swap texture to size, only the buffers.
  if (context_) {
    updateResourceWithWidth(static_cast<int32_t>(width), static_cast<int32_t>(height));
    makeCurrent();
  }
  const uint64_t w = static_cast<uint64_t>(std::max<int64_t>(width, 0));
  const uint64_t h = static_cast<uint64_t>(std::max<int64_t>(height, 0));
  // A failed allocation leaves a null buffer with the size recorded, so the
  // frames of that size render nothing rather than retrying every time.
  if (inputWidth_ != w || inputHeight_ != h) {
    auto buffer = allocatPixelBuffer(width, height);
    ++inputAllocationCount_;
    inPixelBuffer_ = std::move(buffer);
    inputWidth_ = w;
    inputHeight_ = h;
  }
  if (resultWidth_ != w || resultHeight_ != h) {
    auto buffer = allocatPixelBuffer(width, height);
    ++resultAllocationCount_;
    resultPixelBuffer_ = std::move(buffer);
    resultWidth_ = w;
    resultHeight_ = h;
  }
}

void OrvoImageProcessor::copyIntoInputBuffer(const PixelBuffer& source) {
  PixelBuffer& copy = *inPixelBuffer_;
  const size_t rows = static_cast<size_t>(source.height());
  if (source.bytesPerRow() == copy.bytesPerRow()) {
    std::memcpy(copy.baseAddress(), source.baseAddress(), source.bytesPerRow() * rows);
    return;
  }
  // A host buffer may pad its rows differently from ours; one block would
  // then shear the picture and could run past the shorter buffer.
  const size_t rowBytes = static_cast<size_t>(source.width()) * 4;
  for (int y = 0; y < source.height(); ++y) std::memcpy(copy.row(y), source.row(y), rowBytes);
}

void OrvoImageProcessor::effectSampeBuffer(const std::shared_ptr<SampleBuffer>& sample, bool mirror,
                                           bool mirrorResult, int64_t orientation) {
  if (!sample) return;
  runOnProcessingQueue([&] {
    rendered_ = false;
    const std::shared_ptr<PixelBuffer>& source = sample->imageBuffer();
    if (!source) {
      ORVO_LOG_ERROR("Get size from sample buffer error:%s", "the sample buffer holds no image buffer");
      return;
    }
    const int64_t width = source->width(), height = source->height();
    prepareForInputWidth(width, height);
    if (inPixelBuffer_ && inPixelBuffer_->width() == width && inPixelBuffer_->height() == height) {
      copyIntoInputBuffer(*source);
    }
    rendered_ = renderPixelBuffer(inPixelBuffer_, resultPixelBuffer_, mirror, mirrorResult, orientation);
  });
}

void OrvoImageProcessor::setBeauty(int64_t level) {
  if (level < 0 || level > 4) return;
  const BeautyLevel& chosen = kBeautyLevels[level];
  setBeautify(chosen.beautify);
  setStretchFace(chosen.stretchFace);
}

bool OrvoImageProcessor::shouldEnableProcess() const {
  return needEffectFilter() || (stageWatermark_ && stageWatermark_->enabled());
}

void OrvoImageProcessor::releaseAllResources() {
  OrvoBaseProcessor::releaseAllResources();
  inPixelBuffer_.reset();
  resultPixelBuffer_.reset();
  // Forget the sizes too, so the next frame allocates afresh even at the
  // size it had before.
  inputWidth_ = inputHeight_ = 0;
  resultWidth_ = resultHeight_ = 0;
}

}  // namespace nudora

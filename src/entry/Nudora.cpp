#include "entry/Nudora.h"

#include "platform/Console.h"
#include "platform/EglContext.h"

extern "C" {
const unsigned char NudoraVersionString[] = "@(#)PROGRAM:Nudora  PROJECT:Nudora-1\n";
const double NudoraVersionNumber = 1.0;
}

namespace nudora {

std::shared_ptr<Nudora> Nudora::sharedInstance() {
  static std::shared_ptr<Nudora> instance = create();
  return instance;
}

std::shared_ptr<Nudora> Nudora::create() {
  // Probe which level this machine offers; the processor then makes and
  // keeps a context of its own at that level.
  int api = 3;
  auto probe = EglContext::create(3);
  if (!probe) {
    api = 2;
    probe = EglContext::create(2);
  }
  if (!probe) {
    consoleLog("v2 v3 not support");
    return nullptr;
  }
  probe.reset();
  std::shared_ptr<Nudora> facade(new Nudora());
  facade->processor()->setupWithAPI(api);
  return facade;
}

const std::shared_ptr<OrvoRealTimeProcessor>& Nudora::processor() {
  if (!processor_) processor_ = std::make_shared<OrvoRealTimeProcessor>();
  return processor_;
}

void Nudora::process(const std::shared_ptr<SampleBuffer>& sample, const std::shared_ptr<PixelBuffer>& outBuffer) {
  const auto& p = processor();
  if (!p) return;
  p->effectPixelBuffer(sample, outBuffer, nullptr, false, false, 1, 0.0, 0.0);
}

bool Nudora::enableStabi() {
  const auto& p = processor();
  return p ? p->stabilization() : false;
}

void Nudora::setEnableStabi(bool enable) {
  if (const auto& p = processor()) p->setStabilization(enable);
}

}  // namespace nudora

#include "platform/DeviceModel.h"

#include <sys/utsname.h>

#include <cstdlib>

namespace nudora {

std::string deviceModelIdentifier() {
  if (const char* model = std::getenv("NUDORA_DEVICE_MODEL"); model && *model) return model;
  utsname info{};
  if (uname(&info) != 0) return {};
  return info.machine;
}

}  // namespace nudora

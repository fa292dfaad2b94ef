#pragma once
// The hardware model identifier that selects the camera table:
// $NUDORA_DEVICE_MODEL when set, else the machine field of uname.

#include <string>

namespace nudora {

std::string deviceModelIdentifier();

}  // namespace nudora

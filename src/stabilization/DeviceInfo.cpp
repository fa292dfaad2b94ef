#include "stabilization/DeviceInfo.h"

#include <mutex>
#include <unordered_map>

#include "platform/DeviceModel.h"

namespace nudora {
namespace {

const std::unordered_map<std::string, int32_t>& modelCodes() {
  static std::once_flag once;
  static std::unordered_map<std::string, int32_t> codes;
  std::call_once(once, [] {
    // "iPhone7,2" (the smaller model of its year) has the lower code.
    codes = {
        {"iPhone5,1", 1}, {"iPhone5,2", 1},                   //
        {"iPhone5,3", 2}, {"iPhone5,4", 2},                   //
        {"iPhone6,1", 3}, {"iPhone6,2", 3},                   //
        {"iPhone7,2", 4},                                     //
        {"iPhone7,1", 5},                                     //
        {"iPhone8,1", 6},                                     //
        {"iPhone8,2", 7},                                     //
        {"iPhone9,1", 8}, {"iPhone9,3", 8},                   //
        {"iPhone9,2", 9}, {"iPhone9,4", 9},                   //
        {"iPad4,1", 10},  {"iPad4,2", 10},  {"iPad4,3", 10},  //
        {"iPad4,4", 11},  {"iPad4,5", 11},  {"iPad4,6", 11},
    };
  });
  return codes;
}

}  // namespace

std::string DeviceInfo::deviceModel() { return deviceModelIdentifier(); }

int32_t DeviceInfo::getDeviceModel() { return deviceModelCode(deviceModel()); }

int32_t DeviceInfo::deviceModelCode(const std::string& identifier) {
  const auto& codes = modelCodes();
  auto it = codes.find(identifier);
  return it == codes.end() ? 0 : it->second;
}

}  // namespace nudora

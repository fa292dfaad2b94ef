#include "platform/Resources.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>

namespace nudora {
namespace {

// <prefix>/share/nudora beside the library or program this code is linked
// into (<prefix>/lib/libnudora.so, <prefix>/lib/<multiarch>/libnudora.so or
// <prefix>/bin/nudora), so that an installed tree works wherever it was
// installed or moved to; empty when there is none.
std::string besideThisBinary() {
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&besideThisBinary), &info) || !info.dli_fname) return {};
  std::error_code ec;
  const auto dir = std::filesystem::canonical(info.dli_fname, ec).parent_path();
  if (ec) return {};
  for (const auto& candidate : {dir.parent_path() / "share" / "nudora", dir.parent_path().parent_path() / "share" / "nudora"}) {
    if (std::filesystem::is_directory(candidate / "Textures", ec)) return candidate.string();
  }
  return {};
}

}  // namespace

std::string Resources::folder() {
  if (const char* dir = std::getenv("NUDORA_RESOURCE_DIR"); dir && *dir) return dir;
  static const std::string installed = besideThisBinary();
  if (!installed.empty()) return installed;
  std::error_code ec;
  if (std::filesystem::is_directory(NUDORA_BUILD_RESOURCE_DIR, ec)) return NUDORA_BUILD_RESOURCE_DIR;
  return NUDORA_INSTALL_RESOURCE_DIR;
}

std::string Resources::texturesFolder() { return folder() + "/Textures"; }

std::string Resources::pathForTexture(const std::string& fileName) {
  std::string path = texturesFolder() + "/" + fileName;
  std::error_code ec;
  return std::filesystem::is_regular_file(path, ec) ? path : std::string();
}

}  // namespace nudora

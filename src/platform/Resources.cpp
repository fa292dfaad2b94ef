#include "platform/Resources.h"

#include <cstdlib>
#include <filesystem>

namespace nudora {

std::string Resources::folder() {
  if (const char* dir = std::getenv("NUDORA_RESOURCE_DIR"); dir && *dir) return dir;
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

#pragma once
// Where the library's resource folder is: $NUDORA_RESOURCE_DIR when set, else
// the source tree it was built from, else the install location. Resource
// images live in its "Textures" sub-folder.

#include <string>

namespace nudora {

class Resources {
 public:
  static std::string folder();
  static std::string texturesFolder();
  // Full path of a file in "Textures", or empty when it does not exist.
  static std::string pathForTexture(const std::string& fileName);
};

}  // namespace nudora

#pragma once
// Where the library's resource folder is: $NUDORA_RESOURCE_DIR when set, else
// share/nudora of the installed tree the library (or the program it is linked
// into) sits in, else the source tree it was built from, else the install
// prefix it was configured with. Resource images live in its "Textures"
// sub-folder.

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

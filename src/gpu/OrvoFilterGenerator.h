#pragma once
// Assembles the fragment shader of the filter pass from stored pieces: the
// frame pieces, then the style and lens pieces that the catalogue rows name,
// in one fixed order (uniforms, helper functions, a main opened by the two
// head pieces, the per-filter code, and the tail).
//
// Thread rules: stateless; callable from any thread.

#include <cstdint>
#include <string>

namespace nudora {

class OrvoFilterGenerator {
 public:
  static std::string generateShaderCodewithStyleIndex(int64_t styleIndex, int64_t lensIndex, bool beautify,
                                                      bool localToneMapping, bool isGLES3);
  // The plain text of a stored piece: as it stands when it starts with a
  // blank or "{", else deciphered (the stored text itself when that fails).
  // A null piece gives an empty text.
  static std::string tShader(const char* stored);
};

}  // namespace nudora

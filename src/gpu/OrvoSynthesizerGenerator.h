#pragma once
// Assembles the fragment shader of a multi-frame synthesis pass: the common
// frame around one body piece chosen by the synthesis type (1 HDR, 2 denoise,
// 3 motion sequence; any other type adds no body). The text is ES 3 GLSL: it
// opens with the ES 3 filter opener (fshGLES3), then the pieces in order.
//
// Thread rules: stateless; callable from any thread.

#include <cstdint>
#include <string>

namespace nudora {

class OrvoSynthesizerGenerator {
 public:
  static std::string generateShaderCodewithForFunction(int64_t synthesisType);
  // The same frame around any stored body piece (nullptr: none), for hosts
  // that merge with a body no synthesis type selects, such as
  // fshSynthesisAdd, fshSynthesisAver, fshSynthesisDarken or
  // fshSynthesisLighten.
  static std::string generateShaderCodewithBodyPiece(const char* body);
};

}  // namespace nudora

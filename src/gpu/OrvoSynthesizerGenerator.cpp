#include "gpu/OrvoSynthesizerGenerator.h"

#include "gpu/OrvoFilterGenerator.h"
#include "gpu/ShaderPieces.h"

namespace nudora {

std::string OrvoSynthesizerGenerator::generateShaderCodewithForFunction(int64_t synthesisType) {
  // The synthesis pieces arrive with the burst class; until then a missing
  // piece adds nothing and the program fails to compile with its log.
  const char* body = nullptr;
  switch (synthesisType) {
    case 1: body = shaderPieceNamed("fshHDR"); break;
    case 2: body = shaderPieceNamed("fshDenoise"); break;
    case 3: body = shaderPieceNamed("fshMotionSequence"); break;
    default: break;
  }
  std::string text;
  text.reserve(262144);
  text += OrvoFilterGenerator::tShader(fshBlendModes);
  text += OrvoFilterGenerator::tShader(shaderPieceNamed("fshSynthesizerCommonParameters"));
  text += OrvoFilterGenerator::tShader(shaderPieceNamed("fshSynthesizerCommonHead"));
  text += OrvoFilterGenerator::tShader(body);
  text += OrvoFilterGenerator::tShader(shaderPieceNamed("fshSynthesizerCommonTail"));
  return text;
}

}  // namespace nudora

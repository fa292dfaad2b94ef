#include "gpu/OrvoSynthesizerGenerator.h"

#include "gpu/OrvoFilterGenerator.h"
#include "gpu/ShaderPieces.h"

namespace nudora {

std::string OrvoSynthesizerGenerator::generateShaderCodewithForFunction(int64_t synthesisType) {
  // The bodies are looked up by name: a build without one of them still
  // assembles, and a missing piece adds nothing, as an unknown type does.
  const char* body = nullptr;
  switch (synthesisType) {
    case 1: body = shaderPieceNamed("fshHDR"); break;
    case 2: body = shaderPieceNamed("fshDenoise"); break;
    case 3: body = shaderPieceNamed("fshMotionSequence"); break;
    default: break;
  }
  return generateShaderCodewithBodyPiece(body);
}

std::string OrvoSynthesizerGenerator::generateShaderCodewithBodyPiece(const char* body) {
  std::string text;
  text.reserve(262144);
  // Synthesis programs link with the ES 3 vertex shader, so their fragment
  // text must open with "#version 300 es", which only the first line may
  // carry. fshBlendModes cannot: on ES 2 it opens the filter shader. The ES 3
  // opener of the filter frame goes first here as it does there; the blend
  // piece's own precision lines are then merely repeated, which both
  // languages allow.
  text += OrvoFilterGenerator::tShader(fshGLES3);
  text += OrvoFilterGenerator::tShader(fshBlendModes);
  text += OrvoFilterGenerator::tShader(fshSynthesizerCommonParameters);
  text += OrvoFilterGenerator::tShader(fshSynthesizerCommonHead);
  text += OrvoFilterGenerator::tShader(body);
  text += OrvoFilterGenerator::tShader(fshSynthesizerCommonTail);
  return text;
}

}  // namespace nudora

#include "gpu/OrvoFilterGenerator.h"

#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoCrypt.h"
#include "gpu/ShaderPieces.h"

namespace nudora {
namespace {

void appendPiece(std::string& text, const char* stored) { text += OrvoFilterGenerator::tShader(stored); }

// Appends the piece a row names under key, when the row has the key.
void appendRowPiece(std::string& text, const OrvoFilterRow* row, const char* key) {
  if (!row) return;
  if (auto name = row->pieceName(key)) appendPiece(text, shaderPieceNamed(*name));
}

bool rowHas(const OrvoFilterRow* row, const char* key) { return row && row->has(key); }

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
}

}  // namespace

std::string OrvoFilterGenerator::tShader(const char* stored) {
  if (!stored || !*stored) return {};
  if (stored[0] == ' ' || stored[0] == '{') return stored;
  std::string plain = OrvoCrypt::decryptText(stored);
  return plain.empty() ? std::string(stored) : plain;
}

std::string OrvoFilterGenerator::generateShaderCodewithStyleIndex(int64_t styleIndex, int64_t lensIndex,
                                                                  bool beautify, bool localToneMapping,
                                                                  bool isGLES3) {
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  const OrvoFilterRow* style = catalogue->styleRow(styleIndex);
  const OrvoFilterRow* lens = catalogue->lensRow(lensIndex);

  std::string text;
  text.reserve(262144);
  if (isGLES3) appendPiece(text, fshGLES3);
  appendPiece(text, fshBlendModes);
  appendPiece(text, isGLES3 ? fshFilterCommonParameters : fshFilterCommonParameters_GLES1);
  if (rowHas(lens, "requirergbhsl") || rowHas(style, "requirergbhsl")) appendPiece(text, fshRGBHSL);
  appendRowPiece(text, lens, "lens_function");
  appendRowPiece(text, lens, "lensparameter");
  appendRowPiece(text, style, "styleparameter");
  appendPiece(text, fshFilterCommonHead_part1);
  appendRowPiece(text, lens, "lenscode1");
  appendPiece(text, fshFilterCommonHead_part2);
  if (!rowHas(lens, "conflict")) {
    if (beautify) appendPiece(text, fshFaceSmooth);
    if (localToneMapping || catalogue->getStyleFilterForceHDR(styleIndex) != 0) appendPiece(text, fshLocalToneMapping);
  }
  appendRowPiece(text, lens, "lenscode2");
  appendRowPiece(text, style, "stylecode1");
  appendRowPiece(text, style, "stylecode2");
  appendRowPiece(text, style, "stylecode3");
  appendRowPiece(text, lens, "lenscode3");
  if (isGLES3) {
    appendPiece(text, fshTail);
  } else {
    appendPiece(text, fshTail_GLES1);
    // The pieces sample with the ES 3 call; the older language names it texture2D.
    replaceAll(text, "texture", "texture2D");
  }
  return text;
}

}  // namespace nudora

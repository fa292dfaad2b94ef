// Shader text: storage, deciphering, assembly order of the filter shader,
// and programs built from it on ES 3 and ES 2 contexts.
#include <vector>

#include "GpuTestSupport.h"
#include "filters/OrvoFilterDescriptor.h"
#include "gpu/OrvoCrypt.h"
#include "gpu/OrvoFilterGenerator.h"
#include "gpu/OrvoProcessHelpers.h"
#include "gpu/OrvoSynthesizerGenerator.h"
#include "gpu/ShaderPieces.h"

namespace nudora {
namespace {

using test::ConsoleCapture;

std::string plain(const char* piece) { return OrvoFilterGenerator::tShader(piece); }

TEST(OrvoCrypt, RoundTripsTextAndRejectsWhatIsNotCipherText) {
  const std::string text = "uniform sampler2D original;\nvoid main() { /* é */ }\n";
  std::string stored = OrvoCrypt::encryptText(text);
  ASSERT_FALSE(stored.empty());
  EXPECT_EQ(stored.find("uniform"), std::string::npos);
  EXPECT_EQ(OrvoCrypt::decryptText(stored), text);
  EXPECT_EQ(OrvoCrypt::decryptText("not base64!"), "");
  EXPECT_EQ(OrvoCrypt::decryptText("QUJD"), "");  // valid base64, not a whole block
}

TEST(OrvoFilterGenerator, AssemblesTheFrameAndFilterPiecesInOrder) {
  // Style 18 is the plain lookup table; no lens.
  std::string text = OrvoFilterGenerator::generateShaderCodewithStyleIndex(18, 0, true, true, true);
  const std::vector<const char*> order = {fshGLES3,      fshBlendModes,       fshFilterCommonParameters,
                                          fsh3DLUTParameters, fshFilterCommonHead_part1, fshFilterCommonHead_part2,
                                          fshFaceSmooth, fshLocalToneMapping, fsh3DLUT, fshTail};
  size_t last = 0;
  for (size_t i = 0; i < order.size(); ++i) {
    size_t at = text.find(plain(order[i]), last);
    ASSERT_NE(at, std::string::npos) << "piece " << i << " missing or out of order";
    last = at + 1;
  }
  EXPECT_EQ(text.find(plain(fshRGBHSL)), std::string::npos);

  // Style 29 forces tone mapping even when it is not asked for.
  std::string forced = OrvoFilterGenerator::generateShaderCodewithStyleIndex(29, 0, false, false, true);
  EXPECT_NE(forced.find(plain(fshLocalToneMapping)), std::string::npos);
  EXPECT_EQ(forced.find(plain(fshFaceSmooth)), std::string::npos);
}

TEST(OrvoFilterGenerator, ConflictingLensGetsNoSmoothingOrToneMapping) {
  // Lens 23 (defog) conflicts; style 29 would force tone mapping otherwise.
  std::string text = OrvoFilterGenerator::generateShaderCodewithStyleIndex(29, 23, true, true, true);
  EXPECT_EQ(text.find(plain(fshFaceSmooth)), std::string::npos);
  EXPECT_EQ(text.find(plain(fshLocalToneMapping)), std::string::npos);
  // Lens 28 asks for the RGB/HSL helpers.
  EXPECT_NE(OrvoFilterGenerator::generateShaderCodewithStyleIndex(0, 28, false, false, true).find(plain(fshRGBHSL)),
            std::string::npos);
}

TEST(OrvoSynthesizerGenerator, UnknownTypesGetTheFrameWithoutABody) {
  std::string none = OrvoSynthesizerGenerator::generateShaderCodewithForFunction(0);
  EXPECT_EQ(none, OrvoSynthesizerGenerator::generateShaderCodewithForFunction(4));
  // The ES 3 opener first (only it may carry "#version 300 es"), then the blend modes.
  EXPECT_EQ(none.rfind(plain(fshGLES3) + plain(fshBlendModes) + plain(fshSynthesizerCommonParameters), 0), 0u);
}

using ProgramTest = test::GlContextTest;

TEST_P(ProgramTest, BrokenPieceGivesProgramZeroWithTheCompileLog) {
  ConsoleCapture console;
  GLuint program = OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(
      vshPassThrough_GLES1, " void main() { this is not glsl; }");
  EXPECT_EQ(program, 0u);
  EXPECT_TRUE(console.saw("Shader compile log:\n"));
  EXPECT_TRUE(console.saw("Failed to compile fragment shader"));
  EXPECT_FALSE(console.saw("Failed to compile vertex shader"));
}

TEST_P(ProgramTest, HandleFormReplacesTheProgramAndDeleteZeroesIt) {
  GLuint program = 0;
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshPassThrough_GLES1, &program);
  ASSERT_NE(program, 0u);
  GLuint first = program;
  OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(vshPassThrough_GLES1, fshPassThrough_GLES1, &program);
  EXPECT_NE(program, 0u);
  EXPECT_FALSE(glIsProgram(first));
  OrvoProcessHelpers::deleteProgram(&program);
  EXPECT_EQ(program, 0u);
}

TEST_P(ProgramTest, EveryCatalogueRowAndFrameCombinationBuilds) {
  ConsoleCapture console;
  auto build = [&](int64_t style, int64_t lens, bool beautify, bool toneMapping) {
    GLuint program = OrvoProcessHelpers::loadPostProcessShaderWithfilterIndex(style, lens, beautify, toneMapping, es3());
    EXPECT_NE(program, 0u) << "style " << style << " lens " << lens << " beautify " << beautify << " tone " << toneMapping;
    OrvoProcessHelpers::deleteProgram(&program);
  };
  for (bool beautify : {false, true}) {
    for (bool toneMapping : {false, true}) build(0, 0, beautify, toneMapping);
  }
  auto catalogue = OrvoFilterDescriptor::sharedInstance();
  for (const auto& row : catalogue->styleFilterDesicriptor()) build(*row.integer("styleid"), 0, true, true);
  for (const auto& row : catalogue->lensFilterDesicriptor()) build(0, *row.integer("lensid"), true, true);
  EXPECT_EQ(console.text(), "");
}

TEST_P(ProgramTest, EveryStandAlonePieceCompilesFromPlainAndEncipheredStorage) {
  ConsoleCapture console;
  const std::string suffix = "_GLES1";
  for (std::string_view name : shaderPieceNames()) {
    std::string n(name);
    const bool es2Piece = n.size() > suffix.size() && n.compare(n.size() - suffix.size(), suffix.size(), suffix) == 0;
    // Stand-alone programs start with the version/precision prelude; frame
    // pieces are checked through the assembled filter programs.
    std::string text = plain(shaderPieceNamed(name));
    const bool standAlone = text.find("#version 300 es") != std::string::npos ||
                            text.find("GL_FRAGMENT_PRECISION_HIGH") != std::string::npos;
    if (!standAlone || n == "fshFilterCommonParameters_GLES1") continue;
    if (!es3() && !es2Piece) continue;  // ES 3 pieces need an ES 3 context
    const GLenum type = n.rfind("vsh", 0) == 0 ? GL_VERTEX_SHADER : GL_FRAGMENT_SHADER;
    const std::string cipher = OrvoCrypt::encryptText(text);
    for (const std::string& stored : {std::string(shaderPieceNamed(name)), cipher}) {
      GLuint shader = 0;
      EXPECT_TRUE(OrvoProcessHelpers::compileEncryptedShader(&shader, type, stored.c_str())) << n;
      if (shader) glDeleteShader(shader);
    }
  }
  EXPECT_EQ(console.text(), "");
}

NUDORA_INSTANTIATE_FOR_BOTH_APIS(ProgramTest);

}  // namespace
}  // namespace nudora

#include "gpu/OrvoProcessHelpers.h"

#include <fstream>
#include <sstream>

#include "gpu/OrvoFilterGenerator.h"
#include "gpu/OrvoSynthesizerGenerator.h"
#include "gpu/ShaderPieces.h"
#include "platform/Console.h"
#include "platform/Image.h"
#include "platform/Resources.h"
#include "platform/TextureCache.h"

#ifndef GL_BGRA_EXT
#define GL_BGRA_EXT 0x80E1
#endif

namespace nudora {

const GLfloat squareVertices[8] = {-1.0f, -1.0f, 1.0f, -1.0f, -1.0f, 1.0f, 1.0f, 1.0f};
const GLfloat textureVertices[8] = {0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f, 1.0f, 1.0f};
const GLfloat transposedTextureVertices[8] = {0.0f, 0.0f, 0.0f, 1.0f, 1.0f, 0.0f, 1.0f, 1.0f};

namespace {

constexpr int kLutSide = 65;

enum class Attributes { PositionTexCoord, TwoTexCoords, Own };

// Compiles text into *shader; prints the compile log when there is one.
bool compileText(GLuint* shader, GLenum type, const std::string& text) {
  *shader = glCreateShader(type);
  const char* source = text.c_str();
  glShaderSource(*shader, 1, &source, nullptr);
  glCompileShader(*shader);
  GLint logLength = 0;
  glGetShaderiv(*shader, GL_INFO_LOG_LENGTH, &logLength);
  if (logLength > 0) {
    std::string log(static_cast<size_t>(logLength), '\0');
    glGetShaderInfoLog(*shader, logLength, nullptr, log.data());
    consoleLog("Shader compile log:\n%s", log.c_str());
  }
  GLint status = 0;
  glGetShaderiv(*shader, GL_COMPILE_STATUS, &status);
  if (status == 0) {
    glDeleteShader(*shader);
    *shader = 0;
    return false;
  }
  return true;
}

void bindAttributes(GLuint program, Attributes attributes) {
  if (attributes == Attributes::Own) return;
  glBindAttribLocation(program, kAttribPosition, "position");
  glBindAttribLocation(program, kAttribTexCoord, "texCoord");
  if (attributes == Attributes::TwoTexCoords) glBindAttribLocation(program, kAttribTexCoord1, "texCoord1");
}

// The common body of every loader; compile is called for each stage in turn.
template <typename Compile>
GLuint loadProgram(Attributes attributes, Compile compile) {
  GLuint program = glCreateProgram();
  GLuint vertShader = 0, fragShader = 0;
  if (!compile(&vertShader, GL_VERTEX_SHADER)) {
    consoleLog("Failed to compile vertex shader");
    glDeleteProgram(program);
    return 0;
  }
  if (!compile(&fragShader, GL_FRAGMENT_SHADER)) {
    consoleLog("Failed to compile fragment shader");
    glDeleteShader(vertShader);
    glDeleteProgram(program);
    return 0;
  }
  glAttachShader(program, vertShader);
  glAttachShader(program, fragShader);
  bindAttributes(program, attributes);
  if (!OrvoProcessHelpers::linkProgram(program)) {
    consoleLog("Failed to link program: %d", static_cast<int>(program));
    glDeleteShader(vertShader);
    glDeleteShader(fragShader);
    glDeleteProgram(program);
    return 0;
  }
  glDetachShader(program, vertShader);
  glDeleteShader(vertShader);
  glDetachShader(program, fragShader);
  glDeleteShader(fragShader);
  return program;
}

GLuint loadStored(const char* vsh, const char* fsh, Attributes attributes) {
  return loadProgram(attributes, [&](GLuint* shader, GLenum type) {
    return OrvoProcessHelpers::compileEncryptedShader(shader, type, type == GL_VERTEX_SHADER ? vsh : fsh);
  });
}

}  // namespace

GLuint OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(const char* vsh, const char* encryptedFsh) {
  return loadStored(vsh, encryptedFsh, Attributes::PositionTexCoord);
}

GLuint OrvoProcessHelpers::load2TexCoordShadersWithPathForEncryptedVsh(const char* vsh, const char* andEncryptedFsh) {
  return loadStored(vsh, andEncryptedFsh, Attributes::TwoTexCoords);
}

GLuint OrvoProcessHelpers::loadParticleShadersWithPathForEncryptedVsh(const char* vsh, const char* encryptedFsh) {
  return loadStored(vsh, encryptedFsh, Attributes::Own);
}

GLuint OrvoProcessHelpers::loadShadersWithPathForvsh(const std::string& vsh, const std::string& PathForFsh) {
  const std::string vshPath = Resources::folder() + "/" + vsh + ".vsh";
  const std::string fshPath = Resources::folder() + "/" + PathForFsh + ".fsh";
  return loadProgram(Attributes::PositionTexCoord, [&](GLuint* shader, GLenum type) {
    return compileShader(shader, type, type == GL_VERTEX_SHADER ? vshPath : fshPath);
  });
}

GLuint OrvoProcessHelpers::loadPostProcessShaderWithfilterIndex(int64_t filterIndex, int64_t lensIndex, bool beautify,
                                                                bool localToneMapping, bool isGLES3) {
  const char* vsh = isGLES3 ? vshPassThrough : vshPassThrough_GLES1;
  return loadProgram(Attributes::PositionTexCoord, [&](GLuint* shader, GLenum type) {
    if (type == GL_VERTEX_SHADER) return compileEncryptedShader(shader, type, vsh);
    return compileFilterShader(shader, type, filterIndex, lensIndex, beautify, localToneMapping, isGLES3);
  });
}

GLuint OrvoProcessHelpers::loadPostProcessShaderWithfilterIndex(int64_t filterIndex, int64_t blueScreenIndex,
                                                                bool beautify, bool localToneMapping) {
  return loadPostProcessShaderWithfilterIndex(filterIndex, blueScreenIndex + 26, beautify, localToneMapping, true);
}

GLuint OrvoProcessHelpers::loadSynthesizerShaderWithsynthesisType(int64_t synthesisType) {
  return loadProgram(Attributes::PositionTexCoord, [&](GLuint* shader, GLenum type) {
    if (type == GL_VERTEX_SHADER) return compileEncryptedShader(shader, type, vshPassThrough);
    return compileSynthesisShader(shader, type, synthesisType);
  });
}

void OrvoProcessHelpers::loadShadersWithPathForEncryptedVsh(const char* vsh, const char* encryptedFsh,
                                                            GLuint* toProgram) {
  deleteProgram(toProgram);
  *toProgram = loadShadersWithPathForEncryptedVsh(vsh, encryptedFsh);
}

bool OrvoProcessHelpers::compileEncryptedShader(GLuint* shader, GLenum type, const char* encryptedShader) {
  return compileText(shader, type, OrvoFilterGenerator::tShader(encryptedShader));
}

bool OrvoProcessHelpers::compileShader(GLuint* shader, GLenum type, const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) {
    consoleLog("Failed to load shader");
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  return compileText(shader, type, text.str());
}

bool OrvoProcessHelpers::compileFilterShader(GLuint* shader, GLenum type, int64_t filterIndex, int64_t lensIndex,
                                             bool beautify, bool localToneMapping, bool isGLES3) {
  std::string text =
      OrvoFilterGenerator::generateShaderCodewithStyleIndex(filterIndex, lensIndex, beautify, localToneMapping, isGLES3);
  if (text.empty()) {
    consoleLog("Failed to load vertex shader");
    return false;
  }
  return compileText(shader, type, text);
}

bool OrvoProcessHelpers::compileSynthesisShader(GLuint* shader, GLenum type, int64_t synthesisType) {
  std::string text = OrvoSynthesizerGenerator::generateShaderCodewithForFunction(synthesisType);
  if (text.empty()) {
    consoleLog("Failed to load vertex shader");
    return false;
  }
  return compileText(shader, type, text);
}

bool OrvoProcessHelpers::linkProgram(GLuint program) {
  glLinkProgram(program);
  GLint logLength = 0;
  glGetProgramiv(program, GL_INFO_LOG_LENGTH, &logLength);
  if (logLength > 0) {
    std::string log(static_cast<size_t>(logLength), '\0');
    glGetProgramInfoLog(program, logLength, nullptr, log.data());
    if (log[0] != '\0') consoleLog("Program link log:\n%s", log.c_str());
  }
  GLint status = 0;
  glGetProgramiv(program, GL_LINK_STATUS, &status);
  return status != 0;
}

void OrvoProcessHelpers::deleteProgram(GLuint* program) {
  if (*program != 0 && glIsProgram(*program)) glDeleteProgram(*program);
  *program = 0;
}

void OrvoProcessHelpers::renderWithSquareVertices(const GLfloat* square, const GLfloat* texture) {
  glVertexAttribPointer(kAttribPosition, 2, GL_FLOAT, GL_FALSE, 0, square);
  glEnableVertexAttribArray(kAttribPosition);
  glVertexAttribPointer(kAttribTexCoord, 2, GL_FLOAT, GL_FALSE, 0, texture);
  glEnableVertexAttribArray(kAttribTexCoord);
  glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

void OrvoProcessHelpers::renderWithSquareVertices(const GLfloat* square, const GLfloat* texture,
                                                  const GLfloat* texture1) {
  glVertexAttribPointer(kAttribTexCoord1, 2, GL_FLOAT, GL_FALSE, 0, texture1);
  glEnableVertexAttribArray(kAttribTexCoord1);
  renderWithSquareVertices(square, texture);
}

void OrvoProcessHelpers::set2DTextureParametersLinear() {
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void OrvoProcessHelpers::set2DTextureParametersNearest() { set2DTextureParametersLinear(); }

void OrvoProcessHelpers::set3DTextureParameters() {
  glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_3D, GL_TEXTURE_WRAP_R, GL_CLAMP_TO_EDGE);
}

void OrvoProcessHelpers::generateRepeatingR8Texture(GLuint* texture, int width, int height) {
  deleteTexture(texture);
  glGenTextures(1, texture);
  glBindTexture(GL_TEXTURE_2D, *texture);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_R8, width, height, 0, GL_RED, GL_UNSIGNED_BYTE, nullptr);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
  glBindTexture(GL_TEXTURE_2D, 0);
}

void OrvoProcessHelpers::generateTexture(GLuint* texture, int width, int height, GLenum format) {
  if (*texture != 0 && glIsTexture(*texture)) glDeleteTextures(1, texture);
  glGenTextures(1, texture);
  glBindTexture(GL_TEXTURE_2D, *texture);
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format, GL_UNSIGNED_BYTE, nullptr);
  set2DTextureParametersLinear();
  glBindTexture(GL_TEXTURE_2D, 0);
}

void OrvoProcessHelpers::deleteTexture(GLuint* texture) {
  if (*texture != 0 && glIsTexture(*texture)) {
    glDeleteTextures(1, texture);
    *texture = 0;
  }
}

void OrvoProcessHelpers::load3DLUT(const std::string& name, GLuint* toTexture) {
  if (name.empty()) return;
  auto image = Image::imageNamed(name);
  if (!image) return;
  std::vector<uint8_t> pixels = RequestImagePixelData(image.get());
  const size_t cube = static_cast<size_t>(kLutSide) * kLutSide * kLutSide * 4;
  if (pixels.size() < cube) {
    consoleLog("Lookup cube %s has %zu pixels, %zu needed", name.c_str(), pixels.size() / 4, cube / 4);
    return;
  }
  // The cube goes up as BGRA from RGBA bytes: red and blue trade places, and
  // the lookup shader reads it that way. ES 3 has no BGRA 3D upload, so the
  // exchange is made here.
  for (size_t i = 0; i < cube; i += 4) std::swap(pixels[i], pixels[i + 2]);
  deleteTexture(toTexture);
  glGenTextures(1, toTexture);
  glBindTexture(GL_TEXTURE_3D, *toTexture);
  glTexImage3D(GL_TEXTURE_3D, 0, GL_RGBA, kLutSide, kLutSide, kLutSide, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  set3DTextureParameters();
  glBindTexture(GL_TEXTURE_3D, 0);
}

void OrvoProcessHelpers::loadImage(const std::shared_ptr<Image>& image, GLuint* toTexture) {
  if (!image || image->width() == 0 || image->height() == 0) return;
  std::vector<uint8_t> pixels = RequestImagePixelData(image.get());
  deleteTexture(toTexture);
  glGenTextures(1, toTexture);
  glBindTexture(GL_TEXTURE_2D, *toTexture);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, image->width(), image->height(), 0, GL_RGBA, GL_UNSIGNED_BYTE,
               pixels.data());
  set2DTextureParametersLinear();
  glBindTexture(GL_TEXTURE_2D, 0);
}

std::shared_ptr<PixelBuffer> OrvoProcessHelpers::loadImage(const std::shared_ptr<Image>& image) {
  auto buffer = image ? image->toPixelBuffer() : nullptr;
  if (!buffer) consoleLog("Create local pixel buffer error:%d", -1);
  return buffer;
}

bool OrvoProcessHelpers::loadImageToTexture(const std::shared_ptr<Image>& image, std::shared_ptr<PixelBuffer>* pixBuf,
                                            std::shared_ptr<CacheTexture>* texRef, TextureCache& texCacheRef) {
  *pixBuf = image ? image->toPixelBuffer() : nullptr;
  if (!*pixBuf) {
    consoleLog("Create local pixel buffer error");
    return false;
  }
  int32_t status = texCacheRef.createTextureFromImage(*pixBuf, texRef);
  if (status != kTextureCacheSuccess) {
    consoleLog("Create texture from image for Ref (error: %d)", status);
    return false;
  }
  glBindTexture(GL_TEXTURE_2D, (*texRef)->name());
  set2DTextureParametersLinear();
  return true;
}

std::string OrvoProcessHelpers::pathFromImage(const std::string& name, const std::string& type) {
  if (name.empty()) return {};
  return Resources::pathForTexture(type.empty() ? name : name + "." + type);
}

int32_t cacheTexture(TextureCache& cache, const std::shared_ptr<PixelBuffer>& buffer,
                     std::shared_ptr<CacheTexture>* texture) {
  cache.flush();
  return cache.createTextureFromImage(buffer, texture);
}

std::vector<uint8_t> RequestImagePixelData(const Image* image) {
  if (!image || image->width() == 0 || image->height() == 0) return {};
  std::vector<uint8_t> pixels(image->data(), image->data() + static_cast<size_t>(image->width()) * image->height() * 4);
  // Drawn as into a premultiplied-alpha bitmap: colour scaled by alpha, rounded.
  for (size_t i = 0; i < pixels.size(); i += 4) {
    unsigned a = pixels[i + 3];
    if (a == 255) continue;
    for (int c = 0; c < 3; ++c) pixels[i + c] = static_cast<uint8_t>((pixels[i + c] * a + 127) / 255);
  }
  return pixels;
}

}  // namespace nudora

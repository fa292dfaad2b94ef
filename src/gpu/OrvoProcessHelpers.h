#pragma once
// The one place where stored shader text becomes linked programs, the
// full-screen quad is drawn, and plain textures are made, filled and freed.
//
// GPU conventions every stage follows:
//   attribute "position" at slot 0, "texCoord" at 3, "texCoord1" at 4;
//   2 floats per vertex from client-side arrays, drawn as a 4-vertex strip;
//   plain textures are RGBA bytes, linear, clamp-to-edge;
//   a GL name of 0 means none.
//
// Thread rules: class methods only, no state. Call them on the thread that
// has the processing context current. Programs and textures made here belong
// to the caller, which frees them with deleteProgram / deleteTexture.

#include <GLES3/gl3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/PixelBuffer.h"

namespace nudora {

class Image;
class TextureCache;
class CacheTexture;

// The shared vertex tables: the full-screen quad and its texture coordinates
// (strip order), and the same coordinates with u and v exchanged.
extern const GLfloat squareVertices[8];
extern const GLfloat textureVertices[8];
extern const GLfloat transposedTextureVertices[8];

inline constexpr GLuint kAttribPosition = 0;
inline constexpr GLuint kAttribTexCoord = 3;
inline constexpr GLuint kAttribTexCoord1 = 4;

class OrvoProcessHelpers {
 public:
  OrvoProcessHelpers() = delete;

  // Program loaders: the linked program, or 0.
  static GLuint loadShadersWithPathForEncryptedVsh(const char* vsh, const char* encryptedFsh);
  static GLuint load2TexCoordShadersWithPathForEncryptedVsh(const char* vsh, const char* andEncryptedFsh);
  static GLuint loadParticleShadersWithPathForEncryptedVsh(const char* vsh, const char* encryptedFsh);
  // Files "<vsh>.vsh" and "<fsh>.fsh" in the resource folder.
  static GLuint loadShadersWithPathForvsh(const std::string& vsh, const std::string& PathForFsh);
  static GLuint loadPostProcessShaderWithfilterIndex(int64_t filterIndex, int64_t lensIndex, bool beautify,
                                                     bool localToneMapping, bool isGLES3);
  // Blue-screen programs are lens rows from 26 up and always use the ES 3 frame.
  static GLuint loadPostProcessShaderWithfilterIndex(int64_t filterIndex, int64_t blueScreenIndex, bool beautify,
                                                     bool localToneMapping);
  static GLuint loadSynthesizerShaderWithsynthesisType(int64_t synthesisType);
  // Deletes the program in *toProgram and stores the new one there (0 on failure).
  static void loadShadersWithPathForEncryptedVsh(const char* vsh, const char* encryptedFsh, GLuint* toProgram);

  // Shader compilers: true when *shader holds a compiled shader.
  static bool compileEncryptedShader(GLuint* shader, GLenum type, const char* encryptedShader);
  static bool compileShader(GLuint* shader, GLenum type, const std::string& file);
  static bool compileFilterShader(GLuint* shader, GLenum type, int64_t filterIndex, int64_t lensIndex, bool beautify,
                                  bool localToneMapping, bool isGLES3);
  static bool compileSynthesisShader(GLuint* shader, GLenum type, int64_t synthesisType);

  static bool linkProgram(GLuint program);
  static void deleteProgram(GLuint* program);

  static void renderWithSquareVertices(const GLfloat* squareVertices, const GLfloat* textureVertices);
  static void renderWithSquareVertices(const GLfloat* squareVertices, const GLfloat* textureVertices,
                                       const GLfloat* texture1Vertices);

  static void set2DTextureParametersLinear();
  // Deliberately linear too: no texture of the system is sampled nearest.
  static void set2DTextureParametersNearest();
  static void set3DTextureParameters();

  // Replaces *texture by a new width x height texture of format (internal =
  // pixel format), unsigned bytes, no data, linear; leaves it unbound.
  static void generateTexture(GLuint* texture, int width, int height, GLenum format);
  // Replaces *texture by a width x height single-channel (GL_R8) texture, no
  // data, linear, repeating in both directions: tiled height fields. ES 3.
  static void generateRepeatingR8Texture(GLuint* texture, int width, int height);
  static void deleteTexture(GLuint* texture);

  // A 65x65x65 lookup cube from the resource image name; red and blue are
  // exchanged on purpose, as the lookup shader expects.
  static void load3DLUT(const std::string& name, GLuint* toTexture);
  // The image as an RGBA texture of its size (premultiplied alpha), replacing *toTexture.
  static void loadImage(const std::shared_ptr<Image>& image, GLuint* toTexture);
  // The image as a new BGRA pixel buffer of its size; nullptr on failure.
  static std::shared_ptr<PixelBuffer> loadImage(const std::shared_ptr<Image>& image);
  // A texture-cache texture over a pixel buffer made from the image.
  static bool loadImageToTexture(const std::shared_ptr<Image>& image, std::shared_ptr<PixelBuffer>* pixBuf,
                                 std::shared_ptr<CacheTexture>* texRef, TextureCache& texCacheRef);
  // Path of a resource in "Textures" ("<name>" or "<name>.<type>"); empty when
  // the name is empty or the file does not exist.
  static std::string pathFromImage(const std::string& name, const std::string& type);
};

// Flushes the cache and wraps buffer as a texture; the platform status (0 = success).
int32_t cacheTexture(TextureCache& cache, const std::shared_ptr<PixelBuffer>& buffer,
                     std::shared_ptr<CacheTexture>* texture);

// The image's pixels as RGBA bytes with alpha premultiplied, rows of width x 4;
// empty when the image is missing or empty.
std::vector<uint8_t> RequestImagePixelData(const Image* image);

}  // namespace nudora

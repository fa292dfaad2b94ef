#pragma once
// Wraps pixel buffers as GL textures for one frame, standing in for the
// phone's texture cache. There is no zero-copy path here: creating a texture
// uploads the buffer, and releasing it writes the texture back into the
// buffer only when a pass rendered into it. A buffer that no pass wrote keeps
// every byte it had.
//
// A pass marks its target with CacheTexture::markRendered(), or, knowing only
// the GL name, with TextureCache::noteRenderTarget(name).
//
// GL textures are pooled by size: a released texture is reused by the next
// buffer of its size, and flush() deletes textures unused for kFlushAge
// flushes, so a steady stream of frames allocates nothing.
//
// Thread rules: a cache and its textures belong to the context that was
// current when the cache was made; create, release and flush only with that
// context current on the calling thread. A texture released elsewhere writes
// nothing back and logs why.

#include <GLES2/gl2.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/PixelBuffer.h"

namespace nudora {

// Status codes of createTextureFromImage; 0 is success as on the phone.
enum TextureCacheStatus : int32_t {
  kTextureCacheSuccess = 0,
  kTextureCacheInvalidArgument = -6661,
  kTextureCacheNoContext = -6662,
  kTextureCacheAllocationFailed = -6663,
};

struct TextureCachePool;

class CacheTexture {
 public:
  ~CacheTexture();
  CacheTexture(const CacheTexture&) = delete;
  CacheTexture& operator=(const CacheTexture&) = delete;

  GLuint name() const { return name_; }
  GLenum target() const { return GL_TEXTURE_2D; }
  int width() const { return width_; }
  int height() const { return height_; }
  const std::shared_ptr<PixelBuffer>& pixelBuffer() const { return buffer_; }

  // The texture's contents are to be written back into the buffer on release.
  void markRendered() { rendered_ = true; }
  bool rendered() const { return rendered_; }

 private:
  friend class TextureCache;
  CacheTexture() = default;

  std::shared_ptr<TextureCachePool> pool_;
  std::shared_ptr<PixelBuffer> buffer_;
  GLuint name_ = 0;
  int width_ = 0;
  int height_ = 0;
  bool rendered_ = false;
};

class TextureCache {
 public:
  static constexpr int kFlushAge = 8;

  // A cache for the context current on this thread; nullptr without one.
  // preferBGRA false forces the RGBA path with its CPU channel swap, which
  // drivers without BGRA textures take.
  static std::shared_ptr<TextureCache> create(bool preferBGRA = true);
  ~TextureCache();
  TextureCache(const TextureCache&) = delete;
  TextureCache& operator=(const TextureCache&) = delete;

  // Uploads buffer into a texture and hands it out in *out (reset on failure).
  int32_t createTextureFromImage(const std::shared_ptr<PixelBuffer>& buffer, std::shared_ptr<CacheTexture>* out);
  // Frees pooled textures that have not been used for kFlushAge flushes.
  void flush();

  // Marks every live cache texture of the current context named texture as
  // rendered into.
  static void noteRenderTarget(GLuint texture);

  // Pooled GL textures not handed out now, for tests.
  size_t pooledTextureCount() const;
  // True when uploads and read-backs use BGRA directly (no CPU swizzle).
  bool uploadsBGRA() const;
  bool readsBGRA() const;

 private:
  TextureCache() = default;
  std::shared_ptr<TextureCachePool> pool_;
};

}  // namespace nudora

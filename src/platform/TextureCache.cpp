#include "platform/TextureCache.h"

#include <EGL/egl.h>
#include <GLES2/gl2ext.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "platform/Console.h"
#include "platform/EglContext.h"

#ifndef GL_UNPACK_ROW_LENGTH
#define GL_UNPACK_ROW_LENGTH 0x0CF2
#endif
#ifndef GL_PACK_ROW_LENGTH
#define GL_PACK_ROW_LENGTH 0x0D02
#endif

namespace nudora {

struct TextureCachePool {
  struct FreeTexture {
    GLuint name;
    int width;
    int height;
    int idleFlushes;
  };

  EGLContext context = EGL_NO_CONTEXT;
  bool uploadBGRA = false;
  bool readBGRA = false;
  bool unpackRowLength = false;
  bool packRowLength = false;
  GLuint framebuffer = 0;
  bool closed = false;
  std::vector<FreeTexture> freeTextures;
  std::vector<CacheTexture*> live;
  std::vector<uint8_t> scratch;

  bool current() const { return eglGetCurrentContext() == context; }
  void deleteAll();
  void writeBack(const CacheTexture& texture);
};

namespace {

// Live pools, so that a pass that knows only a texture name can mark it.
std::mutex gRegistryMutex;
std::vector<std::weak_ptr<TextureCachePool>> gPools;

bool hasGlExtension(const char* name) {
  const char* list = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
  if (!list) return false;
  size_t len = std::strlen(name);
  for (const char* p = list; (p = std::strstr(p, name)) != nullptr; p += len) {
    if ((p == list || p[-1] == ' ') && (p[len] == ' ' || p[len] == '\0')) return true;
  }
  return false;
}

void swapRedBlue(const uint8_t* src, uint8_t* dst, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i, src += 4, dst += 4) {
    uint8_t b = src[0], g = src[1], r = src[2], a = src[3];
    dst[0] = r;
    dst[1] = g;
    dst[2] = b;
    dst[3] = a;
  }
}

// Whether a BGRA texture can be rendered into and read back as BGRA here.
void probeBGRA(TextureCachePool& pool) {
  if (!hasGlExtension("GL_EXT_texture_format_BGRA8888")) return;
  while (glGetError() != GL_NO_ERROR) {
  }
  GLuint tex = 0;
  glGenTextures(1, &tex);
  glBindTexture(GL_TEXTURE_2D, tex);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_BGRA_EXT, 4, 4, 0, GL_BGRA_EXT, GL_UNSIGNED_BYTE, nullptr);
  GLint previous = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
  glBindFramebuffer(GL_FRAMEBUFFER, pool.framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, tex, 0);
  bool renderable = glGetError() == GL_NO_ERROR && glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
  if (renderable && hasGlExtension("GL_EXT_read_format_bgra")) {
    uint8_t probe[64];
    glReadPixels(0, 0, 4, 4, GL_BGRA_EXT, GL_UNSIGNED_BYTE, probe);
    pool.readBGRA = glGetError() == GL_NO_ERROR;
  }
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
  glDeleteTextures(1, &tex);
  pool.uploadBGRA = renderable;
  if (!pool.uploadBGRA) pool.readBGRA = false;
}

}  // namespace

void TextureCachePool::deleteAll() {
  for (auto& f : freeTextures) glDeleteTextures(1, &f.name);
  freeTextures.clear();
  if (framebuffer) glDeleteFramebuffers(1, &framebuffer);
  framebuffer = 0;
}

void TextureCachePool::writeBack(const CacheTexture& texture) {
  const PixelBuffer& buffer = *texture.pixelBuffer();
  const int w = texture.width(), h = texture.height();
  const size_t tight = static_cast<size_t>(w) * 4;
  const GLenum format = readBGRA ? GL_BGRA_EXT : GL_RGBA;

  GLint previous = 0;
  glGetIntegerv(GL_FRAMEBUFFER_BINDING, &previous);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture.name(), 0);
  glPixelStorei(GL_PACK_ALIGNMENT, 4);

  bool direct = readBGRA && (buffer.bytesPerRow() == tight ||
                             (packRowLength && buffer.bytesPerRow() % 4 == 0));
  if (direct) {
    if (buffer.bytesPerRow() != tight) glPixelStorei(GL_PACK_ROW_LENGTH, static_cast<GLint>(buffer.bytesPerRow() / 4));
    glReadPixels(0, 0, w, h, format, GL_UNSIGNED_BYTE, buffer.baseAddress());
    if (buffer.bytesPerRow() != tight) glPixelStorei(GL_PACK_ROW_LENGTH, 0);
  } else {
    scratch.resize(tight * static_cast<size_t>(h));
    glReadPixels(0, 0, w, h, format, GL_UNSIGNED_BYTE, scratch.data());
    for (int y = 0; y < h; ++y) {
      const uint8_t* src = scratch.data() + tight * static_cast<size_t>(y);
      if (readBGRA) {
        std::memcpy(buffer.row(y), src, tight);
      } else {
        swapRedBlue(src, buffer.row(y), static_cast<size_t>(w));
      }
    }
  }
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, 0, 0);
  glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(previous));
  if (GLenum err = glGetError(); err != GL_NO_ERROR) {
    consoleLogLevel(kConsoleError, "TextureCache: write-back of a %dx%d texture failed (GL error 0x%x)", w, h, err);
  }
}

CacheTexture::~CacheTexture() {
  if (!pool_) return;
  std::lock_guard lock(gRegistryMutex);
  std::erase(pool_->live, this);
  if (!pool_->current()) {
    consoleLogLevel(kConsoleError,
                    "TextureCache: texture %u released without its context current; nothing written back", name_);
    return;
  }
  if (rendered_) pool_->writeBack(*this);
  if (pool_->closed) {
    glDeleteTextures(1, &name_);
  } else {
    pool_->freeTextures.push_back({name_, width_, height_, 0});
  }
}

std::shared_ptr<TextureCache> TextureCache::create(bool preferBGRA) {
  EGLContext context = eglGetCurrentContext();
  if (context == EGL_NO_CONTEXT) {
    consoleLogLevel(kConsoleError, "TextureCache: no current context");
    return nullptr;
  }
  std::shared_ptr<TextureCache> cache(new TextureCache());
  cache->pool_ = std::make_shared<TextureCachePool>();
  TextureCachePool& pool = *cache->pool_;
  pool.context = context;
  glGenFramebuffers(1, &pool.framebuffer);
  int major = EglContext::currentGlesMajorVersion();
  pool.unpackRowLength = major >= 3 || hasGlExtension("GL_EXT_unpack_subimage");
  pool.packRowLength = major >= 3 || hasGlExtension("GL_NV_pack_subimage");
  if (preferBGRA) probeBGRA(pool);
  std::lock_guard lock(gRegistryMutex);
  std::erase_if(gPools, [](const auto& weak) { return weak.expired(); });
  gPools.push_back(cache->pool_);
  return cache;
}

TextureCache::~TextureCache() {
  std::lock_guard lock(gRegistryMutex);
  pool_->closed = true;
  if (pool_->current()) {
    pool_->deleteAll();
  } else if (!pool_->freeTextures.empty() || pool_->framebuffer) {
    consoleLogLevel(kConsoleError, "TextureCache: destroyed without its context current; GL objects left to the context");
  }
}

int32_t TextureCache::createTextureFromImage(const std::shared_ptr<PixelBuffer>& buffer,
                                             std::shared_ptr<CacheTexture>* out) {
  if (out) out->reset();
  if (!buffer || !out) return kTextureCacheInvalidArgument;
  TextureCachePool& pool = *pool_;
  if (!pool.current()) return kTextureCacheNoContext;

  const int w = buffer->width(), h = buffer->height();
  const size_t tight = static_cast<size_t>(w) * 4;
  while (glGetError() != GL_NO_ERROR) {
  }

  GLuint name = 0;
  bool fresh = false;
  {
    std::lock_guard lock(gRegistryMutex);
    auto it = std::find_if(pool.freeTextures.begin(), pool.freeTextures.end(),
                           [w, h](const auto& f) { return f.width == w && f.height == h; });
    if (it != pool.freeTextures.end()) {
      name = it->name;
      pool.freeTextures.erase(it);
    }
  }
  if (name == 0) {
    glGenTextures(1, &name);
    fresh = true;
  }
  glBindTexture(GL_TEXTURE_2D, name);
  if (fresh) {
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  }

  const GLenum format = pool.uploadBGRA ? GL_BGRA_EXT : GL_RGBA;
  const uint8_t* pixels = buffer->baseAddress();
  bool direct = pool.uploadBGRA && (buffer->bytesPerRow() == tight ||
                                    (pool.unpackRowLength && buffer->bytesPerRow() % 4 == 0));
  if (!direct) {
    pool.scratch.resize(tight * static_cast<size_t>(h));
    for (int y = 0; y < h; ++y) {
      uint8_t* dst = pool.scratch.data() + tight * static_cast<size_t>(y);
      if (pool.uploadBGRA) {
        std::memcpy(dst, buffer->row(y), tight);
      } else {
        swapRedBlue(buffer->row(y), dst, static_cast<size_t>(w));
      }
    }
    pixels = pool.scratch.data();
  }
  glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
  const bool rowLength = direct && buffer->bytesPerRow() != tight;
  if (rowLength) glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(buffer->bytesPerRow() / 4));
  if (fresh) {
    glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), w, h, 0, format, GL_UNSIGNED_BYTE, pixels);
  } else {
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, w, h, format, GL_UNSIGNED_BYTE, pixels);
  }
  if (rowLength) glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
  glBindTexture(GL_TEXTURE_2D, 0);

  if (GLenum err = glGetError(); err != GL_NO_ERROR) {
    consoleLogLevel(kConsoleError, "TextureCache: upload of a %dx%d buffer failed (GL error 0x%x)", w, h, err);
    glDeleteTextures(1, &name);
    return kTextureCacheAllocationFailed;
  }

  std::shared_ptr<CacheTexture> texture(new CacheTexture());
  texture->pool_ = pool_;
  texture->buffer_ = buffer;
  texture->name_ = name;
  texture->width_ = w;
  texture->height_ = h;
  {
    std::lock_guard lock(gRegistryMutex);
    pool.live.push_back(texture.get());
  }
  *out = std::move(texture);
  return kTextureCacheSuccess;
}

void TextureCache::flush() {
  TextureCachePool& pool = *pool_;
  if (!pool.current()) return;
  std::lock_guard lock(gRegistryMutex);
  for (auto& f : pool.freeTextures) ++f.idleFlushes;
  std::erase_if(pool.freeTextures, [](auto& f) {
    if (f.idleFlushes < kFlushAge) return false;
    glDeleteTextures(1, &f.name);
    return true;
  });
}

void TextureCache::noteRenderTarget(GLuint texture) {
  EGLContext context = eglGetCurrentContext();
  std::lock_guard lock(gRegistryMutex);
  for (const auto& weak : gPools) {
    auto pool = weak.lock();
    if (!pool || pool->context != context) continue;
    for (CacheTexture* live : pool->live) {
      if (live->name() == texture) live->markRendered();
    }
  }
}

size_t TextureCache::pooledTextureCount() const {
  std::lock_guard lock(gRegistryMutex);
  return pool_->freeTextures.size();
}

bool TextureCache::uploadsBGRA() const { return pool_->uploadBGRA; }
bool TextureCache::readsBGRA() const { return pool_->readBGRA; }

}  // namespace nudora

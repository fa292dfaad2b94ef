#pragma once
// An OpenGL ES context over EGL, standing in for the phone's GL context with
// its API level: 3 means an ES 3.x context, 2 an ES 2.0 one.
//
// Headless by design: the display comes from EGL_MESA_platform_surfaceless,
// else EGL_EXT_platform_device, else the default display. The context is
// made configless and surfaceless where the driver offers it, else it gets a
// 1x1 pbuffer. $NUDORA_GLES_MAX_API caps the level (NUDORA_GLES_MAX_API=2
// makes every request for 3 fail), so the ES 2 path runs on any machine.
//
// A host that already has a current EGL context may hand it in with
// wrapCurrent(); the library then uses it and never destroys it.
//
// Thread rules: a context is current on at most one thread at a time; the
// object may be destroyed on any thread (it unbinds itself where current).

#include <EGL/egl.h>

#include <memory>
#include <string>

namespace nudora {

class EglContext {
 public:
  // A new context of the given API level (3 or 2), sharing objects with
  // share when given. nullptr (with a console line) when it cannot be made.
  static std::unique_ptr<EglContext> create(int api, const EglContext* share = nullptr);
  // The EGL context current on this thread, or nullptr when there is none.
  static std::unique_ptr<EglContext> wrapCurrent();
  // The highest level allowed by $NUDORA_GLES_MAX_API (3 when unset).
  static int maxApi();

  ~EglContext();
  EglContext(const EglContext&) = delete;
  EglContext& operator=(const EglContext&) = delete;

  int api() const { return api_; }
  bool isWrapped() const { return !owned_; }
  EGLDisplay display() const { return display_; }
  EGLContext context() const { return context_; }

  // Makes this context current on the calling thread.
  bool makeCurrent() const;
  bool isCurrent() const;
  // Leaves the calling thread with no current context.
  static void clearCurrent();
  // The major version the current context reports in GL_VERSION ("OpenGL
  // ES 3.2" gives 3); 2 when it cannot be read. A driver may answer a
  // request for ES 2 with an ES 3 context.
  static int currentGlesMajorVersion();

  // The display in use and how it was found, for diagnostics.
  static std::string displayDescription();

 private:
  EglContext() = default;

  int api_ = 0;
  bool owned_ = true;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
  EGLSurface surface_ = EGL_NO_SURFACE;
  EGLSurface readSurface_ = EGL_NO_SURFACE;
};

}  // namespace nudora

#include "platform/EglContext.h"

#include <EGL/eglext.h>

#include <GLES2/gl2.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "platform/Console.h"

namespace nudora {
namespace {

bool hasExtension(const char* list, const char* name) {
  if (!list) return false;
  size_t len = std::strlen(name);
  for (const char* p = list; (p = std::strstr(p, name)) != nullptr; p += len) {
    if ((p == list || p[-1] == ' ') && (p[len] == ' ' || p[len] == '\0')) return true;
  }
  return false;
}

struct Display {
  EGLDisplay display = EGL_NO_DISPLAY;
  std::string how;
  bool configless = false;
  bool surfaceless = false;
};

// One display for the process; it is initialised once and never terminated,
// because eglTerminate would pull every context of every owner with it.
const Display& sharedDisplay() {
  static Display d;
  static std::once_flag once;
  std::call_once(once, [] {
    const char* clientExts = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    auto getPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (getPlatformDisplay && hasExtension(clientExts, "EGL_MESA_platform_surfaceless")) {
      d.display = getPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
      d.how = "surfaceless platform";
      if (d.display != EGL_NO_DISPLAY && !eglInitialize(d.display, nullptr, nullptr)) d.display = EGL_NO_DISPLAY;
    }
    if (d.display == EGL_NO_DISPLAY && getPlatformDisplay && hasExtension(clientExts, "EGL_EXT_platform_device")) {
      auto queryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
      EGLDeviceEXT devices[8];
      EGLint count = 0;
      if (queryDevices && queryDevices(8, devices, &count) && count > 0) {
        d.display = getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[0], nullptr);
        d.how = "device platform";
        if (d.display != EGL_NO_DISPLAY && !eglInitialize(d.display, nullptr, nullptr)) d.display = EGL_NO_DISPLAY;
      }
    }
    if (d.display == EGL_NO_DISPLAY) {
      d.display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
      d.how = "default display";
      if (d.display != EGL_NO_DISPLAY && !eglInitialize(d.display, nullptr, nullptr)) d.display = EGL_NO_DISPLAY;
    }
    if (d.display == EGL_NO_DISPLAY) {
      consoleLogLevel(kConsoleError, "EGL: no display could be initialised (error 0x%x)", eglGetError());
      return;
    }
    const char* exts = eglQueryString(d.display, EGL_EXTENSIONS);
    d.configless = hasExtension(exts, "EGL_KHR_no_config_context") || hasExtension(exts, "EGL_MESA_configless_context");
    d.surfaceless = hasExtension(exts, "EGL_KHR_surfaceless_context");
  });
  return d;
}

EGLConfig chooseConfig(EGLDisplay display, int api, bool pbuffer) {
  const EGLint renderable = api >= 3 ? EGL_OPENGL_ES3_BIT : EGL_OPENGL_ES2_BIT;
  const EGLint attribs[] = {EGL_RENDERABLE_TYPE, renderable,
                            EGL_SURFACE_TYPE,    pbuffer ? EGL_PBUFFER_BIT : 0,
                            EGL_RED_SIZE,        8,
                            EGL_GREEN_SIZE,      8,
                            EGL_BLUE_SIZE,       8,
                            EGL_ALPHA_SIZE,      8,
                            EGL_NONE};
  EGLConfig config = nullptr;
  EGLint count = 0;
  if (!eglChooseConfig(display, attribs, &config, 1, &count) || count < 1) return nullptr;
  return config;
}

}  // namespace

int EglContext::maxApi() {
  const char* cap = std::getenv("NUDORA_GLES_MAX_API");
  if (cap && *cap) {
    int v = std::atoi(cap);
    if (v == 2 || v == 3) return v;
  }
  return 3;
}

std::string EglContext::displayDescription() { return sharedDisplay().how; }

std::unique_ptr<EglContext> EglContext::create(int api, const EglContext* share) {
  if (api != 2 && api != 3) {
    consoleLogLevel(kConsoleError, "EGL: API %d is not an OpenGL ES level this library uses", api);
    return nullptr;
  }
  if (api > maxApi()) return nullptr;  // capped on purpose, not an error
  const Display& d = sharedDisplay();
  if (d.display == EGL_NO_DISPLAY) return nullptr;
  if (!eglBindAPI(EGL_OPENGL_ES_API)) {
    consoleLogLevel(kConsoleError, "EGL: OpenGL ES is not available (error 0x%x)", eglGetError());
    return nullptr;
  }

  bool pbuffer = !(d.configless && d.surfaceless);
  EGLConfig config = nullptr;
  if (pbuffer || !d.configless) {
    config = chooseConfig(d.display, api, pbuffer);
    if (!config) {
      consoleLogLevel(kConsoleError, "EGL: no config offers OpenGL ES %d", api);
      return nullptr;
    }
  }
  const EGLint contextAttribs[] = {EGL_CONTEXT_MAJOR_VERSION, api, EGL_CONTEXT_MINOR_VERSION, 0, EGL_NONE};
  EGLContext shareContext = share ? share->context_ : EGL_NO_CONTEXT;
  EGLContext context = eglCreateContext(d.display, config ? config : EGL_NO_CONFIG_KHR, shareContext, contextAttribs);
  if (context == EGL_NO_CONTEXT) {
    // Requests for 3 fail quietly on drivers without ES 3: the caller falls back to 2.
    if (api == 2) consoleLogLevel(kConsoleError, "EGL: could not create an OpenGL ES %d context (error 0x%x)", api, eglGetError());
    return nullptr;
  }

  std::unique_ptr<EglContext> result(new EglContext());
  result->api_ = api;
  result->display_ = d.display;
  result->context_ = context;
  if (pbuffer) {
    const EGLint surfaceAttribs[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};
    result->surface_ = eglCreatePbufferSurface(d.display, config, surfaceAttribs);
    if (result->surface_ == EGL_NO_SURFACE) {
      consoleLogLevel(kConsoleError, "EGL: could not create a pbuffer (error 0x%x)", eglGetError());
      return nullptr;  // the destructor frees the context
    }
    result->readSurface_ = result->surface_;
  }
  return result;
}

std::unique_ptr<EglContext> EglContext::wrapCurrent() {
  EGLContext context = eglGetCurrentContext();
  if (context == EGL_NO_CONTEXT) return nullptr;
  std::unique_ptr<EglContext> result(new EglContext());
  result->owned_ = false;
  result->display_ = eglGetCurrentDisplay();
  result->context_ = context;
  result->surface_ = eglGetCurrentSurface(EGL_DRAW);
  result->readSurface_ = eglGetCurrentSurface(EGL_READ);
  EGLint version = 0;
  eglQueryContext(result->display_, context, EGL_CONTEXT_CLIENT_VERSION, &version);
  result->api_ = version >= 3 ? 3 : 2;
  return result;
}

EglContext::~EglContext() {
  if (!owned_) return;
  if (isCurrent()) clearCurrent();
  if (surface_ != EGL_NO_SURFACE) eglDestroySurface(display_, surface_);
  if (context_ != EGL_NO_CONTEXT) eglDestroyContext(display_, context_);
}

bool EglContext::makeCurrent() const {
  if (eglMakeCurrent(display_, surface_, readSurface_, context_)) return true;
  consoleLogLevel(kConsoleError, "EGL: could not make the context current (error 0x%x)", eglGetError());
  return false;
}

bool EglContext::isCurrent() const { return context_ != EGL_NO_CONTEXT && eglGetCurrentContext() == context_; }

int EglContext::currentGlesMajorVersion() {
  const char* version = reinterpret_cast<const char*>(glGetString(GL_VERSION));
  int major = 2;
  if (!version || std::sscanf(version, "OpenGL ES %d", &major) != 1) major = 2;
  return major;
}

void EglContext::clearCurrent() {
  EGLDisplay display = eglGetCurrentDisplay();
  if (display != EGL_NO_DISPLAY) eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

}  // namespace nudora

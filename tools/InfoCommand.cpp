// nudora info: which OpenGL ES the machine gives us.
#include <CLI/CLI.hpp>
#include <GLES2/gl2.h>

#include <cstdio>

#include "Commands.h"
#include "platform/EglContext.h"

namespace nudora::tool {
namespace {
int gExitCode = 0;

const char* glString(GLenum name) {
  const char* s = reinterpret_cast<const char*>(glGetString(name));
  return s ? s : "(unknown)";
}
}  // namespace

void setExitCode(int code) { gExitCode = code; }
int exitCode() { return gExitCode; }

void addInfoCommand(CLI::App& app) {
  auto* cmd = app.add_subcommand("info", "Print the EGL and OpenGL ES implementation and the API level in use");
  cmd->callback([] {
    // The library asks for API 3 and falls back to 2, as its processors do.
    auto context = EglContext::create(3);
    if (!context) context = EglContext::create(2);
    if (!context || !context->makeCurrent()) {
      std::fprintf(stderr, "nudora: no OpenGL ES context could be made (API 3 or 2)\n");
      setExitCode(1);
      return;
    }
    std::printf("EGL display:   %s\n", EglContext::displayDescription().c_str());
    std::printf("EGL vendor:    %s\n", eglQueryString(context->display(), EGL_VENDOR));
    std::printf("EGL version:   %s\n", eglQueryString(context->display(), EGL_VERSION));
    std::printf("GL vendor:     %s\n", glString(GL_VENDOR));
    std::printf("GL renderer:   %s\n", glString(GL_RENDERER));
    std::printf("GL version:    %s\n", glString(GL_VERSION));
    std::printf("GLSL version:  %s\n", glString(GL_SHADING_LANGUAGE_VERSION));
    std::printf("API level:     %d%s\n", context->api(),
                EglContext::maxApi() < 3 ? " (capped by NUDORA_GLES_MAX_API)" : "");
    EglContext::clearCurrent();
  });
}

}  // namespace nudora::tool

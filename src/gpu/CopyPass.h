#pragma once
// The plainest pass there is: draws one texture into another of any size
// with bilinear sampling. Used to check a context end to end (the
// command-line tool's pass-through) before any processing stage runs.
//
// Thread rules: make, use and destroy with the same context current.

#include <GLES2/gl2.h>

#include <memory>

namespace nudora {

class CopyPass {
 public:
  // Builds the program for the current context's API level (3 or 2);
  // nullptr with a console line when it does not compile.
  static std::unique_ptr<CopyPass> create(int api);
  ~CopyPass();
  CopyPass(const CopyPass&) = delete;
  CopyPass& operator=(const CopyPass&) = delete;

  // Renders source into target (width x height) and marks target as
  // rendered for the texture cache. False on a GL error.
  bool draw(GLuint source, GLuint target, int width, int height);

 private:
  CopyPass() = default;
  GLuint program_ = 0;
  GLuint framebuffer_ = 0;
  GLint textureUniform_ = -1;
};

}  // namespace nudora

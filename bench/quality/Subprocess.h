#pragma once
// Runs an outside program (ffmpeg, ffprobe) with an argument vector, never
// through a shell, so file names need no quoting. Its standard error goes to
// ours; its standard output is either read back or left on ours.

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace nudora::quality {

class Subprocess {
 public:
  Subprocess() = default;
  ~Subprocess();
  Subprocess(const Subprocess&) = delete;
  Subprocess& operator=(const Subprocess&) = delete;

  // Starts args[0] (looked up on PATH) with its standard output piped to us.
  // False, with error() set, when the program cannot be started.
  bool start(const std::vector<std::string>& args);
  // Reads exactly size bytes unless the output ends first; returns how many
  // were read.
  size_t read(void* into, size_t size);
  // Closes our end and waits; the program's exit status, 127 when it could
  // not be run, -1 when it died from a signal.
  int finish();
  const std::string& error() const { return error_; }

  // Runs a program to its end, its output copied to our standard output when
  // captured is null, else collected there. Returns its exit status as
  // finish() does; 127, with the reason on standard error, when it cannot be
  // started.
  static int run(const std::vector<std::string>& args, std::string* captured = nullptr);

 private:
  int pid_ = -1;
  FILE* out_ = nullptr;
  std::string error_;
};

}  // namespace nudora::quality

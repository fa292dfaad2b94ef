#include "quality/Subprocess.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

namespace nudora::quality {

Subprocess::~Subprocess() {
  if (pid_ > 0) finish();
}

bool Subprocess::start(const std::vector<std::string>& args) {
  if (args.empty() || pid_ > 0) {
    error_ = "no program to run";
    return false;
  }
  int fds[2];
  // The exec-report pipe closes on a successful exec, so an empty read means
  // the program is running; otherwise the child writes errno into it.
  int report[2];
  if (pipe2(fds, O_CLOEXEC) != 0 || pipe2(report, O_CLOEXEC) != 0) {
    error_ = std::string("cannot make a pipe: ") + std::strerror(errno);
    return false;
  }
  std::vector<char*> argv;
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = fork();
  if (pid < 0) {
    error_ = std::string("cannot fork: ") + std::strerror(errno);
    close(fds[0]);
    close(fds[1]);
    close(report[0]);
    close(report[1]);
    return false;
  }
  if (pid == 0) {
    dup2(fds[1], STDOUT_FILENO);
    execvp(argv[0], argv.data());
    int err = errno;
    ssize_t ignored = write(report[1], &err, sizeof err);
    (void)ignored;
    _exit(127);
  }
  close(fds[1]);
  close(report[1]);
  int childErr = 0;
  ssize_t got = ::read(report[0], &childErr, sizeof childErr);
  close(report[0]);
  pid_ = pid;
  out_ = fdopen(fds[0], "rb");
  if (got == static_cast<ssize_t>(sizeof childErr)) {
    error_ = "cannot run " + args[0] + ": " + std::strerror(childErr);
    finish();
    return false;
  }
  return true;
}

size_t Subprocess::read(void* into, size_t size) {
  if (!out_) return 0;
  return std::fread(into, 1, size, out_);
}

int Subprocess::finish() {
  if (out_) {
    std::fclose(out_);
    out_ = nullptr;
  }
  if (pid_ <= 0) return 127;
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return -1;
}

int Subprocess::run(const std::vector<std::string>& args, std::string* captured) {
  if (!captured) {
    // Inherit our standard output: start() pipes it, so copy it through.
    Subprocess p;
    if (!p.start(args)) {
      std::fprintf(stderr, "%s\n", p.error().c_str());
      return 127;
    }
    char buffer[4096];
    size_t n;
    while ((n = p.read(buffer, sizeof buffer)) > 0) std::fwrite(buffer, 1, n, stdout);
    std::fflush(stdout);
    return p.finish();
  }
  Subprocess p;
  if (!p.start(args)) {
    std::fprintf(stderr, "%s\n", p.error().c_str());
    return 127;
  }
  char buffer[4096];
  size_t n;
  while ((n = p.read(buffer, sizeof buffer)) > 0) captured->append(buffer, n);
  return p.finish();
}

}  // namespace nudora::quality

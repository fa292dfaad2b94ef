#include "common/TemporaryFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace nudora::tool {

namespace fs = std::filesystem;

TemporaryFile::TemporaryFile(const std::string& destination, const std::string& tag) : destination_(destination) {
  const fs::path out(destination);
  path_ = (out.parent_path() / (".nudora-" + tag + "-" + std::to_string(::getpid()) + "-" + out.filename().string()))
              .string();
}

TemporaryFile::~TemporaryFile() {
  if (!committed_) std::remove(path_.c_str());
}

bool TemporaryFile::probe(std::string* error) const {
  if (std::FILE* file = std::fopen(path_.c_str(), "wb")) {
    std::fclose(file);
    return true;
  }
  if (error) *error = "cannot write '" + destination_ + "': " + std::strerror(errno);
  return false;
}

bool TemporaryFile::commit(std::string* error) {
  std::error_code ec;
  fs::rename(path_, destination_, ec);
  if (ec) {
    if (error) *error = "cannot write '" + destination_ + "': " + ec.message();
    return false;
  }
  committed_ = true;
  return true;
}

}  // namespace nudora::tool

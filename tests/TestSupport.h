#pragma once
// Helpers shared by the tests of every subsystem.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>

#include "platform/Console.h"

namespace nudora::test {

// Collects console lines (and keeps them off stderr) while alive; safe to
// feed from other threads.
class ConsoleCapture {
 public:
  ConsoleCapture() {
    Console::setSinkForTesting([](const std::string&) {});
    token_ = Console::addListener([this](const ConsoleRecord& r) {
      std::lock_guard lock(mutex_);
      if (const std::string* m = r.get("Message")) text_ += *m + "\n";
    });
  }
  ~ConsoleCapture() {
    Console::removeListener(token_);
    Console::setSinkForTesting(nullptr);
  }
  ConsoleCapture(const ConsoleCapture&) = delete;
  ConsoleCapture& operator=(const ConsoleCapture&) = delete;

  // How many times fragment occurs in what was written.
  int count(const std::string& fragment) {
    std::lock_guard lock(mutex_);
    int n = 0;
    for (size_t at = text_.find(fragment); at != std::string::npos; at = text_.find(fragment, at + 1)) ++n;
    return n;
  }
  bool saw(const std::string& fragment) { return count(fragment) > 0; }
  std::string text() {
    std::lock_guard lock(mutex_);
    return text_;
  }

 private:
  uint64_t token_ = 0;
  std::mutex mutex_;
  std::string text_;
};

// Sets an environment variable for the life of the object, then restores it.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    setenv(name, value, 1);
  }
  ~ScopedEnv() {
    if (old_) {
      setenv(name_, old_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

// A fresh folder under the system's temporary directory, removed with
// everything in it when the object goes.
class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "nudora-test-XXXXXX").string();
    if (mkdtemp(pattern.data())) {
      path = pattern;
    } else {
      ADD_FAILURE() << "cannot make a folder like " << pattern;
    }
  }
  ~TempDir() {
    std::error_code ec;
    if (!path.empty()) std::filesystem::remove_all(path, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Writes text to name inside the folder; the file's full path.
  std::string write(const std::string& name, const std::string& text) const {
    const std::string file = path + "/" + name;
    std::ofstream(file, std::ios::binary) << text;
    return file;
  }

  std::string path;
};

// Compares the x, y and z members of any vector-like value (gyro readings,
// rotation rates, quaternion parts).
template <class V>
void expectXyz(const V& got, double x, double y, double z, double tolerance, const std::string& what = "") {
  EXPECT_NEAR(got.x, x, tolerance) << what << " x";
  EXPECT_NEAR(got.y, y, tolerance) << what << " y";
  EXPECT_NEAR(got.z, z, tolerance) << what << " z";
}

}  // namespace nudora::test

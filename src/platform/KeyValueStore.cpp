#include "platform/KeyValueStore.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/Console.h"

namespace nudora {
namespace {

constexpr const char* kFileName = "defaults.conf";
constexpr const char* kHeader = "# nudora defaults 1";

bool validKey(const std::string& key) {
  return !key.empty() && key.find_first_of("=\n\r") == std::string::npos;
}

// Parses "key=value" lines after the header; nullopt when the text is not ours.
std::optional<std::map<std::string, std::string>> parse(const std::string& text) {
  std::map<std::string, std::string> out;
  std::istringstream in(text);
  std::string line;
  if (!std::getline(in, line) || line != kHeader) return std::nullopt;
  while (std::getline(in, line)) {
    if (line.empty()) continue;
    if (line.find('\0') != std::string::npos) return std::nullopt;
    auto eq = line.find('=');
    if (eq == std::string::npos || eq == 0) return std::nullopt;
    out[line.substr(0, eq)] = line.substr(eq + 1);
  }
  return out;
}

}  // namespace

KeyValueStore::KeyValueStore(std::string folder) : folder_(std::move(folder)) { reload(); }

std::string KeyValueStore::standardFolder() {
  if (const char* dir = std::getenv("NUDORA_CONFIG_DIR"); dir && *dir) return dir;
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) return std::string(xdg) + "/nudora";
  const char* home = std::getenv("HOME");
  return std::string(home && *home ? home : "/tmp") + "/.config/nudora";
}

std::shared_ptr<KeyValueStore> KeyValueStore::standard() {
  static std::shared_ptr<KeyValueStore> store = std::make_shared<KeyValueStore>(standardFolder());
  return store;
}

std::string KeyValueStore::filePath() const { return folder_ + "/" + kFileName; }

void KeyValueStore::reload() {
  std::lock_guard lock(mutex_);
  values_.clear();
  std::ifstream file(filePath(), std::ios::binary);
  if (!file) return;  // no file yet: empty
  std::stringstream buffer;
  buffer << file.rdbuf();
  auto parsed = parse(buffer.str());
  if (parsed) {
    values_ = std::move(*parsed);
    return;
  }
  std::string kept = filePath() + ".corrupt";
  std::error_code ec;
  std::filesystem::rename(filePath(), kept, ec);
  consoleLogLevel(kConsoleWarning, "KeyValueStore: %s is not readable; starting empty, the old file is kept as %s",
                  filePath().c_str(), ec ? "(could not be moved)" : kept.c_str());
}

double KeyValueStore::doubleForKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return 0.0;
  const char* begin = it->second.c_str();
  char* end = nullptr;
  double v = std::strtod(begin, &end);
  return end == begin ? 0.0 : v;
}

namespace {
std::string formatDouble(double value) {
  char text[64];
  std::snprintf(text, sizeof(text), "%.17g", value);
  return text;
}
}  // namespace

bool KeyValueStore::setDouble(double value, const std::string& key) { return setString(formatDouble(value), key); }

bool KeyValueStore::setDoubles(const std::vector<std::pair<std::string, double>>& values) {
  for (const auto& [key, value] : values) {
    if (!validKey(key)) {
      consoleLogLevel(kConsoleError, "KeyValueStore: key with a line break or '=': %s", key.c_str());
      return false;
    }
  }
  std::lock_guard lock(mutex_);
  for (const auto& [key, value] : values) values_[key] = formatDouble(value);
  return save();
}

std::optional<std::string> KeyValueStore::stringForKey(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto it = values_.find(key);
  if (it == values_.end()) return std::nullopt;
  return it->second;
}

bool KeyValueStore::setString(const std::string& value, const std::string& key) {
  if (!validKey(key) || value.find_first_of("\n\r") != std::string::npos) {
    consoleLogLevel(kConsoleError, "KeyValueStore: key or value with a line break or '=' in the key: %s", key.c_str());
    return false;
  }
  std::lock_guard lock(mutex_);
  values_[key] = value;
  return save();
}

bool KeyValueStore::removeObjectForKey(const std::string& key) {
  std::lock_guard lock(mutex_);
  if (values_.erase(key) == 0) return true;
  return save();
}

bool KeyValueStore::save() {
  std::error_code ec;
  std::filesystem::create_directories(folder_, ec);
  std::string text = std::string(kHeader) + "\n";
  for (const auto& [k, v] : values_) text += k + "=" + v + "\n";

  std::string tmp = filePath() + ".tmp." + std::to_string(getpid());
  int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  bool ok = fd >= 0;
  if (ok) {
    size_t written = 0;
    while (ok && written < text.size()) {
      ssize_t n = ::write(fd, text.data() + written, text.size() - written);
      if (n < 0 && errno == EINTR) continue;
      ok = n > 0;
      if (ok) written += static_cast<size_t>(n);
    }
    ok = ok && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
  }
  ok = ok && ::rename(tmp.c_str(), filePath().c_str()) == 0;
  if (!ok) {
    consoleLogLevel(kConsoleError, "KeyValueStore: could not write %s: %s", filePath().c_str(), std::strerror(errno));
    ::unlink(tmp.c_str());
  }
  return ok;
}

}  // namespace nudora

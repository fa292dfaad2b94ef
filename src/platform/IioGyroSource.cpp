#include "platform/IioGyroSource.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/Console.h"

namespace nudora {
namespace {

namespace fs = std::filesystem;

constexpr const char* kAxisNames[3] = {"x", "y", "z"};

// sysfs attributes are a few bytes; reading them through a stream buys
// nothing and hides errno, which tells a vanished device (ENOENT, ENODEV)
// from other trouble.
bool readAttribute(const std::string& path, std::string* text, int* err) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    *err = errno;
    return false;
  }
  char buffer[256];
  text->clear();
  for (;;) {
    ssize_t n = ::read(fd, buffer, sizeof(buffer));
    if (n < 0) {
      if (errno == EINTR) continue;
      *err = errno;
      ::close(fd);
      return false;
    }
    if (n == 0) break;
    text->append(buffer, static_cast<size_t>(n));
    if (text->size() > 4096) break;  // no attribute we read is anywhere near this
  }
  ::close(fd);
  return true;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

bool parseFinite(std::string_view text, double* value) {
  text = trim(text);
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return false;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value);
  return ec == std::errc() && end == text.data() + text.size() && std::isfinite(*value);
}

// The kernel writes mount matrices as "a, b, c; d, e, f; g, h, i" (row-major).
bool parseMatrix(std::string_view text, double m[9]) {
  text = trim(text);
  int n = 0;
  for (int row = 0; row < 3; ++row) {
    size_t semi = text.find(';');
    std::string_view rowText = row < 2 ? text.substr(0, semi) : text;
    if (row < 2 && semi == std::string_view::npos) return false;
    if (row == 2 && rowText.find(';') != std::string_view::npos) return false;
    for (int col = 0; col < 3; ++col) {
      size_t comma = rowText.find(',');
      std::string_view cell = col < 2 ? rowText.substr(0, comma) : rowText;
      if (col < 2 && comma == std::string_view::npos) return false;
      if (!parseFinite(cell, &m[n++])) return false;
      if (col < 2) rowText.remove_prefix(comma + 1);
    }
    if (row < 2) text.remove_prefix(semi + 1);
  }
  return true;
}

bool exists(const std::string& path) {
  std::error_code ec;
  return fs::exists(path, ec);
}

// Orders "iio:device10" after "iio:device2".
long trailingNumber(const std::string& name) {
  size_t i = name.size();
  while (i > 0 && std::isdigit(static_cast<unsigned char>(name[i - 1]))) --i;
  if (i == name.size()) return -1;
  return std::strtol(name.c_str() + i, nullptr, 10);
}

std::string describeErrno(int err) {
  if (err == ENOENT || err == ENODEV || err == ENXIO) return std::string(std::strerror(err)) + "; the device is gone";
  return std::strerror(err);
}

}  // namespace

IioGyroSource::IioGyroSource(std::string sysfsRoot) : root_(std::move(sysfsRoot)) {}

IioGyroSource::~IioGyroSource() { stop(); }

std::string IioGyroSource::findDevice(std::string* why) const {
  const char* chosen = std::getenv("NUDORA_IIO_DEVICE");
  if (chosen != nullptr && *chosen != '\0') {
    std::string path = chosen[0] == '/' ? std::string(chosen) : root_ + "/" + chosen;
    if (exists(path + "/in_anglvel_x_raw")) return path;
    if (why) *why = "NUDORA_IIO_DEVICE names " + path + ", which has no in_anglvel_x_raw";
    return {};
  }
  std::vector<std::pair<long, std::string>> found;
  std::error_code ec;
  for (fs::directory_iterator it(root_, ec), end; !ec && it != end; it.increment(ec)) {
    std::string name = it->path().filename().string();
    if (exists(it->path().string() + "/in_anglvel_x_raw")) found.emplace_back(trailingNumber(name), name);
  }
  if (found.empty()) {
    if (why) *why = "no device under " + root_ + " has in_anglvel_x_raw";
    return {};
  }
  std::sort(found.begin(), found.end());
  return root_ + "/" + found.front().second;
}

bool IioGyroSource::openDevice(Device* device, std::string* error) const {
  std::string why;
  std::string path = findDevice(&why);
  if (path.empty()) {
    *error = "IioGyroSource: " + why;
    return false;
  }
  Device d;
  d.path = path;
  std::string text;
  int err = 0;
  if (readAttribute(path + "/name", &text, &err)) d.name = std::string(trim(text));

  // Reads an optional number; false only for a file that exists but is malformed.
  auto readNumber = [&](const std::string& file, double* value, bool* present) {
    *present = false;
    if (!readAttribute(path + "/" + file, &text, &err)) return true;
    *present = true;
    if (parseFinite(text, value)) return true;
    *error = "IioGyroSource: " + path + "/" + file + " holds '" + std::string(trim(text)) + "', not a number";
    return false;
  };

  double sharedScale = 0.0, sharedOffset = 0.0;
  bool hasSharedScale = false, hasSharedOffset = false;
  if (!readNumber("in_anglvel_scale", &sharedScale, &hasSharedScale)) return false;
  if (!readNumber("in_anglvel_offset", &sharedOffset, &hasSharedOffset)) return false;
  for (int a = 0; a < 3; ++a) {
    std::string axis = kAxisNames[a];
    bool present = false;
    if (!readNumber("in_anglvel_" + axis + "_scale", &d.scale[a], &present)) return false;
    if (!present) {
      if (!hasSharedScale) {
        *error = "IioGyroSource: " + path + " has neither in_anglvel_" + axis + "_scale nor in_anglvel_scale";
        return false;
      }
      d.scale[a] = sharedScale;
    }
    if (d.scale[a] == 0.0) {
      *error = "IioGyroSource: " + path + ": the " + axis + " scale is 0";
      return false;
    }
    if (!readNumber("in_anglvel_" + axis + "_offset", &d.offset[a], &present)) return false;
    if (!present) d.offset[a] = hasSharedOffset ? sharedOffset : 0.0;
  }

  // The channel-specific matrix wins over the device-wide one.
  for (const char* file : {"in_anglvel_mount_matrix", "in_mount_matrix"}) {
    if (!readAttribute(path + "/" + file, &text, &err)) continue;
    if (!parseMatrix(text, d.matrix)) {
      *error = "IioGyroSource: " + path + "/" + file + " holds '" + std::string(trim(text)) +
               "', not a mount matrix \"a, b, c; d, e, f; g, h, i\"";
      return false;
    }
    break;
  }
  *device = std::move(d);
  return true;
}

bool IioGyroSource::readDevice(const Device& device, GyroData* data, std::string* error) const {
  double sensor[3];
  std::string text;
  for (int a = 0; a < 3; ++a) {
    std::string file = device.path + "/in_anglvel_" + kAxisNames[a] + "_raw";
    int err = 0;
    if (!readAttribute(file, &text, &err)) {
      *error = "IioGyroSource: cannot read " + file + ": " + describeErrno(err);
      return false;
    }
    double raw = 0.0;
    if (!parseFinite(text, &raw)) {
      *error = "IioGyroSource: " + file + " holds '" + std::string(trim(text)) + "', not a number";
      return false;
    }
    sensor[a] = (raw + device.offset[a]) * device.scale[a];
  }
  const double* m = device.matrix;
  data->timestamp = Clock::uptime();
  data->x = m[0] * sensor[0] + m[1] * sensor[1] + m[2] * sensor[2];
  data->y = m[3] * sensor[0] + m[4] * sensor[1] + m[5] * sensor[2];
  data->z = m[6] * sensor[0] + m[7] * sensor[1] + m[8] * sensor[2];
  return true;
}

bool IioGyroSource::isAvailable() const { return !findDevice(nullptr).empty(); }

std::string IioGyroSource::devicePath() const {
  {
    std::lock_guard lock(mutex_);
    if (opened_) return device_.path;
  }
  return findDevice(nullptr);
}

std::string IioGyroSource::describe() const {
  std::string path = devicePath();
  if (path.empty()) return "IIO gyroscope (none under " + root_ + ")";
  std::string name;
  int err = 0;
  if (readAttribute(path + "/name", &name, &err)) {
    std::string_view trimmed = trim(name);
    if (!trimmed.empty()) return "IIO gyroscope " + std::string(trimmed) + " at " + path;
  }
  return "IIO gyroscope at " + path;
}

bool IioGyroSource::readNow(GyroData* data, std::string* error) {
  Device device;
  std::string why;
  {
    std::lock_guard lock(mutex_);
    if (!opened_) {
      if (!openDevice(&device_, &why)) {
        ++failed_;
        if (error) *error = why;
        return false;
      }
      opened_ = true;
    }
    device = device_;
  }
  if (!readDevice(device, data, &why)) {
    ++failed_;
    if (error) *error = why;
    return false;
  }
  return true;
}

bool IioGyroSource::start(double interval, Deliver deliver) {
  if (pollThread_.load() == std::this_thread::get_id()) {
    consoleLogLevel(kConsoleError, "IioGyroSource: start called from its own delivery; not started");
    return false;
  }
  std::lock_guard lifecycle(lifecycle_);
  {
    std::lock_guard lock(mutex_);
    if (running_) {
      consoleLogLevel(kConsoleError, "IioGyroSource: already started");
      return false;
    }
  }
  // A thread that stopped itself from inside deliver is still to be joined.
  if (thread_.joinable()) thread_.join();
  pollThread_.store(std::thread::id());

  Device device;
  std::string error;
  if (!openDevice(&device, &error)) {
    consoleLogLevel(kConsoleError, "%s", error.c_str());
    return false;
  }
  if (!(interval > 0.0) || !std::isfinite(interval)) interval = 0.01;
  {
    std::lock_guard lock(mutex_);
    device_ = device;
    opened_ = true;
    running_ = true;
    stopRequested_ = false;
  }
  thread_ = std::thread([this, interval, deliver = std::move(deliver)] { poll(interval, deliver); });
  pthread_setname_np(thread_.native_handle(), "IioGyroSource");
  return true;
}

void IioGyroSource::stop() {
  if (pollThread_.load() == std::this_thread::get_id()) {
    // Called from deliver: the loop sees the request as soon as deliver
    // returns, and the next start or the destructor joins the thread.
    std::lock_guard lock(mutex_);
    stopRequested_ = true;
    running_ = false;
    return;
  }
  std::lock_guard lifecycle(lifecycle_);
  {
    std::lock_guard lock(mutex_);
    stopRequested_ = true;
    running_ = false;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
  pollThread_.store(std::thread::id());
}

void IioGyroSource::poll(double interval, Deliver deliver) {
  pollThread_.store(std::this_thread::get_id());
  Device device;
  {
    std::lock_guard lock(mutex_);
    device = device_;
  }
  using Steady = std::chrono::steady_clock;
  const auto period = std::chrono::duration_cast<Steady::duration>(std::chrono::duration<double>(interval));
  auto next = Steady::now();
  bool failing = false;
  for (;;) {
    {
      std::lock_guard lock(mutex_);
      if (stopRequested_) return;
    }
    GyroData data;
    std::string error;
    if (readDevice(device, &data, &error)) {
      if (failing) {
        consoleLogLevel(kConsoleNotice, "IioGyroSource: readings from %s resumed", device.path.c_str());
        failing = false;
      }
      deliver(data);
    } else {
      ++failed_;
      // One line per spell of failures: at 100 Hz a vanished device would
      // otherwise flood the console.
      if (!failing) consoleLogLevel(kConsoleError, "%s", error.c_str());
      failing = true;
    }
    next += period;
    std::unique_lock lock(mutex_);
    if (wake_.wait_until(lock, next, [this] { return stopRequested_; })) return;
    // After a stall (a suspended machine, a slow read) resume the rhythm
    // from now instead of firing the missed ticks back to back.
    auto now = Steady::now();
    if (now - next > period) next = now;
  }
}

}  // namespace nudora

#include "process/CameraFile.h"

#include "platform/MessageText.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

namespace nudora::tool {
namespace {

// A reader for the one shape we accept: {"name": number, ...}.
class FlatJson {
 public:
  FlatJson(const std::string& text, const std::string& name) : text_(text), name_(name) {}

  bool read(std::map<std::string, double>* fields, std::string* error) {
    error_ = error;
    skipSpace();
    if (!take('{')) return fail("expected '{' at the start");
    skipSpace();
    if (take('}')) return end();
    for (;;) {
      std::string key;
      double value = 0.0;
      skipSpace();
      if (!string(&key)) return false;
      skipSpace();
      if (!take(':')) return fail("expected ':' after \"" + key + "\"");
      skipSpace();
      if (!number(key, &value)) return false;
      if (!fields->emplace(key, value).second) return fail("\"" + key + "\" is given twice");
      skipSpace();
      if (take('}')) return end();
      if (!take(',')) return fail("expected ',' or '}' after the value of \"" + key + "\"");
    }
  }

 private:
  bool fail(const std::string& what) {
    int line = 1;
    for (size_t i = 0; i < pos_ && i < text_.size(); ++i) line += text_[i] == '\n';
    *error_ = "camera file '" + name_ + "', line " + std::to_string(line) + ": " + what;
    return false;
  }
  void skipSpace() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }
  bool take(char c) {
    if (pos_ < text_.size() && text_[pos_] == c) {
      ++pos_;
      return true;
    }
    return false;
  }
  bool end() {
    skipSpace();
    return pos_ == text_.size() || fail("unexpected text after the closing '}'");
  }
  bool string(std::string* out) {
    if (!take('"')) return fail("expected a quoted field name");
    while (pos_ < text_.size() && text_[pos_] != '"') {
      if (text_[pos_] == '\\' || static_cast<unsigned char>(text_[pos_]) < 0x20) {
        return fail("field names are plain words");
      }
      out->push_back(text_[pos_++]);
    }
    return take('"') || fail("unterminated field name");
  }
  bool number(const std::string& key, double* value) {
    const char* start = text_.c_str() + pos_;
    char* end = nullptr;
    errno = 0;
    *value = std::strtod(start, &end);
    if (end == start || (*start != '-' && !std::isdigit(static_cast<unsigned char>(*start)))) {
      return fail("the value of \"" + key + "\" is not a number");
    }
    if (errno == ERANGE || !std::isfinite(*value)) return fail("the value of \"" + key + "\" is out of range");
    pos_ += static_cast<size_t>(end - start);
    return true;
  }

  const std::string& text_;
  const std::string& name_;
  size_t pos_ = 0;
  std::string* error_ = nullptr;
};

}  // namespace

bool CameraFile::parse(const std::string& text, const std::string& name, CameraFile* out, std::string* error) {
  std::map<std::string, double> fields;
  if (!FlatJson(text, name).read(&fields, error)) return false;
  CameraFile file;
  const std::pair<const char*, std::optional<double> CameraFile::*> known[] = {
      {"focalLengthPixels", &CameraFile::focalLengthPixels},
      {"focalLength", &CameraFile::focalLength},
      {"sensorWidth", &CameraFile::sensorWidth},
      {"sensorHeight", &CameraFile::sensorHeight},
      {"sensorCropWidth", &CameraFile::sensorCropWidth},
      {"sensorCropHeight", &CameraFile::sensorCropHeight},
      {"frameReadoutTime", &CameraFile::frameReadoutTime},
      {"gyroToFrameDelay", &CameraFile::gyroToFrameDelay},
  };
  for (const auto& [key, value] : fields) {
    bool found = false;
    for (const auto& [knownKey, member] : known) {
      if (key == knownKey) {
        file.*member = value;
        found = true;
      }
    }
    if (!found) {
      *error = "camera file '" + name + "': unknown field " + quotedExcerpt(key) +
               " (known: focalLengthPixels, focalLength, sensorWidth, sensorHeight, sensorCropWidth, "
               "sensorCropHeight, frameReadoutTime, gyroToFrameDelay)";
      return false;
    }
  }
  const bool optics = file.focalLength || file.sensorWidth || file.sensorHeight;
  if (file.focalLengthPixels && (optics || file.sensorCropWidth || file.sensorCropHeight)) {
    *error = "camera file '" + name + "': give either focalLengthPixels or focalLength with the sensor size, not both";
    return false;
  }
  if (!file.focalLengthPixels && !(file.focalLength && file.sensorWidth && file.sensorHeight)) {
    *error = "camera file '" + name + "': needs focalLengthPixels, or focalLength, sensorWidth and sensorHeight";
    return false;
  }
  *out = file;
  return true;
}

bool CameraFile::load(const std::string& path, CameraFile* out, std::string* error) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *error = "cannot read camera file '" + path + "': " + std::strerror(errno);
    return false;
  }
  std::stringstream text;
  text << in.rdbuf();
  return parse(text.str(), path, out, error);
}

OrvoCameraParameters CameraFile::parameters(int videoWidth, int videoHeight, double readoutDefault,
                                            double delayDefault) const {
  const auto readout = static_cast<float>(frameReadoutTime.value_or(readoutDefault));
  const double delay = gyroToFrameDelay.value_or(delayDefault);
  if (focalLengthPixels) {
    return OrvoCameraParameters::fromFocalLengthInPixels(static_cast<float>(*focalLengthPixels),
                                                         static_cast<float>(videoWidth),
                                                         static_cast<float>(videoHeight), readout, delay);
  }
  OrvoCameraParameters p;
  p.focalLength = static_cast<float>(*focalLength);
  p.sensorWidth = static_cast<float>(*sensorWidth);
  p.sensorHeight = static_cast<float>(*sensorHeight);
  p.sensorCropWidth = static_cast<float>(sensorCropWidth.value_or(1.0));
  p.sensorCropHeight = static_cast<float>(sensorCropHeight.value_or(1.0));
  p.frameReadoutTime = readout;
  p.gyroToFrameDelay = delay;
  return p;
}

}  // namespace nudora::tool

#include "platform/GyroLog.h"

#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/Console.h"
#include "platform/MessageText.h"

namespace nudora {
namespace {

constexpr std::string_view kGcsvMagic = "GYROFLOW IMU LOG";
constexpr std::string_view kGcsvMagicNeutral = "CAMERA IMU LOG";
const char* const kRequiredKeys[] = {"version", "id", "orientation", "tscale", "gscale"};

std::string_view trim(std::string_view s) {
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front()))) s.remove_prefix(1);
  while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.remove_suffix(1);
  return s;
}

std::vector<std::string_view> splitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  for (;;) {
    size_t comma = line.find(',');
    fields.push_back(trim(line.substr(0, comma)));
    if (comma == std::string_view::npos) return fields;
    line.remove_prefix(comma + 1);
  }
}

enum class NumberStatus { kOk, kNotNumber, kNotFinite };

NumberStatus parseNumber(std::string_view text, double* value) {
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  if (text.empty()) return NumberStatus::kNotNumber;
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), *value);
  if (end != text.data() + text.size()) return NumberStatus::kNotNumber;
  if (ec == std::errc::result_out_of_range) return NumberStatus::kNotFinite;
  if (ec != std::errc()) return NumberStatus::kNotNumber;
  return std::isfinite(*value) ? NumberStatus::kOk : NumberStatus::kNotFinite;
}

bool columnsMatch(const std::vector<std::string_view>& fields, size_t from,
                  std::initializer_list<std::string_view> names) {
  if (fields.size() < from + names.size()) return false;
  size_t i = from;
  for (std::string_view name : names) {
    if (fields[i++] != name) return false;
  }
  return true;
}

// What a successful parse produces; moved into the log only when complete.
struct Parsed {
  GyroLog::Format format = GyroLog::Format::kPlainCsv;
  std::vector<GyroLog::Reading> readings;
  std::map<std::string, std::string> header;
  GyroLog::Orientation orientation;
};

class Parser {
 public:
  Parser(std::string_view text, const std::string& name) : text_(text), name_(name) {
    if (text_.substr(0, 3) == "\xEF\xBB\xBF") text_.remove_prefix(3);
  }

  bool run(Parsed* out, std::string* error) {
    error_ = error;
    std::string_view first;
    if (!nextLine(&first)) return fail(1, "empty log");
    if (first == kGcsvMagic || first == kGcsvMagicNeutral) {
      out->format = GyroLog::Format::kGcsv;
      return parseGcsv(out);
    }
    out->format = GyroLog::Format::kPlainCsv;
    return parsePlain(first, out);
  }

 private:
  // The next non-blank line, trimmed; false at the end of the text.
  bool nextLine(std::string_view* line) {
    while (pos_ < text_.size()) {
      size_t end = text_.find('\n', pos_);
      if (end == std::string_view::npos) end = text_.size();
      std::string_view raw = text_.substr(pos_, end - pos_);
      pos_ = end + 1;
      ++line_;
      std::string_view trimmed = trim(raw);
      if (!trimmed.empty()) {
        *line = trimmed;
        return true;
      }
    }
    return false;
  }

  bool fail(size_t line, const std::string& what) {
    *error_ = name_ + ":" + std::to_string(line) + ": " + what;
    return false;
  }

  bool number(std::string_view field, const char* column, double* value) {
    switch (parseNumber(field, value)) {
      case NumberStatus::kOk:
        return true;
      case NumberStatus::kNotFinite:
        return fail(line_, std::string(column) + " " + quotedExcerpt(field) + " is not a finite number");
      case NumberStatus::kNotNumber:
        break;
    }
    return fail(line_, std::string(column) + " " + quotedExcerpt(field) + " is not a number");
  }

  bool parseGcsv(Parsed* out) {
    std::map<std::string, size_t> keyLines;
    std::string_view line;
    std::vector<std::string_view> columns;
    for (;;) {
      if (!nextLine(&line)) return fail(line_, "the log ends before its column line t,gx,gy,gz");
      size_t comma = line.find(',');
      std::string_view key = trim(line.substr(0, comma));
      if (key == "t" || key == "time") {
        columns = splitFields(line);
        break;
      }
      if (comma == std::string_view::npos || key.empty()) {
        return fail(line_, "header line " + quotedExcerpt(line) + " is not key,value");
      }
      std::string k(key);
      if (keyLines.count(k)) return fail(line_, "header key " + quotedExcerpt(k) + " given twice");
      keyLines[k] = line_;
      out->header[k] = std::string(trim(line.substr(comma + 1)));
    }
    const size_t columnLine = line_;
    const bool columnsOk = columnsMatch(columns, 1, {"gx", "gy", "gz"}) &&
                           (columns.size() == 4 || (columns.size() == 7 && columnsMatch(columns, 4, {"ax", "ay", "az"})) ||
                            (columns.size() == 10 && columnsMatch(columns, 4, {"ax", "ay", "az", "mx", "my", "mz"})));
    if (!columnsOk) {
      return fail(columnLine, "columns must be t,gx,gy,gz, optionally followed by ax,ay,az and mx,my,mz");
    }
    for (const char* key : kRequiredKeys) {
      if (!out->header.count(key)) return fail(columnLine, std::string("header key '") + key + "' is missing");
    }
    const std::string& orientation = out->header["orientation"];
    if (!GyroLog::Orientation::parse(orientation, &out->orientation)) {
      return fail(keyLines["orientation"],
                  "orientation " + quotedExcerpt(orientation) + " is not three of x, y, z (each once, lowercase negated)");
    }
    double tscale = 0.0, gscale = 0.0;
    if (!positiveKey(*out, keyLines, "tscale", &tscale) || !positiveKey(*out, keyLines, "gscale", &gscale)) {
      return false;
    }
    auto ascale = out->header.find("ascale");
    if (ascale != out->header.end() && !ascale->second.empty()) {
      double unused = 0.0;
      if (parseNumber(ascale->second, &unused) != NumberStatus::kOk) {
        return fail(keyLines["ascale"], "ascale " + quotedExcerpt(ascale->second) + " is not a finite number");
      }
    }
    return parseRows(columns.size(), tscale, gscale, nullptr, out);
  }

  bool positiveKey(const Parsed& parsed, std::map<std::string, size_t>& keyLines, const char* key, double* value) {
    const std::string& text = parsed.header.at(key);
    if (parseNumber(text, value) != NumberStatus::kOk || !(*value > 0.0)) {
      return fail(keyLines[key], std::string(key) + " " + quotedExcerpt(text) + " is not a positive number");
    }
    return true;
  }

  bool parsePlain(std::string_view first, Parsed* out) {
    std::vector<std::string_view> fields = splitFields(first);
    double probe = 0.0;
    if (parseNumber(fields[0], &probe) == NumberStatus::kNotNumber) {
      // Not a reading, so it has to be the header.
      if (fields.size() != 4 || !columnsMatch(fields, 0, {"t", "gx", "gy", "gz"})) {
        return fail(line_, quotedExcerpt(first) + " is neither a " + std::string(kGcsvMagic) +
                               " line nor the header t,gx,gy,gz nor a reading");
      }
      return parseRows(4, 1.0, 1.0, nullptr, out);
    }
    return parseRows(4, 1.0, 1.0, &first, out);
  }

  // Rows until the end; pending is a first row already read.
  bool parseRows(size_t columnCount, double tscale, double gscale, const std::string_view* pending, Parsed* out) {
    static const char* const kNames[] = {"t", "gx", "gy", "gz", "ax", "ay", "az", "mx", "my", "mz"};
    std::vector<GyroLog::Reading> readings;
    std::string_view line;
    bool havePending = pending != nullptr;
    while (havePending || nextLine(&line)) {
      if (havePending) line = *pending;
      havePending = false;
      std::vector<std::string_view> fields = splitFields(line);
      if (fields.size() != columnCount) {
        return fail(line_, std::to_string(fields.size()) + " fields where the log has " + std::to_string(columnCount) +
                               " columns");
      }
      double values[10];
      for (size_t i = 0; i < columnCount; ++i) {
        if (!number(fields[i], kNames[i], &values[i])) return false;
      }
      GyroLog::Reading r{values[0] * tscale, values[1] * gscale, values[2] * gscale, values[3] * gscale};
      if (!std::isfinite(r.t) || !std::isfinite(r.x) || !std::isfinite(r.y) || !std::isfinite(r.z)) {
        return fail(line_, "the scaled reading is not finite");
      }
      if (!readings.empty() && r.t < readings.back().t) {
        std::ostringstream what;
        what.precision(9);
        what << "time goes backwards (" << r.t << " s after " << readings.back().t << " s)";
        return fail(line_, what.str());
      }
      readings.push_back(r);
    }
    if (readings.empty()) return fail(line_ == 0 ? 1 : line_, "no readings");
    out->readings = std::move(readings);
    return true;
  }

  std::string_view text_;
  const std::string& name_;
  std::string* error_ = nullptr;
  size_t pos_ = 0;
  size_t line_ = 0;
};

}  // namespace

bool GyroLog::Orientation::parse(std::string_view text, Orientation* out) {
  if (text.size() != 3) return false;
  Orientation o;
  bool used[3] = {false, false, false};
  for (int i = 0; i < 3; ++i) {
    char c = text[i];
    char lower = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (lower < 'x' || lower > 'z') return false;
    int axis = lower - 'x';
    if (used[axis]) return false;
    used[axis] = true;
    o.source[i] = axis;
    o.sign[i] = c == lower ? -1.0 : 1.0;
  }
  *out = o;
  return true;
}

std::string GyroLog::Orientation::text() const {
  std::string s;
  for (int i = 0; i < 3; ++i) s += static_cast<char>((sign[i] < 0 ? 'x' : 'X') + source[i]);
  return s;
}

void GyroLog::Orientation::apply(const double in[3], double out[3]) const {
  const double copy[3] = {in[0], in[1], in[2]};
  for (int i = 0; i < 3; ++i) out[i] = sign[i] * copy[source[i]];
}

std::shared_ptr<GyroLog> GyroLog::open(const std::string& path, std::string* error) {
  auto log = std::make_shared<GyroLog>();
  if (!log->load(path, error)) return nullptr;
  return log;
}

bool GyroLog::load(const std::string& path, std::string* error) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::string why = path + ": cannot open: " + std::strerror(errno);
    consoleLogLevel(kConsoleError, "GyroLog: %s", why.c_str());
    if (error) *error = why;
    return false;
  }
  std::ostringstream contents;
  contents << file.rdbuf();
  if (file.bad()) {
    std::string why = path + ": read error";
    consoleLogLevel(kConsoleError, "GyroLog: %s", why.c_str());
    if (error) *error = why;
    return false;
  }
  return parse(contents.str(), path, error);
}

bool GyroLog::parse(std::string_view text, const std::string& name, std::string* error) {
  Parsed parsed;
  std::string why;
  if (!Parser(text, name).run(&parsed, &why)) {
    consoleLogLevel(kConsoleError, "GyroLog: %s", why.c_str());
    if (error) *error = why;
    return false;
  }
  path_ = name;
  format_ = parsed.format;
  readings_ = std::move(parsed.readings);
  header_ = std::move(parsed.header);
  fileOrientation_ = parsed.orientation;
  return true;
}

bool GyroLog::setOrientation(const std::string& letters) {
  Orientation o;
  if (!Orientation::parse(letters, &o)) {
    consoleLogLevel(kConsoleError, "GyroLog: orientation '%s' is not three of x, y, z (each once, lowercase negated)",
                    letters.c_str());
    return false;
  }
  override_ = o;
  hasOverride_ = true;
  return true;
}

GyroData GyroLog::deviceReading(size_t i, const Orientation& orientation) const {
  GyroData data;
  if (i >= readings_.size()) return data;
  const Reading& r = readings_[i];
  const double in[3] = {r.x, r.y, r.z};
  double out[3];
  orientation.apply(in, out);
  data.timestamp = r.t;
  data.x = out[0];
  data.y = out[1];
  data.z = out[2];
  return data;
}

}  // namespace nudora

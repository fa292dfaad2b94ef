#include "filters/CubeLookupTable.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include "filters/LookupTableImage.h"
#include "platform/Console.h"
#include "platform/Image.h"
#include "platform/MessageText.h"

namespace nudora {
namespace {

// A 65-point table is about 9 MB of text; anything far larger is not a table.
constexpr std::uintmax_t kMaxFileBytes = 64u << 20;

enum class Number { kOk, kNotANumber, kNotFinite };

// A number that takes the whole word. from_chars is used rather than strtod
// because it ignores the locale (a decimal comma would misread "0.5").
Number readNumber(std::string_view word, double* value) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-') word.remove_prefix(1);
  const char* end = word.data() + word.size();
  auto [ptr, ec] = std::from_chars(word.data(), end, *value);
  if (ptr != end || word.empty()) return Number::kNotANumber;
  if (ec == std::errc::result_out_of_range) {
    // Too small to hold is as good as zero; too large is refused below.
    const size_t e = word.find_first_of("eE");
    if (e == std::string_view::npos || e + 1 >= word.size() || word[e + 1] != '-') return Number::kNotFinite;
    *value = 0.0;
    ec = std::errc();
  }
  if (!std::isfinite(*value)) return Number::kNotFinite;
  return ec == std::errc() ? Number::kOk : Number::kNotANumber;
}

// The line up to a '#' that is not inside a quoted title.
std::string_view withoutComment(std::string_view line) {
  bool quoted = false;
  for (size_t i = 0; i < line.size(); ++i) {
    if (line[i] == '"') quoted = !quoted;
    if (line[i] == '#' && !quoted) return line.substr(0, i);
  }
  return line;
}

std::vector<std::string_view> wordsOf(std::string_view line) {
  std::vector<std::string_view> words;
  size_t at = 0;
  while (at < line.size()) {
    at = line.find_first_not_of(" \t", at);
    if (at == std::string_view::npos) break;
    size_t end = line.find_first_of(" \t", at);
    if (end == std::string_view::npos) end = line.size();
    words.push_back(line.substr(at, end - at));
    at = end;
  }
  return words;
}

std::string_view trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Upper-case letters, digits and '_', starting with a letter: the shape of
// the format's keywords.
bool looksLikeKeyword(std::string_view word) {
  if (word.empty() || word.front() < 'A' || word.front() > 'Z') return false;
  return std::all_of(word.begin(), word.end(),
                     [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_'; });
}

}  // namespace

std::shared_ptr<const CubeLookupTable> CubeLookupTable::load(const std::string& path, std::string* error) {
  auto report = [&](const std::string& message) -> std::shared_ptr<const CubeLookupTable> {
    if (error) {
      *error = message;
    } else {
      consoleLog("%s", message.c_str());
    }
    return nullptr;
  };
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) return report(path + ": is a folder, not a .cube table");
  std::ifstream file(path, std::ios::binary);
  if (!file) return report(path + ": cannot be read (" + std::strerror(errno) + ")");
  const std::uintmax_t bytes = std::filesystem::file_size(path, ec);
  if (!ec && bytes > kMaxFileBytes) {
    return report(path + ": " + std::to_string(bytes) + " bytes is too large for a .cube table");
  }
  std::stringstream text;
  text << file.rdbuf();
  return parse(text.str(), path, error);
}

std::shared_ptr<const CubeLookupTable> CubeLookupTable::parse(const std::string& text, const std::string& name,
                                                              std::string* error) {
  int lineNumber = 0;
  auto fail = [&](int line, const std::string& what) -> std::shared_ptr<const CubeLookupTable> {
    const std::string message = name + " line " + std::to_string(std::max(line, 1)) + ": " + what;
    if (error) {
      *error = message;
    } else {
      consoleLog("%s", message.c_str());
    }
    return nullptr;
  };

  CubeLookupTable table;
  int titleLine = 0, sizeLine = 0, minLine = 0, maxLine = 0, rangeLine = 0;
  size_t rows = 0, expectedRows = 0;
  std::string_view rest(text);
  while (!rest.empty()) {
    const size_t newline = rest.find('\n');
    std::string_view line = rest.substr(0, newline);
    rest = newline == std::string_view::npos ? std::string_view() : rest.substr(newline + 1);
    ++lineNumber;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    line = withoutComment(line);
    const std::vector<std::string_view> words = wordsOf(line);
    if (words.empty()) continue;

    double first = 0.0;
    const bool keyword = readNumber(words[0], &first) == Number::kNotANumber && looksLikeKeyword(words[0]);
    if (keyword && rows > 0) {
      return fail(lineNumber, "keyword " + quotedExcerpt(words[0]) + " after the data; keywords go before the first row");
    }
    if (keyword) {
      const std::string_view key = words[0];
      // Each keyword comes once; the domain comes once, by DOMAIN_MIN and
      // DOMAIN_MAX or by LUT_3D_INPUT_RANGE.
      auto twice = [&](int earlier) {
        return std::string(key) + " repeats what line " + std::to_string(earlier) + " already gave";
      };
      auto numbers = [&](size_t count, double* out) -> std::string {
        if (words.size() - 1 != count) {
          return std::string(key) + " needs " + std::to_string(count) + " numbers, got " +
                 std::to_string(words.size() - 1);
        }
        for (size_t i = 0; i < count; ++i) {
          const Number n = readNumber(words[i + 1], &out[i]);
          if (n == Number::kNotFinite) return quotedExcerpt(words[i + 1]) + " is not a finite number";
          if (n != Number::kOk) return std::string(key) + " needs numbers, got " + quotedExcerpt(words[i + 1]);
        }
        return {};
      };
      if (key == "TITLE") {
        if (titleLine) return fail(lineNumber, twice(titleLine));
        titleLine = lineNumber;
        std::string_view title = trimmed(line.substr(line.find("TITLE") + 5));
        if (title.size() >= 2 && title.front() == '"') {
          const size_t close = title.find('"', 1);
          title = title.substr(1, close == std::string_view::npos ? std::string_view::npos : close - 1);
        }
        table.title_ = std::string(title);
      } else if (key == "LUT_3D_SIZE") {
        if (sizeLine) return fail(lineNumber, twice(sizeLine));
        sizeLine = lineNumber;
        double size = 0.0;
        if (words.size() != 2 || readNumber(words[1], &size) != Number::kOk || size != std::floor(size) ||
            size < kMinSize || size > kMaxSize) {
          return fail(lineNumber, "LUT_3D_SIZE must be one whole number from " + std::to_string(kMinSize) + " to " +
                                      std::to_string(kMaxSize) + ", got " +
                                      quotedExcerpt(trimmed(line.substr(line.find("LUT_3D_SIZE") + 11))));
        }
        table.size_ = static_cast<int>(size);
        expectedRows = static_cast<size_t>(table.size_) * table.size_ * table.size_;
        table.values_.reserve(expectedRows * 3);
      } else if (key == "LUT_1D_SIZE" || key == "LUT_1D_INPUT_RANGE") {
        return fail(lineNumber,
                    "1D tables (" + std::string(key) + ") are not supported; give a 3D table (LUT_3D_SIZE)");
      } else if (key == "DOMAIN_MIN" || key == "DOMAIN_MAX") {
        int& seen = key == "DOMAIN_MIN" ? minLine : maxLine;
        if (rangeLine) return fail(lineNumber, twice(rangeLine));
        if (seen) return fail(lineNumber, twice(seen));
        seen = lineNumber;
        std::array<double, 3>& domain = key == "DOMAIN_MIN" ? table.domainMin_ : table.domainMax_;
        if (std::string problem = numbers(3, domain.data()); !problem.empty()) return fail(lineNumber, problem);
      } else if (key == "LUT_3D_INPUT_RANGE") {
        // Resolve's spelling of one domain for all three channels.
        if (rangeLine || minLine || maxLine) return fail(lineNumber, twice(std::max({rangeLine, minLine, maxLine})));
        rangeLine = lineNumber;
        double range[2] = {0.0, 0.0};
        if (std::string problem = numbers(2, range); !problem.empty()) return fail(lineNumber, problem);
        table.domainMin_.fill(range[0]);
        table.domainMax_.fill(range[1]);
      } else {
        return fail(lineNumber, "unknown keyword " + quotedExcerpt(key));
      }
      continue;
    }

    // A row of data.
    if (rows == 0) {
      if (!sizeLine) return fail(lineNumber, "data before LUT_3D_SIZE; the size must come first");
      for (int c = 0; c < 3; ++c) {
        if (!(table.domainMax_[c] > table.domainMin_[c])) {
          return fail(rangeLine ? rangeLine : std::max(minLine, maxLine),
                      "DOMAIN_MAX must exceed DOMAIN_MIN in every channel");
        }
      }
    }
    double rgb[3] = {0.0, 0.0, 0.0};
    for (size_t i = 0; i < words.size() && i < 3; ++i) {
      const Number n = readNumber(words[i], &rgb[i]);
      if (n == Number::kNotFinite) return fail(lineNumber, quotedExcerpt(words[i]) + " is not a finite number");
      if (n != Number::kOk) return fail(lineNumber, "expected three numbers, got " + quotedExcerpt(words[i]));
    }
    if (words.size() != 3) {
      return fail(lineNumber, "expected three numbers, got " + std::to_string(words.size()));
    }
    if (rows == expectedRows) {
      return fail(lineNumber, "more rows than LUT_3D_SIZE " + std::to_string(table.size_) + " allows (" +
                                  std::to_string(expectedRows) + ")");
    }
    for (double v : rgb) table.values_.push_back(static_cast<float>(v));
    ++rows;
  }

  if (!sizeLine) return fail(lineNumber, "no LUT_3D_SIZE; this is not a 3D .cube table");
  if (rows != expectedRows) {
    return fail(lineNumber, std::to_string(rows) + " rows of data, LUT_3D_SIZE " + std::to_string(table.size_) +
                                " needs " + std::to_string(expectedRows));
  }
  return std::make_shared<const CubeLookupTable>(std::move(table));
}

std::array<double, 3> CubeLookupTable::entry(int r, int g, int b) const {
  const size_t at = ((static_cast<size_t>(b) * size_ + g) * size_ + r) * 3;
  return {values_[at], values_[at + 1], values_[at + 2]};
}

std::array<double, 3> CubeLookupTable::evaluate(double r, double g, double b) const {
  const double in[3] = {r, g, b};
  const int top = size_ - 1;
  int low[3];
  double fraction[3];
  for (int c = 0; c < 3; ++c) {
    double x = (in[c] - domainMin_[c]) / (domainMax_[c] - domainMin_[c]) * top;
    x = x > 0.0 ? std::min(x, static_cast<double>(top)) : 0.0;  // also sends NaN to the edge
    // The last cell takes its far face, so that x = top needs no neighbour.
    low[c] = std::min(static_cast<int>(x), top - 1);
    fraction[c] = x - low[c];
  }
  // The cell splits into six tetrahedra along its main diagonal; the one
  // holding the point is found by ordering the fractions. Walking from the
  // low corner along the axes from the largest fraction to the smallest
  // visits its four corners, weighted by the differences of the fractions.
  int axis[3] = {0, 1, 2};
  std::sort(axis, axis + 3, [&](int i, int j) { return fraction[i] > fraction[j]; });
  int corner[3] = {low[0], low[1], low[2]};
  std::array<double, 3> out{};
  auto add = [&](double weight) {
    const std::array<double, 3> v = entry(corner[0], corner[1], corner[2]);
    for (int c = 0; c < 3; ++c) out[c] += weight * v[c];
  };
  add(1.0 - fraction[axis[0]]);
  for (int step = 0; step < 3; ++step) {
    ++corner[axis[step]];
    add(fraction[axis[step]] - (step < 2 ? fraction[axis[step + 1]] : 0.0));
  }
  return out;
}

std::shared_ptr<Image> CubeLookupTable::lookupTableImage() const {
  return makeLookupTableImage([this](double r, double g, double b, double out[3]) {
    const std::array<double, 3> v = evaluate(r, g, b);
    std::copy(v.begin(), v.end(), out);
  });
}

}  // namespace nudora

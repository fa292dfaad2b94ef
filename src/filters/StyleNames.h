#pragma once
// The names people use for the style looks: a short word per style number
// ("sepia", "tealorange", "movie1940"), with a line saying what the look is.
// Hosts and the nudora program accept either the number or the name; names
// match without regard to case, spaces, '-' and '_' ("X_pro2" is "x-pro2").

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nudora {

struct StyleName {
  int64_t style;
  const char* name;
  const char* description;
};

// Every style of the catalogue, by number (1 to 62).
const std::vector<StyleName>& styleNames();

// The name of a style number; nullopt for a number without a style.
std::optional<std::string> styleNameOf(int64_t style);

// The style a text names: a name, or a number of the catalogue ("0" and
// "none" answer 0). nullopt when the text names no style.
std::optional<int64_t> styleNamed(const std::string& text);

// The names closest to a mistyped one (edit distance of at most half of
// its length, at most three of them, nearest first); empty when none is close.
std::vector<std::string> styleNamesNear(const std::string& text);

}  // namespace nudora

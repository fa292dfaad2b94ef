#pragma once
// The names people use for the filters: a short word per style number
// ("sepia", "tealorange", "movie1940") and per lens number ("fisheye",
// "tilt-shift"), each with a line saying what it does. Hosts and the nudora
// program accept either the number or the name; names match without regard
// to case, spaces, '-' and '_' ("X_pro2" is "x-pro2").

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nudora {

struct FilterName {
  int64_t number;
  const char* name;
  const char* description;
};

// Every style (1 to 62) and every lens of the catalogue, by number.
const std::vector<FilterName>& styleNames();
const std::vector<FilterName>& lensNames();

// The name of a number in the list; nullopt for a number it lacks.
std::optional<std::string> filterNameOf(const std::vector<FilterName>& names, int64_t number);

// The number a text names: a name of the list, or a number it holds ("0"
// and "none" answer 0). nullopt when the text names nothing in the list.
std::optional<int64_t> filterNamed(const std::vector<FilterName>& names, const std::string& text);

// The names closest to a mistyped one (edit distance of at most half of
// its length, at most three of them, nearest first); empty when none is close.
std::vector<std::string> filterNamesNear(const std::vector<FilterName>& names, const std::string& text);

}  // namespace nudora

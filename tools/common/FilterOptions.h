#pragma once
// The filter options that nudora still and nudora process share, checked
// before any GL work so that a bad number costs one clear line.

#include <cstdint>
#include <string>

namespace nudora::tool {

// Empty when the style, lens, beauty level and digital zoom are usable, else
// one sentence naming the first bad value.
std::string filterOptionProblem(int64_t style, int64_t lens, int64_t beauty, double zoom);

// Rewrite a --style / --lens value given as a name ("sepia", "X_pro2",
// "fisheye") into its number and answer empty; a text that names nothing is
// left alone and answered with a sentence suggesting the nearest names.
// Numbers pass unchanged, for filterOptionProblem to judge.
std::string styleNameToNumber(std::string& text);
std::string lensNameToNumber(std::string& text);

}  // namespace nudora::tool

#pragma once
// Text from a file quoted into an error line: single quotes around at most
// maxChars bytes, a longer text cut with "...", and every byte that is not
// printable ASCII written as \xNN (tabs, line ends and binary junk alike),
// so that a binary file given by mistake cannot garble the terminal.

#include <cstddef>
#include <string>
#include <string_view>

namespace nudora {

std::string quotedExcerpt(std::string_view text, size_t maxChars = 40);

}  // namespace nudora

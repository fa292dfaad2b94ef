#include "platform/MessageText.h"

#include <cstdio>

namespace nudora {

std::string quotedExcerpt(std::string_view text, size_t maxChars) {
  std::string out = "'";
  for (size_t i = 0; i < text.size() && i < maxChars; ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c >= 0x20 && c < 0x7f) {
      out += static_cast<char>(c);
    } else {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", c);
      out += escaped;
    }
  }
  return out + (text.size() > maxChars ? "...'" : "'");
}

}  // namespace nudora

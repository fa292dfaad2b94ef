#pragma once
// A 5 x 7 pixel font for labels on pictures the tool writes (contact
// sheets): capital letters, digits, '-', '.', '(' and ')'. Small letters
// are drawn as capitals; other characters as a blank.

#include <cstdint>
#include <string>

namespace nudora {
class Image;
}

namespace nudora::tool {

// Width in pixels of text drawn at the scale (each glyph 5 wide plus a
// column of space, scaled).
int textWidth(const std::string& text, int scale);
constexpr int textHeight(int scale) { return 7 * scale; }

// Draws text with its top left corner at (x, y), each font pixel a
// scale x scale square of the colour (RGBA); what falls outside is clipped.
void drawText(Image& image, int x, int y, const std::string& text, int scale, const uint8_t rgba[4]);

}  // namespace nudora::tool

// Writes short labels into a picture, in capital letters of 5 x 7 dots.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "tools/lumora-shot/pictures.h"

namespace shot {

using Colour = std::array<uint8_t, 3>;

// A letter takes 6 x 8 dots with its gap; a dot is `scale` pixels wide. What lies outside the picture is cut off.
void Write(Rgb& picture, int x, int y, int scale, const Colour& colour, std::string_view text);
constexpr int WidthOfText(std::string_view text, int scale) { return static_cast<int>(text.size()) * 6 * scale; }

void Fill(Rgb& picture, int x, int y, int width, int height, const Colour& colour);

}  // namespace shot

#pragma once
// The glyphs of a text's string laid out as one shell.
#include <string>
#include <vector>

#include "scene/detail/Tessellate.h"

namespace KZV {
class TextKit;
}

namespace KZV::detail {

// Code points of UTF-8 bytes; a malformed sequence gives U+FFFD.
std::u32string DecodeUTF8(std::string const& bytes);

// Triangles of the glyphs of the kit's string in the z = 0 plane, clockwise
// seen from +z: its font, bold and italic, one em of the size (1 by
// default) high, the first baseline from the kit's position to +x, kerned,
// each new line one line spacing lower. Blanks take room but give no face.
Faces TextFaces(TextKit const& kit);

}  // namespace KZV::detail

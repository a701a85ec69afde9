#pragma once
// Codes of the scene's enumerations.
#include <cstdint>

namespace KZV {

namespace Search {
enum class Type : uint32_t {
  Geometry = 0x10000000,  // all geometry of a segment, references included
  Lines = 0x10000035,
  Everything = 0xFFFFFF,  // geometry, includes and child segments
};
enum class Space : uint32_t {
  SegmentOnly = 0,  // the segment itself, nothing below it
};
}  // namespace Search

namespace Material {
enum class Type : uint32_t { None = 0, RGBColor = 2, RGBAColor = 3, PaletteIndex = 4, Value = 10 };
enum class Channel : uint32_t {
  DiffuseColor = 1,
  DiffuseTexture = 2,
  Specular = 3,
  Transmission = 4,
  Emission = 5,
  Mirror = 6,
  Bump = 7,
  EnvironmentTexture = 8,
  Transparency = 9,
  Gloss = 10,
};
namespace Texture {
enum class Parameterization : uint32_t {
  Cylinder = 0, PhysicalReflection = 1, Object = 2, NaturalUV = 3, ReflectionVector = 4,
  SurfaceNormal = 5, Sphere = 6, UV = 7, World = 8,
};
enum class Tiling : uint32_t { Clamp = 0, Repeat = 1 };
enum class Interpolation : uint32_t { None = 0, Bilinear = 1 };
enum class Decimation : uint32_t { None = 0, Anisotropic = 1, Mipmap = 2 };
}  // namespace Texture
}  // namespace Material

namespace Shell {
enum class Component : uint32_t { Faces = 0, Edges = 1, Vertices = 2 };
}

namespace Drawing {
enum class Handedness : uint32_t { None = 0, Left = 1, Right = 2 };
// Window: region points in window coordinates. World: points in the
// coordinates of the segment that holds the region, placed by a matrix.
enum class ClipSpace : uint32_t { Window = 0, World = 2 };
enum class ClipOperation : uint32_t { Keep = 0, Remove = 1 };
}  // namespace Drawing

namespace AttributeLock {
enum class Type : uint32_t { Visibility = 0x2000000 };
}

namespace Image {
enum class Format : uint32_t {
  RGB = 0,        // 3 bytes a pixel
  RGBA = 1,       // 4 bytes a pixel
  ARGB = 2,       // 4 bytes a pixel, alpha first
  BGRA = 3,       // 4 bytes a pixel
  Grayscale = 4,  // 1 byte a pixel
  Bmp = 5,        // bytes of a BMP file
  Jpeg = 6,       // bytes of a JPEG file
  Png = 7,        // bytes of a PNG file
  BGR = 8,        // 3 bytes a pixel
  GrayAlpha = 9,  // 2 bytes a pixel
};
}  // namespace Image

namespace Text {
// Which point of the text's box sits at its position.
enum class Alignment : uint32_t {
  TopLeft = 0, CenterLeft = 1, BottomLeft = 2,
  TopCenter = 3, Center = 4, BottomCenter = 5,
  TopRight = 6, CenterRight = 7, BottomRight = 8,
};
enum class ReferenceFrame : uint32_t { WorldAligned = 0, PathAligned = 1 };
enum class Justification : uint32_t { Left = 0, Right = 1, Center = 2 };
enum class Transform : uint32_t { Transformable = 0, NonTransformable = 1, CharacterPositionOnly = 2 };
enum class SizeUnits : uint32_t { ObjectSpace = 0, Points = 1, Pixels = 2, WorldSpace = 3 };
enum class RegionAlignment : uint32_t { Top = 0, Center = 1, Bottom = 2 };
enum class RegionFitting : uint32_t { Left = 0, Center = 1, Right = 2, Spacing = 3, Auto = 4, Stretch = 5 };
}  // namespace Text

namespace Window {
enum class Driver : uint32_t { Default = 0 };
}

namespace Info {
enum class Code : uint32_t { Warning = 0 };
}

}  // namespace KZV

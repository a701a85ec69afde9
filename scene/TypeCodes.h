#pragma once
// The 32-bit type codes that Object::Type() reports for scene entities.
#include <cstdint>

namespace KZV::TypeCode {

inline constexpr uint32_t Include = 0x10000001;
inline constexpr uint32_t Reference = 0x10100001;
inline constexpr uint32_t Circle = 0x10100002;
inline constexpr uint32_t CircularArc = 0x10100003;
inline constexpr uint32_t CircularWedge = 0x10100004;
inline constexpr uint32_t Cylinder = 0x10100006;
inline constexpr uint32_t Ellipse = 0x10100007;
inline constexpr uint32_t EllipticalArc = 0x10100008;
inline constexpr uint32_t Line = 0x1010000A;
inline constexpr uint32_t Mesh = 0x1010000E;
inline constexpr uint32_t NURBSCurve = 0x1010000F;
inline constexpr uint32_t NURBSSurface = 0x10100010;
inline constexpr uint32_t Polygon = 0x10100011;
inline constexpr uint32_t Shell = 0x10100012;
inline constexpr uint32_t Sphere = 0x10100013;
inline constexpr uint32_t Text = 0x10100014;
inline constexpr uint32_t Segment = 0x10200000;

// Kits and definitions, which are no database entities.
inline constexpr uint32_t Kit = 0x20000000;
inline constexpr uint32_t Definition = 0x30000000;
inline constexpr uint32_t KeyPath = 0x40000000;

inline constexpr bool IsGeometry(uint32_t code) { return (code & 0xFFF00000u) == 0x10100000u; }

}  // namespace KZV::TypeCode

#pragma once
// Record tags of the stream and the codes that name kinds of keys in it.
#include <cstdint>

namespace QX::Store {

namespace Tag {
inline constexpr uint32_t StateChange = 48;   // '0'
inline constexpr uint32_t MeshList = 50;      // '2'
inline constexpr uint32_t KeyProperty = 51;   // '3'
inline constexpr uint32_t OpResult = 52;      // '4'
inline constexpr uint32_t Selection = 53;     // '5'
inline constexpr uint32_t Extension = 54;     // '6'
inline constexpr uint32_t FullMaterial = 57;  // '9'
inline constexpr uint32_t MaterialMap = 65;   // 'A'
inline constexpr uint32_t Bounds = 66;        // 'B'
inline constexpr uint32_t KeyedBlock = 68;    // 'D'
inline constexpr uint32_t Image = 69;         // 'E'
inline constexpr uint32_t Group = 71;         // 'G'
inline constexpr uint32_t Instance = 73;      // 'I'
inline constexpr uint32_t MeshDef = 77;       // 'M'
inline constexpr uint32_t Context = 78;       // 'N'
inline constexpr uint32_t TreeNode = 79;      // 'O'
inline constexpr uint32_t Background = 80;    // 'P'
inline constexpr uint32_t SmallMesh = 81;     // 'Q'
inline constexpr uint32_t LargeMesh = 82;     // 'R'
inline constexpr uint32_t SimpleColor = 83;   // 'S'
inline constexpr uint32_t PassEnd = 84;       // 'T'
inline constexpr uint32_t Text = 85;          // 'U'
inline constexpr uint32_t Head = 86;          // 'V'
inline constexpr uint32_t PolyPolygon = 89;   // 'Y'
inline constexpr uint32_t Compressed = 90;    // 'Z'
inline constexpr uint32_t BoundsResult = 98;  // 'b'
inline constexpr uint32_t Camera = 99;        // 'c'
inline constexpr uint32_t KeyedData = 100;    // 'd'
inline constexpr uint32_t Event = 101;        // 'e'
inline constexpr uint32_t ImageReuse = 103;   // 'g'
inline constexpr uint32_t Inclusion = 105;    // 'i'
inline constexpr uint32_t Missing = 109;      // 'm'
inline constexpr uint32_t TreeHead = 111;     // 'o'
inline constexpr uint32_t Previews = 112;     // 'p'
inline constexpr uint32_t MeshChunk = 114;    // 'r'
inline constexpr uint32_t Removal = 116;      // 't'
inline constexpr uint32_t LiveText = 117;     // 'u'
inline constexpr uint32_t Override = 118;     // 'v'
inline constexpr uint32_t LiveInclusion = 120;  // 'x'
inline constexpr uint32_t ClipRegion = 121;   // 'y'
inline constexpr uint32_t LinePattern = 156;
inline constexpr uint32_t Material = 165;
inline constexpr uint32_t Matrix = 176;
}  // namespace Tag

// KeyKindCode: the low byte names the kind of key, higher bits say why.
namespace KeyKind {
inline constexpr uint32_t Data = 1;
inline constexpr uint32_t MaterialMap = 2;
inline constexpr uint32_t Material = 3;
inline constexpr uint32_t Matrix = 4;
inline constexpr uint32_t Instance = 5;
inline constexpr uint32_t Mesh = 7;
inline constexpr uint32_t Image = 8;
inline constexpr uint32_t Model = 9;
inline constexpr uint32_t Group = 10;
inline constexpr uint32_t Inclusion = 11;
inline constexpr uint32_t BoundingResult = 12;
inline constexpr uint32_t ClipRegion = 13;
inline constexpr uint32_t PolyPolygon = 14;
inline constexpr uint32_t LinePattern = 15;

inline constexpr uint32_t NoData = 0x08000000;     // key exists, nothing to send
inline constexpr uint32_t DropData = 0x20000000;   // with Mesh: drop / too large
inline constexpr uint32_t AllInclusions = 0x10000000;
inline constexpr uint32_t CountFirst = 0x02000000;
// The bits of a code that identify what a missing key report is about.
inline constexpr uint32_t MissingMask = 0x81FFFFFF;
}  // namespace KeyKind

// Stream model id of the host model, and the first id of each counter.
inline constexpr uint32_t kRootStreamModel = 0xFFFFFFFEu;   // -2
inline constexpr uint32_t kFirstOtherStreamModel = 0xFFFFFFFDu;  // -3
inline constexpr uint32_t kFirstInclusionId = 0xFFFFFFFEu;  // -2
inline constexpr uint32_t kNoContext = 0xFFFFFFFFu;

// Compression methods of a Z block.
inline constexpr uint32_t kMethodLz4 = 0;
inline constexpr uint32_t kMethodZstd = 1;

}  // namespace QX::Store

#pragma once
// Record tags and sizes of _digest.qxi.
#include <cstdint>

namespace QX::Store::digest {

inline constexpr uint32_t kVersionTag = 86;
inline constexpr uint32_t kOldestVersion = 66;

inline constexpr uint32_t kView = 107;
inline constexpr uint32_t kCamera = 99;
inline constexpr uint32_t kBackground = 80;
inline constexpr uint32_t kMaterialMap = 65;
inline constexpr uint32_t kPolyPolygon = 89;
inline constexpr uint32_t kClipRegion = 121;
inline constexpr uint32_t kMaterial = 165;
inline constexpr uint32_t kMaterialOld = 115;
inline constexpr uint32_t kFullMaterial = 57;
inline constexpr uint32_t kFullMaterialOld = 56;
inline constexpr uint32_t kLinePattern = 156;
inline constexpr uint32_t kMeshList = 50;
inline constexpr uint32_t kAttachedModel = 55;
inline constexpr uint32_t kAttachedModelOld = 75;
inline constexpr uint32_t kTable = 49;
inline constexpr uint32_t kInstanceExtension = 54;

// Element tags of table records.
inline constexpr uint32_t kImageEntry = 69;
inline constexpr uint32_t kGroupEntry = 71;
inline constexpr uint32_t kInstanceEntry = 73;
inline constexpr uint32_t kMeshEntry = 77;
inline constexpr uint32_t kSimpleColorEntry = 83;
inline constexpr uint32_t kMatrixEntryOld = 88;
inline constexpr uint32_t kKeyedDataEntry = 100;
inline constexpr uint32_t kIncludeEntry = 105;
inline constexpr uint32_t kOverrideEntry = 118;
inline constexpr uint32_t kMatrixEntry = 176;

inline constexpr uint32_t kTableHeadSize = 16;
inline constexpr uint32_t kFullMaterialSize = 148;
inline constexpr uint32_t kFullMaterialOldSize = 132;

// Size of one entry of a table kind; 0 for an element tag the format doesn't know.
inline uint32_t EntrySize(uint32_t element_tag) {
  switch (element_tag) {
    case kImageEntry: return 32;
    case kGroupEntry: return 24;
    case kInstanceEntry: return 52;
    case kMeshEntry: return 88;
    case kSimpleColorEntry: return 24;
    case kMatrixEntryOld: return 56;
    case kKeyedDataEntry: return 24;
    case kIncludeEntry: return 16;
    case kOverrideEntry: return 48;
    case kMatrixEntry: return 104;
    default: return 0;
  }
}

// Most entries of one kind that a single table record carries: 64 MiB worth.
inline uint32_t ChunkLimit(uint32_t entry_size) { return (64u << 20) / entry_size; }

}  // namespace QX::Store::digest

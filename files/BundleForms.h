#pragma once
// The record formats of the two bundle forms, for their reader and writer.
#include <cstdint>

namespace QX::Store {

class BundleCursor;
class UnpackTarget;

inline constexpr uint32_t kBundleVersionTag = 86;  // V
inline constexpr uint32_t kBundleDirectoryTag = 68;  // D
inline constexpr uint32_t kBundleFileTag = 70;  // F, old form
inline constexpr uint32_t kBundleDataTag = 102;  // f, old form
inline constexpr uint32_t kBundleCompressedTag = 90;  // Z, old form
inline constexpr uint32_t kBundleTableFileTag = 116;  // t, new form
inline constexpr uint32_t kBundleEndTag = 84;  // T
inline constexpr uint32_t kOldBundleVersion = 2;
inline constexpr uint32_t kNewBundleVersion = 3;

// Unpacks the record run of an old-form bundle from the cursor on.
void UnpackOldForm(BundleCursor& in, UnpackTarget& out);

}  // namespace QX::Store

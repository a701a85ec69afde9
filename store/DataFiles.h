#pragma once
// Appending to a model's data files, shared by the insertions of images,
// keyed data and groups. The files are append-only: a replaced object leaves
// its old bytes behind.
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

class File;
class ModelImpl;
struct GroupEntry;

// Opens the model file if needed, and writes the parts at its end, one write
// each. Returns the position of the first byte. Logs and throws if the file
// can't be opened or a write falls short.
int64_t AppendToFile(ModelImpl& model, File& file, char const* name,
                     std::initializer_list<std::span<uint8_t const>> parts);

// Reads `size` bytes at `position` into `out` (resized to fit). False, with
// `out` empty, if the file is missing or doesn't hold the whole range, which
// also keeps a damaged size from turning into a huge allocation.
bool ReadAt(File* file, int64_t position, uint64_t size, std::vector<uint8_t>& out);

// Writes the group's block at the end of _data.qxi and points the group at it.
void WriteGroupBlock(ModelImpl& model, GroupEntry& group, std::span<InstanceInc const> instances,
                     std::span<GroupInc const> groups);

}  // namespace QX::Store

#include "store/DataFiles.h"

#include "files/File.h"
#include "files/FileSystem.h"
#include "store/DataBlocks.h"
#include "store/FileErrors.h"
#include "store/ModelImpl.h"

namespace QX::Store {

int64_t AppendToFile(ModelImpl& model, File& file, char const* name,
                     std::initializer_list<std::span<uint8_t const>> parts) {
  model.EnsureOpen(file, name, true);
  int64_t const position = file.Seek(0, kSeekEnd);
  bool written = position >= 0;
  for (auto part : parts) {
    if (!written) break;
    written = part.empty() || file.Write(part.data(), part.size()) == part.size();
  }
  if (!written) ThrowLogged(model.logger, "Unable to write data: " + PathToUtf8(file.Path()));
  return position;
}

bool ReadAt(File* file, int64_t position, uint64_t size, std::vector<uint8_t>& out) {
  out.clear();
  if (!file || position < 0) return false;
  int64_t const file_size = file->Size();
  if (file_size < position || static_cast<uint64_t>(file_size - position) < size) return false;
  if (file->Seek(position, kSeekBegin) != position) return false;
  out.resize(size);
  if (file->Read(out.data(), size) == size) return true;
  out.clear();
  return false;
}

void WriteGroupBlock(ModelImpl& model, GroupEntry& group, std::span<InstanceInc const> instances,
                     std::span<GroupInc const> groups) {
  std::vector<uint8_t> const block = EncodeGroupBlock(instances, groups);
  group.position = AppendToFile(model, *model.data_file, kDataName, {block});
  group.size = static_cast<uint32_t>(block.size());
}

}  // namespace QX::Store

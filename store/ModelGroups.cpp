// Group blocks in _data.qxi: loading one into its group's word vector.
#include "files/File.h"
#include "store/DataBlocks.h"
#include "store/DataFiles.h"
#include "store/ModelImpl.h"

namespace QX::Store {

void ModelImpl::LoadGroup(GroupEntry& group) {
  if (!group.words.empty()) return;
  File* file = EnsureOpen(*data_file, kDataName, false);
  std::vector<uint8_t> block;
  if (ReadAt(file, group.position, group.size, block)) {
    group.words = GroupWordsFromBlock(block);
  } else {
    Log("Failed reading Group (%u)", group.key);
    group.words = {0};  // counts as empty, and isn't read again
  }
}

}  // namespace QX::Store

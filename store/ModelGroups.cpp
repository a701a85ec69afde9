// Groups: their blocks in _data.qxi, written at insertion and replacement,
// and loaded into the group's word vector on first use.
#include "store/DataBlocks.h"
#include "store/DataFiles.h"
#include "store/ModelImpl.h"

namespace QX::Store {

GroupKey ModelImpl::InsertGroup(std::vector<InstanceInc> const& instances,
                                std::vector<GroupInc> const& group_refs) {
  TestWritable();
  GroupEntry group;
  group.key = next.group;
  WriteGroupBlock(*this, group, instances, group_refs);
  groups.Insert(group.key, std::move(group));
  dirty = true;
  return next.group++;
}

void ModelImpl::SetGroup(GroupKey key, std::vector<InstanceInc> const& instances,
                         std::vector<GroupInc> const& group_refs) {
  TestWritable();
  CheckGroupKey(key);
  GroupEntry replacement;
  replacement.key = key;
  WriteGroupBlock(*this, replacement, instances, group_refs);
  *groups.Find(key) = std::move(replacement);
  dirty = true;
}

void ModelImpl::LoadGroup(GroupEntry& group) {
  if (!group.words.empty()) return;
  std::vector<uint8_t> block;
  if (ReadAt(EnsureOpen(*data_file, kDataName, false), group.position, group.size, block)) {
    group.words = GroupWordsFromBlock(block);
  } else {
    Log("Failed reading Group (%u)", group.key);
    group.words = {0};  // counts as empty, and isn't read again
  }
}

}  // namespace QX::Store

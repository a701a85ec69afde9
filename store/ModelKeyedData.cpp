// Keyed data: opaque caller blocks in _data.qxi, replaceable by key.
#include <span>

#include "files/File.h"
#include "store/DataFiles.h"
#include "store/FileErrors.h"
#include "store/ModelImpl.h"

namespace QX::Store {
namespace {

// Exactly one of size and bytes missing is a caller error; both missing is
// an empty block.
void TestKeyedDataPair(ModelImpl& model, uint32_t size, void const* bytes) {
  if ((size == 0) != (bytes == nullptr)) ThrowLogged(model.logger, "Keyed data invalid: byte_data ptr");
}

// Appends the bytes to _data.qxi; -1 for an empty block, which has no bytes.
int64_t AppendKeyedData(ModelImpl& model, uint32_t size, void const* bytes) {
  if (size == 0) return -1;
  return AppendToFile(model, *model.data_file, kDataName,
                      {std::span(static_cast<uint8_t const*>(bytes), size)});
}

}  // namespace

DataKey ModelImpl::InsertKeyedData(uint32_t size, void const* bytes, uint32_t type) {
  TestWritable();
  TestKeyedDataPair(*this, size, bytes);
  DataKey const key = next.keyed_data;
  int64_t const position = AppendKeyedData(*this, size, bytes);
  keyed_data.Insert(key, KeyedData{position, size, key, type});
  ++next.keyed_data;
  dirty = true;
  return key;
}

void ModelImpl::SetKeyedData(DataKey key, uint32_t size, void const* bytes) {
  TestWritable();
  TestKeyedDataPair(*this, size, bytes);
  CheckDataKey(key);
  int64_t const position = AppendKeyedData(*this, size, bytes);
  KeyedData& entry = *keyed_data.Find(key);
  entry.position = position;
  entry.size = size;
  dirty = true;
}

bool ModelImpl::ReadKeyedData(DataKey key, std::vector<uint8_t>& out) {
  KeyedData const* entry = keyed_data.Find(key);
  if (!entry) return false;
  out.clear();
  if (entry->size == 0) return true;
  File* file = EnsureOpen(*data_file, kDataName, false);
  if (!file) return false;
  if (!ReadAt(file, entry->position, entry->size, out)) {
    Log("Failed reading KeyedData %u", key);
    return false;
  }
  return true;
}

}  // namespace QX::Store

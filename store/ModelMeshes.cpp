// Mesh insertion: the checks, the key, the record, the stored bytes and the
// content tables that duplicate detection works on; and the encoding of one
// mesh into its stream form.
#include "files/File.h"
#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/MeshDuplicates.h"
#include "geometry/mesh/StoredMesh.h"
#include "geometry/mesh/StreamMesh.h"
#include "geometry/mesh/StreamRecordQueue.h"
#include "store/Logger.h"
#include "store/ModelImpl.h"

namespace QX::Store {
namespace {

void CheckBits(std::vector<uint8_t> const& bits, ElementWords const& elements) {
  if (bits.size() > elements.size()) throw Exception("More element bits provided than elements.");
}

void CheckMeshData(ModelImpl const& model, MeshData const& mesh) {
  model.CheckMaterialKey(mesh.face_material);
  model.CheckMaterialKey(mesh.line_material);
  model.CheckMaterialKey(mesh.point_material);
  for (MaterialMapKey map : {mesh.face_material_map, mesh.line_material_map,
                             mesh.point_material_map})
    if (map != 0) model.CheckMaterialMapKey(map);
  CheckBits(mesh.face_element_bits, mesh.face_elements);
  CheckBits(mesh.line_element_bits, mesh.line_elements);
  CheckBits(mesh.point_element_bits, mesh.point_elements);
}

// Built at the first insertion of an open from the records that a digest
// gave: hashes of meshes with data of their own, and duplicates by original.
void EnsureContentTables(ModelImpl& model) {
  if (model.mesh_candidates) return;
  auto candidates = std::make_unique<ContentTable>();
  auto duplicates = std::make_unique<ContentTable>();
  for (auto const& entry : model.meshes) {
    if (entry.value.kind != MeshKind::Record) continue;
    MeshRecord const& record = model.mesh_records[entry.value.index];
    if (record.content_hash != 0) (*candidates)[record.content_hash].push_back(record.key);
    if (record.duplicate_of != 0) (*duplicates)[record.duplicate_of].push_back(record.key);
  }
  model.mesh_candidates = std::move(candidates);
  model.mesh_duplicates = std::move(duplicates);
}

// Stores the mesh unless an earlier mesh of the model is a duplicate of it.
void StoreMesh(ModelImpl& model, MeshData const& mesh, MeshRecord& record) {
  File& file = *model.EnsureOpen(*model.meshes_file, kMeshesName, true);
  StoredMesh scratch;
  DuplicateSearch search{
      *model.mesh_candidates, *model.mesh_duplicates, file, scratch,
      [&model](MeshKey key) { return model.FindMesh(key); },
      [&model](Matrix const& matrix) { return model.InsertMatrix(matrix.data()); }};
  if (FindDuplicate(mesh, record, search)) {
    ++model.mesh_duplicate_count;
    return;
  }
  WriteStoredMesh(file, mesh, record, model.logger);
}

}  // namespace

MeshKey Model::InsertMesh(MeshData const& mesh) { return Impl().InsertMesh(mesh); }

MeshKey ModelImpl::InsertMesh(MeshData const& mesh) {
  TestWritable();
  CheckMeshData(*this, mesh);
  EnsureContentTables(*this);
  MeshKey const key = next.mesh++;
  meshes.Insert(key, MeshEntry{uint32_t(mesh_records.size()), MeshKind::Record});
  MeshRecord& record = mesh_records.emplace_back();
  record.key = key;
  record.face_material = mesh.face_material;
  record.line_material = mesh.line_material;
  record.point_material = mesh.point_material;
  record.face_material_map = mesh.face_material_map;
  record.line_material_map = mesh.line_material_map;
  record.point_material_map = mesh.point_material_map;
  // A point that isn't finite throws from here; the key stays spent and the
  // record stays without data.
  StoreMesh(*this, mesh, record);
  dirty = true;
  return key;
}

void ModelImpl::EncodeStreamMesh(MeshRecord& mesh, StoredMesh& scratch, uint32_t effort) {
  if (!mesh.toc.empty()) return;
  if (read_only) {
    mesh.toc.push_back(kNoDataTocEntry);
    return;
  }
  EnsureOpen(*meshes_file, kMeshesName, false);
  File& stream = *EnsureOpen(*stream_meshes_file, kStreamMeshesName, true);
  File& toc = *EnsureOpen(*stream_meshes_toc_file, kStreamMeshesTocName, true);
  QX::Store::EncodeStreamMesh(*meshes_file, stream, toc, mesh, scratch, effort, logger);
}

// Mesh lists and duplicates stream through the meshes they name.
bool ModelImpl::EncodeStreamMeshes(StoredMesh& scratch, uint32_t effort) {
  std::vector<MeshRecord*> pending;
  for (auto& entry : meshes) {
    if (entry.value.kind != MeshKind::Record) continue;
    MeshRecord& mesh = mesh_records[entry.value.index];
    if (mesh.duplicate_of == 0 && mesh.toc.empty()) pending.push_back(&mesh);
  }
  if (pending.empty()) return false;
  if (read_only) {
    for (MeshRecord* mesh : pending) mesh->toc.push_back(kNoDataTocEntry);
    return true;
  }
  EnsureOpen(*meshes_file, kMeshesName, false);
  File& stream = *EnsureOpen(*stream_meshes_file, kStreamMeshesName, true);
  File& toc = *EnsureOpen(*stream_meshes_toc_file, kStreamMeshesTocName, true);
  StreamRecordQueue queue(stream, toc, effort, prepare_threads, logger);
  for (MeshRecord* mesh : pending) QX::Store::EncodeStreamMesh(*meshes_file, queue, *mesh, scratch);
  queue.Flush();
  return true;
}

}  // namespace QX::Store

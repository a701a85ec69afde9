// The tables of contents of the stream files: read once per open into the
// mesh and image records, appended to as stream preparation goes.
#include <chrono>
#include <span>

#include "files/ByteOrder.h"
#include "files/File.h"
#include "geometry/mesh/StreamMesh.h"
#include "store/DataFiles.h"
#include "store/FileErrors.h"
#include "store/ModelImpl.h"
#include "store/StreamToc.h"

namespace QX::Store {
namespace {

using Clock = std::chrono::steady_clock;

unsigned ElapsedMs(Clock::time_point start) {
  return static_cast<unsigned>(
      std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

// Reads one toc file; `take` handles a record and says whether its key was known.
template <class Take>
unsigned ReadTocs(ModelImpl& model, File& slot, char const* name, std::vector<uint8_t>& buffer,
                  TocLayout layout, Take take) {
  File* file = model.EnsureOpen(slot, name, false);
  if (!file) return 0;
  unsigned taken = 0;
  TocReadResult const result = ReadTocFile(*file, buffer, layout, [&](TocRecord const& record) {
    if (take(record)) ++taken;
  });
  if (result == TocReadResult::UnexpectedCode) ThrowUnexpectedCode(model.logger, file->Path());
  if (result == TocReadResult::Corrupt) ThrowFileCorrupt(model.logger, file->Path());
  return taken;
}

}  // namespace

void ModelImpl::ReadMeshTocs(std::vector<uint8_t>& buffer) {
  if (mesh_tocs_read) return;
  mesh_tocs_read = true;
  auto const start = Clock::now();
  unsigned const taken = ReadTocs(
      *this, *stream_meshes_toc_file, kStreamMeshesTocName, buffer, kMeshTocLayout,
      [&](TocRecord const& record) {
        MeshEntry const* entry = meshes.Find(record.key);
        if (!entry || entry->kind != MeshKind::Record) return false;
        MeshRecord& mesh = mesh_records[entry->index];
        for (uint32_t i = 0; i < record.count; ++i) {
          mesh.toc.push_back(DecodeMeshTocEntry(record.entries + i * kMeshTocLayout.entry_size));
        }
        mesh.classes = GetU32(record.head + 12);
        return true;
      });
  if (!quiet) Log("read %u stream mesh tocs in %u ms.", taken, ElapsedMs(start));
}

void ModelImpl::ReadImageTocs(std::vector<uint8_t>& buffer) {
  if (image_tocs_read) return;
  image_tocs_read = true;
  auto const start = Clock::now();
  unsigned const taken = ReadTocs(
      *this, *stream_images_toc_file, kStreamImagesTocName, buffer, kImageTocLayout,
      [&](TocRecord const& record) {
        ImageRecord* image = images.Find(record.key);
        if (!image) return false;
        for (uint32_t i = 0; i < record.count; ++i) {
          image->toc.push_back(DecodeImageTocEntry(record.entries + i * kImageTocLayout.entry_size));
        }
        return true;
      });
  if (!quiet) Log("read %u stream image tocs in %u ms.", taken, ElapsedMs(start));
}

void ModelImpl::WriteMeshToc(MeshRecord const& mesh) {
  WriteMeshTocRecord(*EnsureOpen(*stream_meshes_toc_file, kStreamMeshesTocName, true), mesh, logger);
}

void ModelImpl::WriteImageToc(ImageRecord const& image) {
  auto const head = EncodeImageTocHead(image.key, static_cast<uint32_t>(image.toc.size()));
  std::vector<uint8_t> const entries = EncodeImageTocEntries(image.toc);
  AppendToFile(*this, *stream_images_toc_file, kStreamImagesTocName, {head, entries});
}

}  // namespace QX::Store

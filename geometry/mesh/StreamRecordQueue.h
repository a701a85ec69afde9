#pragma once
// Stream mesh records on their way to _stream_meshes.qxd: compressed on
// worker threads, one zstd context each, and written in the order they were
// added, so that the files hold exactly the bytes that one thread writes.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace QX::Store {

class File;
class Logger;
struct MeshRecord;

class StreamRecordQueue {
 public:
  // `threads` 0 means one a hardware thread.
  StreamRecordQueue(File& stream, File& toc, uint32_t effort, unsigned threads, Logger* logger);

  // Queues a copy of one record of `mesh`, of toc `kind`.
  void Add(MeshRecord& mesh, uint32_t kind, std::span<uint8_t const> bytes);
  // Queues the toc record of `mesh`, written after the mesh's records.
  void EndMesh(MeshRecord& mesh);
  // Compresses and writes everything queued. Write failures are logged and
  // thrown as "Unable to write data: " + path.
  void Flush();

 private:
  struct Entry {
    MeshRecord* mesh;
    uint32_t kind;  // 0 for the toc record of `mesh`
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> compressed;  // empty when the record goes out raw
  };

  void CompressAll();
  void WriteAll();

  File& stream_;
  File& toc_;
  uint32_t effort_;
  unsigned threads_;
  Logger* logger_;
  std::vector<Entry> entries_;
  size_t queued_bytes_ = 0;
};

}  // namespace QX::Store

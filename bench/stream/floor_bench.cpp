// The least time in which any export can write the bytes of a prepared
// model's stream: zstd level 15 on every record that the preparation
// compresses (or tried to), and LodePNG on every image that it writes as
// PNG, spread over the threads, largest first. Decoding, scaling, welding
// and all file work are left out, so no export that writes these bytes can
// be faster.
//
// Usage: floor_bench MODEL_DIR [threads, default: usable cores]
// Prints one line: floor_seconds=S zstd_seconds=Z png_seconds=P records=N
// record_mb=M images=I image_mpixels=X threads=T
#include <lodepng.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "files/ByteOrder.h"
#include "files/Cores.h"
#include "files/DiskFile.h"
#include "geometry/image/ImageBlock.h"
#include "geometry/image/ImageCodec.h"
#include "geometry/mesh/CompressedRecord.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StreamMesh.h"
#include "store/ImageRecord.h"
#include "store/StreamToc.h"

namespace {

using namespace QX::Store;
using Clock = std::chrono::steady_clock;
using Bytes = std::vector<uint8_t>;

struct Job {
  Bytes bytes;  // a record to compress, or pixels to encode
  uint32_t width = 0, height = 0, channels = 0;  // 0 channels: a record
};

Bytes ReadRange(File& file, uint64_t offset, uint32_t size) {
  Bytes bytes(size);
  if (file.Seek(int64_t(offset), kSeekBegin) != int64_t(offset) ||
      file.Read(bytes.data(), size) != size) {
    bytes.clear();
  }
  return bytes;
}

bool Open(DiskFile& file) {
  file.OpenRead(false);
  return file.IsOpen();
}

// Visits (offset, size, kind) of every entry of a toc file.
void VisitToc(std::filesystem::path const& path, TocLayout layout,
              std::function<void(uint64_t, uint32_t, uint32_t)> const& visit) {
  DiskFile toc(path);
  if (!Open(toc)) return;
  Bytes buffer;
  ReadTocFile(toc, buffer, layout, [&](TocRecord const& record) {
    for (uint32_t i = 0; i < record.count; ++i) {
      uint8_t const* entry = record.entries + size_t{i} * layout.entry_size;
      if (layout.tag == kMeshTocLayout.tag) {
        MeshTocEntry const e = DecodeMeshTocEntry(entry);
        visit(e.offset, e.size, e.kind);
      } else {
        ImageTocEntry const e = DecodeImageTocEntry(entry);
        visit(e.offset, e.size, e.kind);
      }
    }
  });
}

// A stored record: what it was before compression, if it was compressed or
// large enough to have been tried.
void AddRecord(Bytes stored, std::vector<Job>& jobs) {
  if (stored.size() >= 4 && GetU32(stored.data()) == kCompressedTag) {
    Bytes raw;
    if (!DecompressRecord(stored, raw)) return;
    jobs.push_back({std::move(raw)});
  } else if (stored.size() > kRawRecordLimit) {
    jobs.push_back({std::move(stored)});
  }
}

void CollectMeshes(std::filesystem::path const& dir, std::vector<Job>& jobs) {
  DiskFile data(dir / "_stream_meshes.qxd");
  if (!Open(data)) return;
  VisitToc(dir / "_stream_meshes_toc.qxd", kMeshTocLayout, [&](uint64_t offset, uint32_t size, uint32_t) {
    AddRecord(ReadRange(data, offset, size), jobs);
  });
}

uint32_t ChannelsOf(uint32_t code) {
  switch (code) {
    case kImageRGBA: return 4;
    case kImageRGB: return 3;
    case kImageGrayAlpha: return 2;
    case kImageGray: return 1;
    default: return 0;
  }
}

// PNG main blocks become pixels to encode again; raw main blocks records.
void AddImageBlock(Bytes block, std::vector<Job>& jobs) {
  if (block.size() >= 4 && GetU32(block.data()) == kCompressedTag) return AddRecord(std::move(block), jobs);
  if (block.size() < kImageBlockHeadSize || GetU32(block.data() + 8) != kImageFilePng) {
    return AddRecord(std::move(block), jobs);
  }
  uint32_t const channels = ChannelsOf(GetU32(block.data() + 12));
  uint32_t const size = GetU32(block.data() + 24);
  if (channels == 0 || size > block.size() - kImageBlockHeadSize) return;
  static constexpr LodePNGColorType kTypes[] = {LCT_GREY, LCT_GREY, LCT_GREY_ALPHA, LCT_RGB, LCT_RGBA};
  Job job;
  unsigned width = 0, height = 0;
  if (lodepng::decode(job.bytes, width, height, block.data() + kImageBlockHeadSize, size,
                      kTypes[channels], 8) != 0) {
    return;
  }
  job.width = width, job.height = height, job.channels = channels;
  jobs.push_back(std::move(job));
}

void CollectImages(std::filesystem::path const& dir, std::vector<Job>& jobs) {
  DiskFile data(dir / "_stream_images.qxd");
  if (!Open(data)) return;
  VisitToc(dir / "_stream_images_toc.qxd", kImageTocLayout, [&](uint64_t offset, uint32_t size, uint32_t kind) {
    if (kind == kImageTocMain) AddImageBlock(ReadRange(data, offset, size), jobs);
  });
}

// Runs the jobs on `threads` threads, each taking the next one, largest
// first; returns the wall time.
double Run(std::vector<Job const*> const& jobs, unsigned threads) {
  std::atomic<size_t> next{0};
  auto work = [&] {
    RecordCompressor compressor;
    Bytes out;
    for (size_t i = next++; i < jobs.size(); i = next++) {
      Job const& job = *jobs[i];
      out.clear();
      if (job.channels == 0) {
        compressor.Compress(job.bytes, out, kZstdMethod, 1);
      } else {
        EncodePng(job.bytes.data(), job.width, job.height, job.channels, out);
      }
    }
  };
  auto const start = Clock::now();
  {
    std::vector<std::jthread> pool;
    for (unsigned t = 1; t < threads; ++t) pool.emplace_back(work);
    work();
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::vector<Job const*> Largest(std::vector<Job> const& jobs, bool images) {
  std::vector<Job const*> list;
  for (Job const& job : jobs) {
    if ((job.channels != 0) == images) list.push_back(&job);
  }
  std::sort(list.begin(), list.end(), [](Job const* a, Job const* b) { return a->bytes.size() > b->bytes.size(); });
  return list;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: floor_bench MODEL_DIR [threads]\n");
    return 2;
  }
  std::filesystem::path const dir = argv[1];
  unsigned const threads = argc > 2 ? unsigned(std::atoi(argv[2])) : UsableCores();
  std::vector<Job> jobs;
  CollectMeshes(dir, jobs);
  CollectImages(dir, jobs);

  std::vector<Job const*> const records = Largest(jobs, false), images = Largest(jobs, true);
  std::vector<Job const*> all = records;
  all.insert(all.end(), images.begin(), images.end());
  std::sort(all.begin(), all.end(), [](Job const* a, Job const* b) { return a->bytes.size() > b->bytes.size(); });
  double record_bytes = 0, pixels = 0;
  for (Job const* job : records) record_bytes += double(job->bytes.size());
  for (Job const* job : images) pixels += double(job->width) * job->height;

  double const zstd = Run(records, threads);
  double const png = Run(images, threads);
  double const floor = Run(all, std::max(1u, threads));
  std::printf("floor_seconds=%.3f zstd_seconds=%.3f png_seconds=%.3f records=%zu record_mb=%.2f "
              "images=%zu image_mpixels=%.2f threads=%u\n",
              floor, zstd, png, records.size(), record_bytes / 1e6, images.size(), pixels / 1e6,
              threads);
  return 0;
}

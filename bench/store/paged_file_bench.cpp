// Random record reads through PagedFile over a large stream-like file.
// Records of 1 KiB to 1 MiB lie one after another; they are read in a
// shuffled (priority) order, not file order, and the time is compared with
// reading the same records with one pread each, in file order and in the
// same shuffled order. The file is read once before, so that all runs find
// it in the page cache.
//
// Usage: paged_file_bench [size in MiB, default 1024] [directory, default /tmp]
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <vector>

#include "files/DiskFile.h"
#include "store/PagedFile.h"

namespace {

using Clock = std::chrono::steady_clock;
using QX::Store::DiskFile;
using QX::Store::File;
using QX::Store::PagedFile;

struct Record {
  int64_t offset;
  uint32_t size;
};

class BenchPagedFile final : public PagedFile {
 public:
  explicit BenchPagedFile(std::filesystem::path const& path) : PagedFile(nullptr), file_(path) {}
  File* OpenFile() override {
    file_.OpenRead(false);
    return file_.IsOpen() ? &file_ : nullptr;
  }
  File& FileSlot() override { return file_; }
  char const* FileName() const override { return "bench"; }

 private:
  DiskFile file_;
};

std::vector<Record> WriteRecords(std::filesystem::path const& path, uint64_t total,
                                 std::mt19937_64& random) {
  std::uniform_int_distribution<uint32_t> size_of(1024, 1024 * 1024);
  std::vector<Record> records;
  std::vector<uint8_t> bytes(1024 * 1024);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(random());
  FILE* out = std::fopen(path.c_str(), "wb");
  if (!out) return records;
  int64_t offset = 0;
  while (static_cast<uint64_t>(offset) < total) {
    uint32_t const size = size_of(random);
    std::fwrite(bytes.data(), 1, size, out);
    records.push_back({offset, size});
    offset += size;
  }
  std::fclose(out);
  return records;
}

double Seconds(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

int main(int argc, char** argv) {
  uint64_t const mib = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1024;
  std::filesystem::path const dir = argc > 2 ? argv[2] : "/tmp";
  std::filesystem::path const path = dir / "qx_paged_file_bench.qxd";
  std::mt19937_64 random(20261122);

  std::vector<Record> records = WriteRecords(path, mib << 20, random);
  if (records.empty()) {
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
    return 1;
  }
  uint64_t total = 0;
  for (Record const& r : records) total += r.size;
  std::vector<uint8_t> out(1024 * 1024);

  int const fd = ::open(path.c_str(), O_RDONLY);
  auto pread_all = [&](std::vector<Record> const& list) {
    auto const begin = Clock::now();
    for (Record const& r : list) {
      if (::pread(fd, out.data(), r.size, r.offset) != static_cast<ssize_t>(r.size)) return -1.0;
    }
    return Seconds(begin);
  };
  std::vector<Record> order = records;
  std::shuffle(order.begin(), order.end(), random);
  pread_all(records);  // warms the page cache
  double const sequential = pread_all(records);
  double const priority_pread = pread_all(order);
  ::close(fd);
  if (sequential < 0 || priority_pread < 0) return 1;

  BenchPagedFile paged(path);
  uint64_t max_resident = 0;
  auto const start = Clock::now();
  for (Record const& r : order) {
    if (!paged.Prefetch(r.offset, r.size) || !paged.Read(r.offset, r.size, out.data())) return 1;
    max_resident = std::max(max_resident, paged.ResidentPages());
  }
  double const shuffled = Seconds(start);

  double const mb = static_cast<double>(total) / 1e6;
  std::printf("records: %zu, bytes: %.1f MB\n", records.size(), mb);
  std::printf("pread, file order:     %8.1f MB/s\n", mb / sequential);
  std::printf("pread, priority order: %8.1f MB/s\n", mb / priority_pread);
  std::printf("PagedFile, priority:   %8.1f MB/s (%.2fx the time of pread in file order, "
              "%.2fx in priority order)\n",
              mb / shuffled, shuffled / sequential, shuffled / priority_pread);
  std::printf("resident pages: %llu at the end, %llu at most\n",
              static_cast<unsigned long long>(paged.ResidentPages()),
              static_cast<unsigned long long>(max_resident));
  std::filesystem::remove(path);
  return 0;
}

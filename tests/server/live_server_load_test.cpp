// Twenty viewers at once, each streaming the model to completion: each gets
// exactly what a stand-alone stream of the model holds, and the server's
// memory stays bounded.
#include <fstream>
#include <set>
#include <thread>

#include "store/Cache.h"
#include "store/Model.h"
#include "tests/server/LiveServerFixture.h"

namespace {

using namespace qx_server_test;
using QX::Store::Bytes;
namespace Tag = QX::Store::Tag;

constexpr int kViewers = 20;
// Peak resident memory that the 20 streams may add, sanitizers included:
// each viewer's queue is held to twice the flow window, and each stream
// state's memory is of the order of the model's stream data (some 3 MB).
constexpr uint64_t kMemoryBoundMiB = 768;

// The records that carry the model's content, which a live stream and a
// stand-alone one must both hold exactly once; the set-up records, texts,
// previews and pass ends differ between the two by design.
std::multiset<Bytes> ContentRecords(Bytes const& stream) {
  static std::set<uint32_t> const content = {Tag::Instance, Tag::MeshDef, Tag::SmallMesh, Tag::LargeMesh,
                                             Tag::MeshChunk, Tag::Material, Tag::Matrix, Tag::Image,
                                             Tag::Group, Tag::FullMaterial, Tag::KeyedData};
  std::multiset<Bytes> records;
  for (auto const& r : QX::Store::test::ReadRecords(stream))
    if (content.contains(r.tag)) records.insert(r.bytes);
  return records;
}

Bytes StandAloneStream(std::string const& model_path, std::filesystem::path const& file) {
  QX::Store::Cache cache = QX::Store::Cache::Open(nullptr);
  QX::Store::Model model = cache.OpenModel(model_path.c_str(), true);
  model.GenerateStreamFile(file.string().c_str());
  std::ifstream in(file, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

uint64_t PeakResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.starts_with("VmHWM:")) return std::stoull(line.substr(6));
  return 0;
}

TEST_F(LiveServerTest, TwentyViewersEachGetTheWholeModel) {
  qx_test::TempDir scratch;
  std::multiset<Bytes> const expected = ContentRecords(StandAloneStream(Model().path, scratch / "model.qxs"));
  ASSERT_FALSE(expected.empty());
  StartServer();
  uint64_t const before = PeakResidentKiB();

  std::vector<Bytes> streams(kViewers);
  std::vector<char> finished(kViewers, 0);  // not vector<bool>: each thread writes its own
  std::vector<std::thread> viewers;
  for (int i = 0; i < kViewers; ++i) {
    viewers.emplace_back([&, i] {
      TestClient client(Port());
      // Each looks at its own place, so that the orders differ.
      client.Send(CameraAt(i % 2 ? kFarX : 0.0, 50.0 * i, 500.0 + 100 * i));
      finished[i] = client.ReadUntilEnd(streams[i], 2);
    });
  }
  for (std::thread& viewer : viewers) viewer.join();

  uint64_t const grown_mib = (PeakResidentKiB() - before) >> 10;
  EXPECT_LT(grown_mib, kMemoryBoundMiB);
  std::printf("peak resident memory grew by %llu MiB for %d viewers\n", (unsigned long long)grown_mib, kViewers);
  for (int i = 0; i < kViewers; ++i) {
    ASSERT_TRUE(finished[i]) << "viewer " << i;
    EXPECT_EQ(ContentRecords(streams[i]), expected) << "viewer " << i;
  }
}

}  // namespace

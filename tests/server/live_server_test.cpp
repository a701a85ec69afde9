// The live protocol over a loopback port: the page, the stream's first
// frames, flow control, the camera's effect on what comes next, selections,
// and many viewers at once.
#include <boost/beast/http.hpp>

#include <algorithm>
#include <fstream>
#include <set>
#include <thread>

#include "store/Cache.h"
#include "store/Model.h"
#include "stream/WireTags.h"
#include "tests/server/LiveServerFixture.h"

namespace {

using namespace qx_server_test;
using QX::Store::Bytes;
namespace Tag = QX::Store::Tag;
namespace http = boost::beast::http;

std::pair<unsigned, std::string> Get(uint16_t port, std::string const& target) {
  net::io_context io;
  beast::tcp_stream stream(io);
  tcp::resolver resolver(io);
  stream.connect(resolver.resolve("127.0.0.1", std::to_string(port)));
  http::request<http::empty_body> request{http::verb::get, target, 11};
  request.set(http::field::host, "127.0.0.1");
  http::write(stream, request);
  beast::flat_buffer buffer;
  http::response<http::string_body> response;
  http::read(stream, buffer, response);
  return {response.result_int(), response.body()};
}

// Mesh keys of the mesh data records (Q and R) in `records`, in order.
std::vector<uint32_t> MeshDataKeys(std::vector<QX::Store::test::ReadRecord> const& records) {
  std::vector<uint32_t> keys;
  for (auto const& r : records)
    if (r.tag == Tag::SmallMesh || r.tag == Tag::LargeMesh) keys.push_back(r.Word(1));
  return keys;
}

TEST_F(LiveServerTest, ServesThePageAtTheRootAndNothingElse) {
  StartServer();
  EXPECT_EQ(Get(Port(), "/"), std::make_pair(200u, std::string("<html>live page</html>")));
  EXPECT_EQ(Get(Port(), "/?x=1").first, 200u);
  EXPECT_EQ(Get(Port(), "/secret").first, 404u);
  EXPECT_EQ(Get(Port(), "/stream").first, 404u);  // only as a WebSocket
}

TEST_F(LiveServerTest, UnacknowledgedBytesStopTheStreamAtTheWindow) {
  QX::Server::ServerLimits limits;
  limits.flow.window = 64 * 1024;
  StartServer(limits);
  TestClient client(Port());
  // Without acks only the first pass goes out: one pass of at most the
  // live budget and its last item, then silence.
  uint64_t bytes = 0;
  while (std::optional<ReceivedFrame> frame = client.Read(1500ms)) bytes += frame->bytes.size();
  EXPECT_EQ(client.Error(), net::error::timed_out);
  EXPECT_GT(bytes, 0u);
  EXPECT_LT(bytes, 0x40000u + 600 * 1024);
  client.Ack();
  EXPECT_TRUE(client.Read(5s)) << "an ack lets the stream go on";
}

TEST_F(LiveServerTest, CameraTurnedToTheFarClusterBringsItsMeshesNext) {
  StartServer(OnePassWindow());
  TestClient client(Port());
  client.Send(CameraAt(150, 100, 2000));  // the near cluster
  Bytes stream;
  ASSERT_TRUE(client.ReadUntilEnd(stream, 0, 0, false));
  std::vector<uint32_t> const before = MeshDataKeys(QX::Store::test::ReadRecords(stream));
  ASSERT_FALSE(before.empty());
  for (uint32_t key : before) EXPECT_TRUE(std::ranges::count(Model().near_meshes, key)) << key;

  client.Send(CameraAt(kFarX + 150, 100, 1200));
  client.Ack();
  Bytes after;
  ASSERT_TRUE(client.ReadUntilEnd(after, 0));
  std::vector<uint32_t> const next = MeshDataKeys(QX::Store::test::ReadRecords(after));
  ASSERT_FALSE(next.empty());
  for (uint32_t key : next) EXPECT_TRUE(std::ranges::count(Model().far_meshes, key)) << "mesh " << key;
}

TEST_F(LiveServerTest, RaySelectionNamesThePartUnderIt) {
  // The engine answers for what the viewer doesn't hold yet: the first pass
  // brings only the near cluster, and the ray aims at the far one.
  StartServer(OnePassWindow());
  TestClient client(Port());
  client.Send(CameraAt(150, 100, 2000));
  Bytes shown;
  ASSERT_TRUE(client.ReadUntilEnd(shown, 0, 0, false)) << client.Error().message();
  // Aimed down at the middle of the first far mesh, from above.
  client.Send(R"({"type":"select","shape":"ray","request_id":5,"selection_id":1,"origin":[100060,90,50000],)"
              R"("direction":[0,0,-1],"radius":0.5})");
  client.Send(R"({"type":"next_results","request_id":6,"selection_id":1,"max_results":10})");
  client.Ack();
  for (;;) {
    std::optional<ReceivedFrame> frame = client.Read(5s);
    ASSERT_TRUE(frame) << client.Error().message();
    client.Ack();
    QX::Store::StreamReader reader({reinterpret_cast<uint8_t const*>(frame->bytes.data()), frame->bytes.size()});
    QX::Store::StreamRecord r;
    while (reader.Next(r)) {
      if (r.tag != Tag::Selection || QX::Store::GetU32(r.bytes, 8) != 6) continue;
      ASSERT_EQ(QX::Store::GetU32(r.bytes, 12), 0u) << "the selection exists";
      ASSERT_GE(QX::Store::GetU32(r.bytes, 4), 1u);
      EXPECT_EQ(QX::Store::GetU32(r.bytes, 20), Model().far_instances[0]);
      return;
    }
  }
}

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
  cache.OpenModel(model_path.c_str(), true).GenerateStreamFile(file.string().c_str());
  std::string const bytes = qx_test::ReadText(file);
  return Bytes(bytes.begin(), bytes.end());
}

uint64_t PeakResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.starts_with("VmHWM:")) return std::stoull(line.substr(6));
  return 0;
}

// Twenty viewers at once, each streaming the model to completion under
// acks: each gets one head first and then exactly what a stand-alone stream
// of the model holds, and the server's memory stays bounded.
TEST_F(LiveServerTest, TwentyViewersEachGetTheWholeModel) {
  constexpr int kViewers = 20;
  // Peak resident memory that the streams may add, sanitizers included: each
  // viewer's queue is held to twice the flow window, and each stream state's
  // memory is of the order of the model's stream data (some 3 MB).
  constexpr uint64_t kMemoryBoundMiB = 768;
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
  for (int i = 0; i < kViewers; ++i) {
    ASSERT_TRUE(finished[i]) << "viewer " << i;
    EXPECT_EQ(ContentRecords(streams[i]), expected) << "viewer " << i;
    auto const tags = QX::Store::test::TagsOf(QX::Store::test::ReadRecords(streams[i]));
    EXPECT_EQ(tags.front(), Tag::Head) << "viewer " << i;
    EXPECT_EQ(std::ranges::count(tags, Tag::Head), 1) << "viewer " << i;
  }
}

}  // namespace

// The live server under load, over loopback: one viewer streaming a large
// generated model to completion, then twenty at once. Reports the time to
// the first frame, the rates, and the slowest of the twenty.
//   live_bench MODEL_DIR [MB]
// MODEL_DIR is made with MB (default 200) of mesh data unless it holds a
// model already.
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "geometry/mesh/MeshData.h"
#include "server/LiveServer.h"
#include "store/Cache.h"
#include "store/Model.h"
#include "stream/StreamReader.h"
#include "stream/WireTags.h"

namespace {

using namespace QX::Store;
using Clock = std::chrono::steady_clock;
namespace websocket = boost::beast::websocket;
namespace net = boost::asio;

constexpr uint32_t kGrid = 100;  // points per side of a mesh
constexpr int kViewers = 20;

double Since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Grids in rows on the x y plane, their heights jittered so that no two
// are alike and none compresses to nothing.
void MakeModel(std::string const& path, uint64_t megabytes) {
  Cache cache = Cache::Open(nullptr);
  Model model = cache.OpenModel(path.c_str(), false);
  model.Include(model, 0);
  uint64_t const per_mesh = uint64_t(kGrid) * kGrid * 12 + uint64_t(kGrid - 1) * (kGrid - 1) * 12;
  uint64_t const meshes = megabytes * 1000000 / per_mesh + 1;
  uint32_t const side = uint32_t(std::ceil(std::sqrt(double(meshes))));
  uint32_t jitter = 1;
  for (uint64_t m = 0; m < meshes; ++m) {
    std::vector<Point> points;
    for (uint32_t j = 0; j < kGrid; ++j)
      for (uint32_t i = 0; i < kGrid; ++i) {
        jitter = jitter * 1664525u + 1013904223u;
        points.push_back({float(i), float(j), float(jitter >> 8) / float(1u << 24)});
      }
    std::vector<uint32_t> words;
    for (uint32_t j = 0; j + 1 < kGrid; ++j)
      for (uint32_t i = 0; i + 1 < kGrid; ++i) {
        uint32_t const a = j * kGrid + i;
        words.insert(words.end(), {a, a + 1, a + kGrid, a + 1, a + kGrid + 1, a + kGrid});
      }
    MeshData data;
    data.points = points.data();
    data.point_count = uint32_t(points.size());
    data.face_elements.push_back(std::move(words));
    double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 110.0 * double(m % side), 110.0 * double(m / side), 0};
    model.InsertInstance(model.InsertMesh(data), model.InsertMatrix(matrix), kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0,
                         0, {});
  }
  model.PrepareStream(1);
}

struct ViewerResult {
  double first_frame = 0;  // seconds from connecting to the first frame
  double complete = 0;     // seconds to the T of status 2
  uint64_t bytes = 0;
};

bool EndsStream(std::string const& chunk) {
  StreamReader reader({reinterpret_cast<uint8_t const*>(chunk.data()), chunk.size()});
  StreamRecord r;
  while (reader.Next(r))
    if (r.tag == Tag::PassEnd && GetU32(r.bytes, 4) == 2) return true;
  return false;
}

// A viewer that takes everything in and acknowledges each frame.
ViewerResult View(uint16_t port) {
  ViewerResult result;
  Clock::time_point const start = Clock::now();
  net::io_context io;
  websocket::stream<net::ip::tcp::socket> ws(io);
  net::ip::tcp::resolver resolver(io);
  net::connect(ws.next_layer(), resolver.resolve("127.0.0.1", std::to_string(port)));
  ws.read_message_max(uint64_t(1) << 30);
  ws.handshake("127.0.0.1", "/stream");
  boost::beast::flat_buffer buffer;
  for (;;) {
    ws.read(buffer);
    std::string const chunk = boost::beast::buffers_to_string(buffer.data());
    buffer.consume(buffer.size());
    if (result.bytes == 0) result.first_frame = Since(start);
    result.bytes += chunk.size();
    ws.text(true);
    ws.write(net::buffer("{\"type\":\"ack\",\"bytes\":" + std::to_string(result.bytes) + "}"));
    if (EndsStream(chunk)) break;
  }
  result.complete = Since(start);
  ws.close(websocket::close_code::normal);
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: live_bench MODEL_DIR [MB]\n");
    return 1;
  }
  std::string const path = argv[1];
  uint64_t const megabytes = argc > 2 ? std::stoull(argv[2]) : 200;
  if (!std::filesystem::exists(std::filesystem::path(path) / "_digest.qxi")) {
    Clock::time_point const start = Clock::now();
    MakeModel(path, megabytes);
    std::printf("made the model in %.1f s\n", Since(start));
  }
  std::printf("stream mesh data: %.1f MB\n",
              double(std::filesystem::file_size(std::filesystem::path(path) / "_stream_meshes.qxd")) / 1e6);

  QX::Server::ServerOptions options;
  options.port = 0;
  options.model_path = path;
  options.page = "bench";
  QX::Server::LiveServer server(std::move(options));
  server.Start();

  ViewerResult const one = View(server.Port());
  double const one_rate = double(one.bytes) / 1e6 / one.complete;
  std::printf("1 viewer: first frame after %.1f ms, %.1f MB in %.2f s: %.1f MB/s\n", one.first_frame * 1e3,
              double(one.bytes) / 1e6, one.complete, one_rate);

  std::vector<ViewerResult> results(kViewers);
  std::vector<std::thread> viewers;
  Clock::time_point const start = Clock::now();
  for (int i = 0; i < kViewers; ++i) viewers.emplace_back([&, i] { results[i] = View(server.Port()); });
  for (std::thread& viewer : viewers) viewer.join();
  double const wall = Since(start);
  uint64_t total = 0;
  double slowest = 0;
  double slowest_first = 0;
  for (ViewerResult const& r : results) {
    total += r.bytes;
    slowest = std::max(slowest, r.complete);
    slowest_first = std::max(slowest_first, r.first_frame);
  }
  double const rate = double(total) / 1e6 / wall;
  std::printf("%d viewers: %.1f MB in %.2f s: %.1f MB/s, %.2f of one viewer's rate; slowest done after %.2f s, "
              "slowest first frame after %.1f ms\n",
              kViewers, double(total) / 1e6, wall, rate, rate / one_rate, slowest, slowest_first * 1e3);
  server.Stop();
  return 0;
}

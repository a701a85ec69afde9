#pragma once
// The live server's tests: a server on a free loopback port over one test
// model made once per suite, and viewers of it whose every read has a time
// limit, so that a server that says nothing fails the test instead of
// hanging it.
#include <gtest/gtest.h>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "files/ByteOrder.h"
#include "server/LiveServer.h"
#include "store/Cache.h"
#include "store/Model.h"
#include "stream/StreamReader.h"
#include "stream/WireTags.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/stream/StreamRecords.h"
#include "tests/support/TempDir.h"

namespace qx_server_test {

namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;
namespace net = boost::asio;
using tcp = boost::asio::ip::tcp;
using namespace std::chrono_literals;

struct ReceivedFrame {
  bool binary = false;
  std::string bytes;
};

class TestClient {
 public:
  explicit TestClient(uint16_t port) : ws_(io_) {
    tcp::resolver resolver(io_);
    net::connect(ws_.next_layer(), resolver.resolve("127.0.0.1", std::to_string(port)));
    ws_.read_message_max(64u << 20);
    ws_.handshake("127.0.0.1", "/stream");
  }

  ~TestClient() {
    beast::error_code ignored;
    ws_.next_layer().close(ignored);
  }

  void Send(std::string const& text) { ASSERT_TRUE(TrySend(text)); }

  // Writes and ignores a failure, for servers that may have closed already.
  bool TrySend(std::string const& text, bool binary = false) {
    beast::error_code error;
    ws_.binary(binary);
    ws_.write(net::buffer(text), error);
    return !error;
  }

  // The next frame, or nothing on a close, an error or when `timeout`
  // passes. A read that times out stays under way, and the next call goes
  // on waiting for it.
  std::optional<ReceivedFrame> Read(std::chrono::milliseconds timeout = 20s) {
    if (!reading_) {
      reading_ = true;
      done_ = false;
      ws_.async_read(buffer_, [this](beast::error_code error, size_t) {
        done_ = true;
        error_ = error;
      });
    }
    io_.restart();
    io_.run_for(timeout);
    if (!done_) {
      error_ = net::error::timed_out;
      return std::nullopt;
    }
    reading_ = false;
    if (error_) return std::nullopt;
    ReceivedFrame frame{ws_.got_binary(), beast::buffers_to_string(buffer_.data())};
    buffer_.consume(buffer_.size());
    if (frame.binary) received_ += frame.bytes.size();
    return frame;
  }

  void Ack() { Send("{\"type\":\"ack\",\"bytes\":" + std::to_string(received_) + "}"); }

  // Reads binary frames, acknowledging each unless `ack` is false, until a
  // T of `status` (with `request_id`, if not 0) has come; appends their
  // bytes to `stream`. False if the stream broke off first.
  bool ReadUntilEnd(QX::Store::Bytes& stream, uint32_t status, uint32_t request_id = 0, bool ack = true) {
    for (;;) {
      std::optional<ReceivedFrame> frame = Read();
      if (!frame || !frame->binary) {
        if (frame) ADD_FAILURE() << "text frame: " << frame->bytes;
        return false;
      }
      stream.insert(stream.end(), frame->bytes.begin(), frame->bytes.end());
      if (ack) Ack();
      // A frame holds whole records, so it reads on its own.
      QX::Store::StreamReader reader({reinterpret_cast<uint8_t const*>(frame->bytes.data()), frame->bytes.size()});
      for (QX::Store::StreamRecord r; reader.Next(r);) {
        if (r.tag == QX::Store::Tag::PassEnd && r.bytes.size() >= 16 && QX::Store::GetU32(r.bytes, 4) == status &&
            (request_id == 0 || QX::Store::GetU32(r.bytes, 8) == request_id))
          return true;
      }
    }
  }

  beast::error_code const& Error() const { return error_; }
  websocket::close_reason const& CloseReason() const { return ws_.reason(); }

 private:
  net::io_context io_;
  websocket::stream<tcp::socket> ws_;
  beast::flat_buffer buffer_;
  beast::error_code error_;
  bool reading_ = false;
  bool done_ = false;
  uint64_t received_ = 0;
};

// Two clusters of grid meshes far apart along x, "near" ones large at the
// origin and "far" ones smaller around x = kFarX, each mesh some hundreds of
// KiB of stream data so that a stream of it takes many passes.
inline constexpr double kFarX = 100000.0;

struct LiveTestModel {
  std::string path;
  std::vector<uint32_t> near_meshes, far_meshes, far_instances;
};

inline LiveTestModel BuildLiveTestModel(std::string const& path) {
  using namespace QX::Store;
  LiveTestModel built{path, {}, {}, {}};
  Cache cache = Cache::Open(nullptr);
  Model model = cache.OpenModel(path.c_str(), false);
  model.Include(model, 0);
  for (uint32_t i = 0; i < 8; ++i) {
    bool const far = i >= 4;
    qx_test::TestMesh mesh = qx_test::GridMesh(120 + i);
    double const scale = far ? 1.0 : 2.0, x = (far ? kFarX : 0.0) + 300.0 * (i % 4);
    double const matrix[12] = {scale, 0, 0, 0, scale, 0, 0, 0, scale, x, 0, 0};
    MeshKey const key = model.InsertMesh(mesh.Data());
    InstanceKey const instance =
        model.InsertInstance(key, model.InsertMatrix(matrix), kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
    (far ? built.far_meshes : built.near_meshes).push_back(key);
    if (far) built.far_instances.push_back(instance);
  }
  model.PrepareStream(1);
  return built;
}

class LiveServerTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    directory_ = new qx_test::TempDir();
    model_ = new LiveTestModel(BuildLiveTestModel((directory_->Path() / "model").string()));
  }
  static void TearDownTestSuite() {
    delete model_;
    delete directory_;
  }

  // Starts the server with `limits`; the page is a stand-in.
  void StartServer(QX::Server::ServerLimits limits = {}, size_t workers = 2) {
    QX::Server::ServerOptions options;
    options.port = 0;
    options.model_path = model_->path;
    options.page = "<html>live page</html>";
    options.workers = workers;
    options.limits = limits;
    server_ = std::make_unique<QX::Server::LiveServer>(std::move(options));
    server_->Start();
  }
  // Limits whose flow window lets one pass out and nothing more until acked.
  static QX::Server::ServerLimits OnePassWindow() {
    QX::Server::ServerLimits limits;
    limits.flow.window = 16 * 1024;
    return limits;
  }

  uint16_t Port() const { return server_->Port(); }
  LiveTestModel const& Model() const { return *model_; }

  // A camera message looking down the z axis at (x, y), seeing `size` units.
  static std::string CameraAt(double x, double y, double size) {
    std::ostringstream text;
    text.precision(17);
    text << "{\"type\":\"camera\",\"projection\":0,\"position\":[" << x << "," << y << ",20000],\"target\":["
         << x << "," << y << ",0],\"up\":[0,1,0],\"width\":" << size << ",\"height\":" << size
         << ",\"aspect\":1,\"screen_width\":800,\"screen_height\":800}";
    return text.str();
  }

  std::unique_ptr<QX::Server::LiveServer> server_;

 private:
  static inline qx_test::TempDir* directory_ = nullptr;
  static inline LiveTestModel* model_ = nullptr;
};

}  // namespace qx_server_test

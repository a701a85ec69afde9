// Clients that break the protocol: each gets an error frame or is closed,
// and the server goes on serving everyone else.
#include <thread>

#include "server/JsonValue.h"
#include "tests/server/LiveServerFixture.h"

namespace {

using namespace qx_server_test;
using QX::Store::Bytes;

// The message of the next error frame; binary frames before it are
// acknowledged.
std::optional<std::string> NextError(TestClient& client) {
  while (std::optional<ReceivedFrame> frame = client.Read(10s)) {
    if (frame->binary) {
      client.Ack();
      continue;
    }
    QX::Server::JsonValue const error = QX::Server::ParseJson(frame->bytes);
    EXPECT_EQ(error.Find("type")->text, "error");
    return error.Find("message")->text;
  }
  return std::nullopt;
}

// Reads until the server closes; true if it did.
bool ClosedByServer(TestClient& client) {
  while (client.Read(10s)) {
  }
  EXPECT_NE(client.Error(), net::error::timed_out);
  return client.Error() != net::error::timed_out;
}

// Each bad message gets an error frame and the connection goes on, until
// the limit of errors closes it.
TEST_F(LiveServerTest, BadMessagesGetAnErrorFrameUntilTooMany) {
  struct {
    char const* text;
    char const* error;  // a part of the error message
  } const cases[] = {
      {"{\"type\":\"camera\"", "bad JSON at byte 16"},
      {"[1,2,3]", "must be a JSON object"},
      {"{\"type\":\"teleport\"}", "unknown message type \"teleport\""},
      {"{\"type\":\"camera\",\"projection\":0}", "missing member \"position\""},
      {"{\"type\":\"request\",\"kind\":\"DROP_TABLES\",\"request_id\":1}", "unknown request kind"},
      {"{\"type\":\"request\",\"kind\":\"MESH_IDS\",\"request_id\":-1}", "\"request_id\" must be a whole number"},
      {"{\"type\":\"select\",\"shape\":\"ray\",\"request_id\":1,\"selection_id\":1,\"origin\":[0,0,0],"
       "\"direction\":[0,0,0]}", "\"direction\" must not be zero"},
      {"{\"a\":[[[[[[[[[[[[1]]]]]]]]]]]]}", "nested deeper"},
  };
  QX::Server::ServerLimits limits;
  limits.max_errors = std::size(cases) + 1;
  StartServer(limits);
  TestClient client(Port());
  for (auto const& bad : cases) {
    client.Send(bad.text);
    std::optional<std::string> const error = NextError(client);
    ASSERT_TRUE(error) << bad.text;
    EXPECT_NE(error->find(bad.error), std::string::npos) << *error;
  }
  client.Send(R"({"type":"request","kind":"MESH_IDS","request_id":9,"ids":[[4294967293,1]]})");
  Bytes stream;
  EXPECT_TRUE(client.ReadUntilEnd(stream, 0, 9)) << "a good message after the bad ones is served";
  client.TrySend("nonsense");
  EXPECT_TRUE(ClosedByServer(client));
}

TEST_F(LiveServerTest, HugeFrameClosesTheConnectionAsTooBig) {
  StartServer();
  TestClient client(Port());
  client.TrySend(std::string(200 * 1024, ' '));
  EXPECT_TRUE(ClosedByServer(client)) << client.Error().message();
  // The server stops reading mid-frame, so the kernel's reset of the socket
  // can overtake its close frame; where the frame arrives, it says why.
  if (client.CloseReason().code != websocket::close_code::none) {
    EXPECT_EQ(client.CloseReason().code, websocket::close_code::too_big);
  }
}

TEST_F(LiveServerTest, BinaryFrameAndFalseAckAreRefusedAndClose) {
  StartServer();
  for (auto [text, binary] : {std::pair{std::string("\x01\x02"), true},
                              std::pair{std::string(R"({"type":"ack","bytes":999999999999})"), false}}) {
    TestClient client(Port());
    client.TrySend(text, binary);
    ASSERT_TRUE(NextError(client));
    EXPECT_TRUE(ClosedByServer(client));
    EXPECT_EQ(client.CloseReason().code, websocket::close_code::policy_error);
  }
}

TEST_F(LiveServerTest, FloodOfCamerasIsTakenAsTheLastOne) {
  StartServer();
  TestClient client(Port());
  for (int i = 0; i < 5000; ++i) client.Send(CameraAt(i, 0, 100 + i));
  client.Send(R"({"type":"request","kind":"MESH_IDS","request_id":3,"ids":[]})");
  Bytes stream;
  EXPECT_TRUE(client.ReadUntilEnd(stream, 0, 3)) << client.Error().message();
}

TEST_F(LiveServerTest, FloodOfRequestsIsRefusedOnceTheQueueIsFull) {
  QX::Server::ServerLimits limits = OnePassWindow();
  limits.flow.max_waiting = 8;
  StartServer(limits, 1);
  TestClient client(Port());
  for (int i = 1; i <= 200 && client.TrySend(R"({"type":"restart"})"); ++i) {
  }
  std::optional<std::string> const error = NextError(client);
  ASSERT_TRUE(error);
  EXPECT_NE(error->find("messages wait for the stream"), std::string::npos) << *error;
  EXPECT_TRUE(ClosedByServer(client));
}

TEST_F(LiveServerTest, ClientThatNeverReadsDoesNotHoldUpOthers) {
  StartServer({}, 1);  // one worker: both viewers share it
  TestClient idle(Port());
  idle.Send(CameraAt(0, 0, 1000));
  TestClient busy(Port());
  Bytes stream;
  ASSERT_TRUE(busy.ReadUntilEnd(stream, 2));
  EXPECT_EQ(server_->Connections(), 2u);
}

TEST_F(LiveServerTest, ViewersThatLeaveMidStreamAreForgotten) {
  StartServer();
  for (int i = 0; i < 6; ++i) {
    TestClient client(Port());
    ASSERT_TRUE(client.Read());
  }
  for (int i = 0; i < 100 && server_->Connections() != 0; ++i) std::this_thread::sleep_for(50ms);
  EXPECT_EQ(server_->Connections(), 0u);
}

}  // namespace

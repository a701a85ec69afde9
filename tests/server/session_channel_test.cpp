// Flow control between a connection and its worker.
#include <gtest/gtest.h>

#include <thread>

#include "server/SessionChannel.h"

namespace {

using namespace QX::Server;

class Channel : public ::testing::Test {
 protected:
  Channel()
      : channel(limits, [this](Frame frame) { delivered += frame->size(); },
                [this](std::string const& error) { failure = error; }) {}

  bool Push(ClientMessage message) {
    std::string error;
    bool const taken = channel.Push(std::move(message), error);
    if (!taken) refusal = error;
    return taken;
  }

  static CameraMessage Camera(double x) {
    CameraMessage camera;
    camera.camera.position[0] = x;
    return camera;
  }

  FlowLimits limits{1000, 3};
  uint64_t delivered = 0;
  std::string failure;
  std::string refusal;
  SessionChannel channel;
};

TEST_F(Channel, StreamingStopsAtTheWindowAndAcksReopenIt) {
  SessionWork work;
  EXPECT_TRUE(channel.Take(true, work));
  EXPECT_FALSE(channel.Take(false, work)) << "nothing to do";
  EXPECT_TRUE(channel.Send(std::vector<uint8_t>(1000)));
  channel.Written(1000);
  EXPECT_FALSE(channel.Take(true, work)) << "1000 bytes unacknowledged";
  EXPECT_TRUE(Push(AckMessage{400}));
  EXPECT_TRUE(channel.Take(true, work));
  EXPECT_EQ(channel.Unacknowledged(), 600u);
  EXPECT_EQ(delivered, 1000u);
}

TEST_F(Channel, NewsMayUseTwiceTheWindow) {
  ASSERT_TRUE(channel.Send(std::vector<uint8_t>(1500)));
  channel.Written(1500);
  SessionWork work;
  EXPECT_FALSE(channel.Take(true, work));
  ASSERT_TRUE(Push(Camera(1)));
  EXPECT_TRUE(channel.Take(true, work));
  ASSERT_TRUE(channel.Send(std::vector<uint8_t>(600)));
  ASSERT_TRUE(Push(Camera(2)));
  EXPECT_FALSE(channel.Take(true, work)) << "2100 bytes out";
}

TEST_F(Channel, BytesNotYetWrittenCountAgainstTheWindow) {
  ASSERT_TRUE(channel.Send(std::vector<uint8_t>(1000)));
  ASSERT_TRUE(Push(AckMessage{1000}));  // a viewer can't ack what it hasn't got, but the socket still holds it
  SessionWork work;
  EXPECT_FALSE(channel.Take(true, work));
  channel.Written(1000);
  EXPECT_TRUE(channel.Take(true, work));
}

TEST_F(Channel, CamerasCollapseIntoTheNewestAndMessagesKeepTheirOrder) {
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(Push(Camera(i)));
  ASSERT_TRUE(Push(WantedMessage{true}));
  ASSERT_TRUE(Push(RestartMessage{}));
  SessionWork work;
  ASSERT_TRUE(channel.Take(false, work));
  ASSERT_TRUE(work.camera);
  EXPECT_EQ(work.camera->camera.position[0], 999);
  ASSERT_TRUE(work.message && std::holds_alternative<WantedMessage>(*work.message));
  ASSERT_TRUE(channel.Take(false, work));
  EXPECT_FALSE(work.camera);
  EXPECT_TRUE(work.message && std::holds_alternative<RestartMessage>(*work.message));
  EXPECT_FALSE(channel.Take(false, work));
}

TEST_F(Channel, RefusesAFullQueueAndAcksOfBytesNeverSent) {
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(Push(RestartMessage{}));
  EXPECT_FALSE(Push(RestartMessage{}));
  EXPECT_EQ(refusal, "more than 3 messages wait for the stream");
  EXPECT_FALSE(Push(AckMessage{1}));
  EXPECT_EQ(refusal, "an ack of 1 bytes, but 0 were sent and 0 acknowledged");
}

TEST_F(Channel, ClosedChannelTakesNothingAndFailsOnce) {
  channel.Fail("gone");
  channel.Fail("again");
  EXPECT_EQ(failure, "gone");
  EXPECT_TRUE(channel.Closed());
  EXPECT_FALSE(channel.Send(std::vector<uint8_t>(10)));
  SessionWork work;
  EXPECT_FALSE(channel.Take(true, work));
}

TEST_F(Channel, WakesItsWorkerFromAnotherThread) {
  std::atomic<int> wakes{0};
  channel.SetWake([&] { ++wakes; });
  std::thread connection([&] {
    for (int i = 0; i < 100; ++i) Push(Camera(i));
  });
  SessionWork work;
  int taken = 0;
  while (wakes < 100) taken += channel.Take(false, work) ? 1 : 0;
  connection.join();
  taken += channel.Take(false, work) ? 1 : 0;
  EXPECT_GE(taken, 1);
}

}  // namespace

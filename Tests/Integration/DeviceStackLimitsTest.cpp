#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <string>

#include "CapturingAppender.h"
#include "DeviceStackServer.h"
#include "RawConnection.h"
#include "WebSocketClient.h"

namespace {

using IntegrationTest::RawConnection;
using LocalDevice::ConnectionLimits;
using LocalDevice::DeviceStackServer;
using LocalDevice::RequestDispatcher;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::Matches;
using testing::Optional;
using testing::StartsWith;
using TestSupport::LogLine;
using TestSupport::WebSocketClient;

constexpr std::chrono::milliseconds Short{400};
constexpr std::size_t QueueLimit = 10000;

/// The server in a thread of this process, with limits that a test can reach.
class DeviceStackLimitsTest : public testing::Test {
protected:
    ~DeviceStackLimitsTest() override {
        boost::asio::post(io_, [this] { sut.Stop(); });
        thread_.join();
    }

    std::uint16_t GetPort() const { return port_; }

    TestSupport::LogCapture log;

private:
    static ConnectionLimits GetLimits() {
        ConnectionLimits limits;
        limits.handshake = Short;
        limits.idle = Short;
        limits.close = Short;
        limits.queue = QueueLimit;
        return limits;
    }

    boost::asio::io_context io_;
    RequestDispatcher dispatcher_{{}, log.GetLogger()};

protected:
    DeviceStackServer sut{io_, {boost::asio::ip::address_v4::loopback(), 0}, dispatcher_, GetLimits(), log.GetLogger()};

private:
    const std::uint16_t port_ = sut.GetEndpoint().port();
    boost::thread thread_{[this] { sut.Run(); }};
};

TEST_F(DeviceStackLimitsTest, AConnectionThatSaysNothingIsEnded) {
    RawConnection client(GetPort());
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackLimitsTest, AHandshakeThatIsNotFinishedIsEnded) {
    RawConnection client(GetPort());
    client.Send("GET / HTTP/1.1\r\n");
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackLimitsTest, ARefusedClientThatStaysIsEnded) {
    RawConnection client(GetPort());
    client.Send("nonsense\r\n\r\n");
    client.ReceiveToEnd();
    for (int tries = 0; client.Send("x") && tries < 1000; ++tries) {
        boost::this_thread::sleep_for(boost::chrono::milliseconds(5));
    }
    EXPECT_FALSE(client.Send("x"));
}

TEST_F(DeviceStackLimitsTest, AClientThatShowsNoSignOfLifeIsEnded) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackLimitsTest, HalfAFrameIsNoSignOfLifeForLong) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    client.Send(RawConnection::MakeFrameHeader(IntegrationTest::TextOpcode, 100) + "{");
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackLimitsTest, AHealthyClientMayBeIdle) {
    WebSocketClient client(GetPort());
    // Answers pings meanwhile, as every WebSocket library does.
    EXPECT_EQ(client.Receive(5 * Short), std::nullopt);
    EXPECT_TRUE(client.IsOpen());
    ASSERT_TRUE(client.Send(R"({"request":1,"command":"EnableNativeFormat"})"));
    EXPECT_THAT(client.Receive(), Optional(std::string(R"({"request":1,"response":{}})")));
}

TEST_F(DeviceStackLimitsTest, AnAnswerLargerThanTheQueueArrivesWhole) {
    WebSocketClient client(GetPort());
    const std::string name(10 * QueueLimit, 'x');
    client.Send(R"({"command":"SetConfiguration","configuration":{"devices":[{"id":1,"name":")" + name + "\"}]}}");
    client.Send(R"({"request":1,"command":"GetObjectModel"})");
    EXPECT_THAT(client.Receive(), Optional(HasSubstr(name)));
}

TEST_F(DeviceStackLimitsTest, AClientThatAsksAndDoesNotReadIsDropped) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    const std::string name(1000000, 'x');
    client.Send(RawConnection::MakeFrame(
        IntegrationTest::TextOpcode,
        R"({"command":"SetConfiguration","configuration":{"devices":[{"id":1,"name":")" + name + "\"}]}}"));
    const std::string request =
        RawConnection::MakeFrame(IntegrationTest::TextOpcode, R"({"request":1,"command":"GetObjectModel"})");
    for (int i = 0; i < 100; ++i) {
        client.Send(request);
    }
    const auto isDropped = Contains(Field(&LogLine::text, StartsWith("Dropped a client that does not read: ")));
    for (int tries = 0; !Matches(isDropped)(log.GetLines()) && tries < 4000; ++tries) {
        boost::this_thread::sleep_for(boost::chrono::milliseconds(5));
    }
    EXPECT_THAT(log.GetLines(), isDropped);
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackLimitsTest, AClientMayCloseInOrder) {
    WebSocketClient client(GetPort());
    EXPECT_TRUE(client.Close());
}

}  // namespace

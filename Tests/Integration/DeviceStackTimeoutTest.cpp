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
using testing::Optional;
using TestSupport::WebSocketClient;

constexpr std::chrono::milliseconds Short{150};

/// The server in a thread of this process, with short time-outs.
class DeviceStackTimeoutTest : public testing::Test {
protected:
    ~DeviceStackTimeoutTest() override {
        boost::asio::post(io_, [this] { sut.Stop(); });
        thread_.join();
    }

    std::uint16_t GetPort() const { return port_; }

private:
    static ConnectionLimits GetLimits() {
        ConnectionLimits limits;
        limits.handshake = Short;
        limits.idle = Short;
        limits.close = Short;
        return limits;
    }

    TestSupport::LogCapture log_;
    boost::asio::io_context io_;
    RequestDispatcher dispatcher_{{}, log_.GetLogger()};

protected:
    DeviceStackServer sut{
        io_, {boost::asio::ip::address_v4::loopback(), 0}, dispatcher_, GetLimits(), log_.GetLogger()};

private:
    const std::uint16_t port_ = sut.GetEndpoint().port();
    boost::thread thread_{[this] { io_.run(); }};
};

TEST_F(DeviceStackTimeoutTest, AConnectionThatSaysNothingIsEnded) {
    RawConnection client(GetPort());
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackTimeoutTest, AHandshakeThatIsNotFinishedIsEnded) {
    RawConnection client(GetPort());
    client.Send("GET / HTTP/1.1\r\n");
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackTimeoutTest, ARefusedClientThatStaysIsEnded) {
    RawConnection client(GetPort());
    client.Send("nonsense\r\n\r\n");
    client.ReceiveToEnd();
    for (int tries = 0; client.Send("x") && tries < 1000; ++tries) {
        boost::this_thread::sleep_for(boost::chrono::milliseconds(5));
    }
    EXPECT_FALSE(client.Send("x"));
}

TEST_F(DeviceStackTimeoutTest, AClientThatShowsNoSignOfLifeIsEnded) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackTimeoutTest, HalfAFrameIsNoSignOfLifeForLong) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    client.Send(RawConnection::MakeFrameHeader(IntegrationTest::TextOpcode, 100) + "{");
    EXPECT_TRUE(client.WaitForEnd());
}

TEST_F(DeviceStackTimeoutTest, AHealthyClientMayBeIdle) {
    WebSocketClient client(GetPort());
    // Answers pings meanwhile, as every WebSocket library does.
    EXPECT_EQ(client.Receive(10 * Short), std::nullopt);
    EXPECT_TRUE(client.IsOpen());
    ASSERT_TRUE(client.Send(R"({"request":1,"command":"EnableNativeFormat"})"));
    EXPECT_THAT(client.Receive(), Optional(std::string(R"({"request":1,"response":{}})")));
}

TEST_F(DeviceStackTimeoutTest, AClientMayCloseInOrder) {
    WebSocketClient client(GetPort());
    EXPECT_TRUE(client.Close());
}

}  // namespace

#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/thread/thread_only.hpp>
#include <optional>
#include <string>

#include "CapturingAppender.h"
#include "DeviceStackServer.h"
#include "Ostra/LocalSocket.h"
#include "WebSocketClient.h"

namespace {

using boost::asio::ip::tcp;
using boost::asio::local::stream_protocol;
using testing::Contains;
using testing::Optional;

constexpr const char* Request = R"({"request":1,"command":"EnableNativeFormat"})";
constexpr const char* Answer = R"({"request":1,"response":{}})";

/// The server in a thread of this process.
class DeviceStackLocalSocket : public testing::Test {
protected:
    ~DeviceStackLocalSocket() override {
        boost::asio::post(io_, [this] { sut->Stop(); });
        thread_.join();
    }

    void Start(const tcp::endpoint& endpoint) {
        sut.emplace(io_, endpoint, dispatcher_, LocalDevice::ConnectionLimits{}, log.GetLogger());
        thread_ = boost::thread([this] { sut->Run(); });
    }

    TestSupport::LogCapture log;
    boost::asio::io_context context;

private:
    boost::asio::io_context io_;
    LocalDevice::RequestDispatcher dispatcher_{{}, log.GetLogger()};

protected:
    std::optional<LocalDevice::DeviceStackServer> sut;

private:
    boost::thread thread_;
};

TEST_F(DeviceStackLocalSocket, ServesAsThePortDoes) {
    Start({boost::asio::ip::address_v4::loopback(), 0});
    boost::beast::websocket::stream<stream_protocol::socket, false> client(context);
    client.next_layer().connect(Ostra::MakeLocalEndpoint(sut->GetEndpoint()));
    client.handshake("localhost", "/");
    client.write(boost::asio::buffer(std::string(Request)));
    boost::beast::flat_buffer buffer;
    client.read(buffer);
    EXPECT_EQ(boost::beast::buffers_to_string(buffer.data()), Answer);
}

TEST_F(DeviceStackLocalSocket, IsNotThereWhereOtherHostsAreServed) {
    Start({boost::asio::ip::address_v4::any(), 0});
    stream_protocol::socket client(context);
    boost::system::error_code error;
    client.connect(Ostra::MakeLocalEndpoint(sut->GetEndpoint()), error);
    EXPECT_EQ(error, boost::asio::error::connection_refused);
}

TEST_F(DeviceStackLocalSocket, ThatIsTakenLeavesThePort) {
    // Bound, not listening: the server may have the port, too.
    tcp::acceptor port(context, tcp::v4());
    port.set_option(tcp::acceptor::reuse_address(true));
    port.bind({boost::asio::ip::address_v4::loopback(), 0});
    const stream_protocol::acceptor taken(context, Ostra::MakeLocalEndpoint(port.local_endpoint()));
    Start(port.local_endpoint());
    TestSupport::WebSocketClient client(sut->GetEndpoint().port());
    ASSERT_TRUE(client.Send(Request));
    EXPECT_THAT(client.Receive(), Optional(std::string(Answer)));
    EXPECT_THAT(log.TakeLines(),
                Contains(TestSupport::LogLine{
                    "WARN", "Only the port can be used, without the local socket: bind: Address already in use"}));
}

}  // namespace

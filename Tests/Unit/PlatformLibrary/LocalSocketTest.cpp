#include "Ostra/LocalSocket.h"

#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/websocket/stream.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/thread/thread_only.hpp>
#include <string>

#include "CapturingAppender.h"
#include "ClientPointer.h"
#include "FakeDeviceStack.h"
#include "Ostra/IDeviceStackClient.h"

namespace {

using boost::asio::ip::tcp;
using boost::asio::local::stream_protocol;
using TestSupport::FakeDeviceStack;

constexpr uid_t Root = 0;
constexpr uid_t Nobody = 65534;

tcp::endpoint ToEndpoint(const std::string& address) {
    const auto colon = address.rfind(':');
    return {boost::asio::ip::make_address(address.substr(0, colon)),
            boost::lexical_cast<std::uint16_t>(address.substr(colon + 1))};
}

class LocalSocket : public testing::Test {
protected:
    TestSupport::GlobalLogCapture log;
    boost::asio::io_context context;
};

TEST(MakeLocalEndpoint, NamesNoFileAndEachEndPointDifferently) {
    const auto first = Ostra::MakeLocalEndpoint(ToEndpoint("127.0.0.1:7580")).path();
    EXPECT_EQ(first, std::string(1, '\0') + "ostra-device-stack/127.0.0.1:7580");
    EXPECT_NE(Ostra::MakeLocalEndpoint(ToEndpoint("127.0.0.1:7581")).path(), first);
    EXPECT_NE(Ostra::MakeLocalEndpoint({boost::asio::ip::address_v6::loopback(), 7580}).path(), first);
}

TEST_F(LocalSocket, IsPreferredByAClient) {
    FakeDeviceStack port;
    stream_protocol::acceptor acceptor(context, Ostra::MakeLocalEndpoint(ToEndpoint(port.GetAddress())));
    std::string frame;
    boost::thread server([&] {
        boost::beast::websocket::stream<stream_protocol::socket, false> stream(acceptor.accept());
        stream.accept();
        boost::beast::flat_buffer buffer;
        stream.read(buffer);
        frame = boost::beast::buffers_to_string(buffer.data());
    });
    ClientPointer sut(Ostra::CreateDeviceStackClient(port.GetAddress()));
    ASSERT_NE(sut, nullptr);
    EXPECT_TRUE(sut->Send(R"({"command":"X"})"));
    server.join();
    EXPECT_EQ(frame, R"({"command":"X"})");
}

TEST_F(LocalSocket, OfAnotherUserIsNotUsed) {
    if (geteuid() != Root) {
        GTEST_SKIP() << "only root can be another user";
    }
    FakeDeviceStack port;
    ASSERT_EQ(seteuid(Nobody), 0);
    const stream_protocol::acceptor acceptor(context, Ostra::MakeLocalEndpoint(ToEndpoint(port.GetAddress())));
    ASSERT_EQ(seteuid(Root), 0);
    const ClientPointer sut(Ostra::CreateDeviceStackClient(port.GetAddress()));
    ASSERT_NE(sut, nullptr);
    EXPECT_TRUE(sut->Send(R"({"command":"X"})"));
    EXPECT_EQ(port.NextFrame(), R"({"command":"X"})");
}

}  // namespace

#include <gmock/gmock.h>
#include <unistd.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <vector>

#include "RunDirectory.h"
#include "SupervisorRequest.h"
#include "SupervisorServer.h"
#include "TemporaryFolder.h"

namespace {

using LocalDevice::BadRequest;
using LocalDevice::ParseSupervisorRequest;
using LocalDevice::RestartRequest;
using LocalDevice::RunLedOffRequest;
using LocalDevice::SupervisorRequest;
using LocalDevice::SupervisorServer;
using Protocol = boost::asio::local::stream_protocol;
using testing::ElementsAre;

std::string TextOf(const SupervisorRequest& request) {
    if (const auto* const restart = std::get_if<RestartRequest>(&request)) {
        return (restart->factoryReset ? "factory reset from " : "restart from ") + std::to_string(restart->from);
    }
    if (const auto* const led = std::get_if<RunLedOffRequest>(&request)) {
        return "led off from " + std::to_string(led->from);
    }
    return "bad: " + std::get<BadRequest>(request).problem;
}

TEST(SupervisorRequest, RequestsAreRead) {
    EXPECT_EQ(TextOf(ParseSupervisorRequest(R"({"request":"restart","factoryReset":false,"from":13,"to":2})")),
              "restart from 13");
    EXPECT_EQ(TextOf(ParseSupervisorRequest(R"({"request":"restart","factoryReset":true,"from":13,"to":2})")),
              "factory reset from 13");
    EXPECT_EQ(TextOf(ParseSupervisorRequest(R"({"request":"runLedOff","from":13,"to":2})")), "led off from 13");
}

TEST(SupervisorRequest, OtherLinesAreBad) {
    const auto problemOf = [](const char* line) { return TextOf(ParseSupervisorRequest(line)); };
    const std::string incomplete = R"(bad: it lacks a text "request" and a number "from")";
    EXPECT_EQ(problemOf(""), "bad: it is no JSON object");
    EXPECT_EQ(problemOf("[]"), "bad: it is no JSON object");
    EXPECT_EQ(problemOf("{"), "bad: it is no JSON object");
    EXPECT_EQ(problemOf("{}"), incomplete);
    EXPECT_EQ(problemOf(R"({"request":"restart"})"), incomplete);
    EXPECT_EQ(problemOf(R"({"request":1,"from":1})"), incomplete);
    EXPECT_EQ(problemOf(R"({"request":"runLedOff","from":"x"})"), incomplete);
    EXPECT_EQ(problemOf(R"({"request":"explode","from":1})"), "bad: its kind is unknown");
    EXPECT_EQ(problemOf(R"({"request":"restart","from":1})"), R"(bad: it lacks "factoryReset", true or false)");
    EXPECT_EQ(problemOf(R"({"request":"restart","from":1,"factoryReset":0})"),
              R"(bad: it lacks "factoryReset", true or false)");
}

class SupervisorServerTest : public testing::Test {
protected:
    static constexpr std::chrono::seconds Patience{10};

    /// Runs until so many requests have come.
    void Await(std::size_t count) {
        const auto end = std::chrono::steady_clock::now() + Patience;
        while (requests_.size() < count && std::chrono::steady_clock::now() < end) {
            io_.run_one_for(Patience);
        }
    }

    Protocol::socket Connect() {
        Protocol::socket client(io_);
        client.connect(Protocol::endpoint(path_));
        return client;
    }

    SupervisorServer::Handler Collect() {
        return [this](const SupervisorRequest& request, pid_t peer) {
            requests_.push_back(TextOf(request));
            peer_ = peer;
        };
    }

    const TestSupport::TemporaryFolder directory_;
    const std::string path_ = directory_.At("s.sock");
    boost::asio::io_context io_;
    std::vector<std::string> requests_;
    pid_t peer_ = 0;
};

TEST_F(SupervisorServerTest, RequestsOfSeveralClientsArrive) {
    const SupervisorServer sut(io_, path_, Collect());
    auto first = Connect();
    auto second = Connect();
    boost::asio::write(first, boost::asio::buffer(std::string("{\"request\":\"runLedOff\",\"from\":1,\"to\":2}\n")));
    Await(1);
    boost::asio::write(second, boost::asio::buffer(std::string("{\"request\":\"runLedOff\",\"from\":2,\"to\":2}\n")));
    Await(2);
    EXPECT_THAT(requests_, ElementsAre("led off from 1", "led off from 2"));
}

TEST_F(SupervisorServerTest, LinesOfOneConnectionArriveInOrder) {
    const SupervisorServer sut(io_, path_, Collect());
    auto client = Connect();
    boost::asio::write(client, boost::asio::buffer(std::string("{\"request\":\"runLedOff\",\"from\":1}\nnonsense\n"
                                                               "{\"request\":\"runLedOff\",\"from\":3}\n")));
    Await(3);
    EXPECT_THAT(requests_, ElementsAre("led off from 1", "bad: it is no JSON object", "led off from 3"));
}

TEST_F(SupervisorServerTest, RequestComesWithTheProcessThatConnected) {
    const SupervisorServer sut(io_, path_, Collect());
    auto client = Connect();
    boost::asio::write(client, boost::asio::buffer(std::string("{\"request\":\"runLedOff\",\"from\":13}\n")));
    Await(1);
    EXPECT_EQ(peer_, getpid());
}

TEST_F(SupervisorServerTest, RequestOfAClientThatIsGoneArrives) {
    const SupervisorServer sut(io_, path_, Collect());
    {
        auto client = Connect();
        boost::asio::write(client, boost::asio::buffer(std::string("{\"request\":\"runLedOff\",\"from\":1}\n")));
    }
    Await(1);
    EXPECT_THAT(requests_, ElementsAre("led off from 1"));
}

TEST_F(SupervisorServerTest, EndlessLineEndsItsConnectionOnly) {
    const SupervisorServer sut(io_, path_, Collect());
    auto flood = Connect();
    boost::asio::write(flood, boost::asio::buffer(std::string(5000, 'x')));
    auto client = Connect();
    boost::asio::write(client, boost::asio::buffer(std::string("{\"request\":\"runLedOff\",\"from\":1}\n")));
    Await(1);
    EXPECT_THAT(requests_, ElementsAre("led off from 1"));

    bool isFloodClosed = false;
    char byte = 0;
    flood.async_read_some(boost::asio::buffer(&byte, 1), [&isFloodClosed](const boost::system::error_code& error,
                                                                          std::size_t) { isFloodClosed = !!error; });
    while (!isFloodClosed && io_.run_one_for(Patience) != 0) {
    }
    EXPECT_TRUE(isFloodClosed);
}

TEST_F(SupervisorServerTest, SocketThatNobodyListensToIsReplaced) {
    { const Protocol::acceptor stale(io_, Protocol::endpoint(path_)); }
    const SupervisorServer sut(io_, path_, Collect());
    EXPECT_TRUE(LocalDevice::IsListening(path_));
}

TEST_F(SupervisorServerTest, SocketThatCannotBeMadeIsNamed) {
    const std::string path = directory_.At("none/s.sock");
    const auto construct = [this, &path] { const SupervisorServer sut(io_, path, Collect()); };
    EXPECT_THAT(construct, testing::ThrowsMessage<std::runtime_error>(
                               path + ": the socket cannot be made: No such file or directory"));
}

TEST_F(SupervisorServerTest, NobodyListensAfterTheEnd) {
    { const SupervisorServer sut(io_, path_, Collect()); }
    EXPECT_FALSE(LocalDevice::IsListening(path_));
}

}  // namespace

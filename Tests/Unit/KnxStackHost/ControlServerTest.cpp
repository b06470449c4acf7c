#include "Control/ControlServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/future.hpp>
#include <boost/thread/thread.hpp>
#include <nlohmann/json.hpp>
#include <optional>

#include "Control/ControlConnection.h"
#include "EventRecorder.h"
#include "TemporaryFolder.h"
#include "ThreadShortage.h"

namespace LocalDevice {
namespace {

using nlohmann::json;
using testing::HasSubstr;

const json LongAnswer{{"ok", true}, {"text", std::string(100'000, 'x')}};

/// A client that waits.
class Client {
public:
    explicit Client(const std::string& path) {
        socket_.connect(path);
        constexpr timeval Limit{10, 0};
        setsockopt(socket_.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &Limit, sizeof(Limit));
    }

    void Send(const std::string& text) { boost::asio::write(socket_, boost::asio::buffer(text)); }

    /// The next line; "closed" when none comes.
    std::string Receive() {
        std::size_t end = 0;
        while ((end = buffer_.find('\n')) == std::string::npos) {
            std::array<char, 4096> chunk{};
            const auto size = recv(socket_.native_handle(), chunk.data(), chunk.size(), 0);
            if (size <= 0) {
                return "closed";
            }
            buffer_.append(chunk.data(), static_cast<std::size_t>(size));
        }
        std::string line = buffer_.substr(0, end);
        buffer_.erase(0, end + 1);
        return line;
    }
    std::string Ask(const std::string& line) {
        Send(line + "\n");
        return Receive();
    }

private:
    boost::asio::io_context io_;
    boost::asio::local::stream_protocol::socket socket_{io_};
    std::string buffer_;
};

class ControlServerTest : public testing::Test {
protected:
    static json Echo(const json& request) { return {{"ok", true}, {"got", request}}; }

    ControlServer& Make(ControlServer::Executor execute = Echo) {
        sut.emplace(path, events, std::move(execute));
        return *sut;
    }
    std::string ErrorOf(const std::string& wanted) {
        try {
            const ControlServer server(wanted, events, Echo);
        } catch (const ControlSocketError& error) {
            return error.what();
        }
        return "no error";
    }

    const TestSupport::TemporaryFolder folder;
    const std::string path = (folder.GetPath() / "control").string();
    HostEvents events;
    std::optional<ControlServer> sut;
};

TEST_F(ControlServerTest, EachLineGetsOneAnswerInOrder) {
    Make();
    Client client(path);
    client.Send("{\"a\":1}\n[2]\n");
    EXPECT_EQ(client.Receive(), R"({"got":{"a":1},"ok":true})");
    EXPECT_EQ(client.Receive(), R"({"got":[2],"ok":true})");
}

TEST_F(ControlServerTest, ALineThatIsNoJsonIsRefusedAndTheConnectionStays) {
    Make();
    Client client(path);
    EXPECT_EQ(client.Ask("{"), R"({"error":"this is no JSON","ok":false})");
    EXPECT_EQ(client.Ask(""), R"({"error":"this is no JSON","ok":false})");
    EXPECT_EQ(client.Ask("\xFF\x01"), R"({"error":"this is no JSON","ok":false})");
    EXPECT_EQ(client.Ask("[["), R"({"error":"this is no JSON","ok":false})");
    EXPECT_EQ(client.Ask(std::string("{}\0{}", 5)), R"({"error":"this is no JSON","ok":false})");
    EXPECT_EQ(client.Ask(R"({"command":3})"), R"({"got":{"command":3},"ok":true})");
}

TEST_F(ControlServerTest, ARequestWithTheSameMemberTwiceIsRefusedAndTheConnectionStays) {
    Make();
    Client client(path);
    EXPECT_EQ(client.Ask(R"({"command":"status","command":"exit"})"),
              R"({"error":"\"command\" stands twice in one object","ok":false})");
    EXPECT_EQ(client.Ask(R"([{"a":{"b":1},"c":[{"b":1,"b":1}]}])"),
              R"({"error":"\"b\" stands twice in one object","ok":false})");
    EXPECT_EQ(client.Ask(R"([{"b":{"b":1},"c":[{"b":1},{"b":1}]}])"),
              R"({"got":[{"b":{"b":1},"c":[{"b":1},{"b":1}]}],"ok":true})");
}

TEST_F(ControlServerTest, ARequestThatIsNestedTooDeepIsRefusedAndTheConnectionStays) {
    constexpr std::size_t Deepest = 16;
    constexpr std::size_t Deep = 30'000;
    const auto nest = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    Make();
    Client client(path);
    EXPECT_EQ(client.Ask(nest(Deepest)), R"({"got":)" + nest(Deepest) + R"(,"ok":true})");
    const std::string refusal = R"({"error":"a request is nested 16 levels deep at most","ok":false})";
    EXPECT_EQ(client.Ask(nest(Deepest + 1)), refusal);
    EXPECT_EQ(client.Ask(nest(Deep)), refusal);
}

TEST_F(ControlServerTest, ALineThatIsTooLongEndsTheConnection) {
    Make();
    Client client(path);
    client.Send(std::string(ControlConnection::LongestLine, 'x'));
    EXPECT_EQ(client.Receive(), R"({"error":"a request has 65536 bytes at most","ok":false})");
    EXPECT_EQ(client.Receive(), "closed");
}

TEST_F(ControlServerTest, ASlowRequestHoldsUpNobodyElse) {
    boost::promise<void> release;
    Make([released = release.get_future().share()](const json& request) {
        if (request == "slow") {
            released.wait();
        }
        return Echo(request);
    });
    Client slow(path);
    slow.Send("\"slow\"\n");
    Client quick(path);
    EXPECT_EQ(quick.Ask("1"), R"({"got":1,"ok":true})");
    release.set_value();
    EXPECT_EQ(slow.Receive(), R"({"got":"slow","ok":true})");
}

TEST_F(ControlServerTest, ManySlowRequestsHoldUpNobodyElse) {
    constexpr std::size_t Count = 40;
    std::atomic<std::size_t> waiting{0};
    boost::promise<void> release;
    Make([&waiting, released = release.get_future().share()](const json& request) {
        if (request == "slow") {
            ++waiting;
            released.wait();
        }
        return Echo(request);
    });
    std::vector<std::unique_ptr<Client>> slow;
    for (std::size_t i = 0; i < Count; ++i) {
        slow.push_back(std::make_unique<Client>(path));
        slow.back()->Send("\"slow\"\n");
    }
    EXPECT_EQ(Client(path).Ask("1"), R"({"got":1,"ok":true})");
    EXPECT_EQ(Client(path).Ask("2"), R"({"got":2,"ok":true})");
    release.set_value();
    for (const auto& client : slow) {
        EXPECT_EQ(client->Receive(), R"({"got":"slow","ok":true})");
    }
    EXPECT_EQ(waiting, Count);
}

TEST_F(ControlServerTest, AClientThatLeavesDuringItsRequestEndsNothingElse) {
    boost::promise<void> entered;
    const auto isEntered = entered.get_future().share();
    boost::promise<void> release;
    Make([&entered, released = release.get_future().share()](const json& request) {
        if (request == "slow") {
            entered.set_value();
            released.wait();
        }
        return Echo(request);
    });
    {
        Client slow(path);
        slow.Send("\"slow\"\n");
        isEntered.wait();
    }
    EXPECT_EQ(Client(path).Ask("1"), R"({"got":1,"ok":true})");
    release.set_value();
    EXPECT_EQ(Client(path).Ask("2"), R"({"got":2,"ok":true})");
}

TEST_F(ControlServerTest, TheEndOfTheServerWaitsForTheRequestsThatAreExecuted) {
    boost::promise<void> entered;
    const auto isEntered = entered.get_future().share();
    std::atomic<bool> isEnding{false};
    std::atomic<bool> isExecuted{false};
    Make([&](const json& request) {
        entered.set_value();
        while (!isEnding) {
            boost::this_thread::yield();
        }
        isExecuted = true;
        return Echo(request);
    });
    Client client(path);
    client.Send("1\n");
    isEntered.wait();
    boost::thread ending([&isEnding, this] {
        while (boost::filesystem::exists(path)) {
            boost::this_thread::yield();
        }
        isEnding = true;
    });
    sut.reset();
    EXPECT_TRUE(isExecuted);
    EXPECT_EQ(client.Receive(), "closed");
    ending.join();
}

TEST_F(ControlServerTest, ARequestThatGetsNoThreadIsRefusedAndTheConnectionStays) {
    Make();
    Client client(path);
    EXPECT_EQ(client.Ask("1"), R"({"got":1,"ok":true})");
    {
        const TestSupport::ThreadShortage shortage;
        EXPECT_EQ(
            client.Ask("2"),
            R"({"error":"no thread can be started for the request: Resource temporarily unavailable","ok":false})");
    }
    EXPECT_EQ(client.Ask("3"), R"({"got":3,"ok":true})");
}

TEST_F(ControlServerTest, WithoutAThreadNothingIsLeftBehind) {
    {
        const TestSupport::ThreadShortage shortage;
        EXPECT_THROW(Make(), boost::thread_resource_error);
    }
    EXPECT_FALSE(boost::filesystem::exists(path));
}

TEST_F(ControlServerTest, AMonitorGetsEventsAndStillAnswers) {
    Make();
    Client client(path);
    client.Ask(R"({"command":"monitor"})");
    events.Publish(MessageEvent{true, "something"});
    const auto event = json::parse(client.Receive());
    EXPECT_EQ(event["event"], "message");
    EXPECT_EQ(event["text"], "something");
    EXPECT_EQ(client.Ask("1"), R"({"got":1,"ok":true})");
}

TEST_F(ControlServerTest, AClientThatLeavesEndsItsMonitor) {
    Make();
    {
        Client client(path);
        client.Ask(R"({"command":"monitor"})");
    }
    events.Publish(MessageEvent{});
    events.Publish(MessageEvent{});
    Client client(path);
    EXPECT_EQ(client.Ask("1"), R"({"got":1,"ok":true})");
}

TEST_F(ControlServerTest, AMonitorThatIsNotReadLosesEventsAndIsTold) {
    Make();
    Client client(path);
    client.Ask(R"({"command":"monitor"})");
    constexpr int Count = 300;
    for (int i = 0; i < Count; ++i) {
        events.Publish(MessageEvent{false, std::string(10'000, 'x')});
    }
    Client(path).Ask("1");  // all events are with the connection by now
    int received = 0;
    int lost = 0;
    while (received + lost < Count) {
        const json message = json::parse(client.Receive());
        message["event"] == "lost" ? lost += message["count"].get<int>() : ++received;
    }
    EXPECT_EQ(received + lost, Count);
    EXPECT_GT(received, 0);
    EXPECT_GT(lost, 0);
}

TEST_F(ControlServerTest, AClientThatDoesNotReadItsAnswersIsClosedAndTheLogSaysSo) {
    constexpr std::size_t Count = 200;
    EventRecorder recorder(events);
    std::atomic<std::size_t> executed{0};
    Make([&executed](const json&) {
        ++executed;
        return LongAnswer;
    });
    Client client(path);
    for (std::size_t i = 0; i < Count; ++i) {
        client.Send("1\n");
    }
    const auto messages = recorder.WaitFor<MessageEvent>(1);
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].text, "control socket: a client does not read its answers; its connection is closed");
    EXPECT_TRUE(messages[0].isProblem);
    while (client.Receive() != "closed") {
    }
    EXPECT_LT(executed, Count);
}

TEST_F(ControlServerTest, AClientThatReadsLateGetsEveryAnswer) {
    constexpr int Count = 10;
    Make([](const json&) { return LongAnswer; });
    Client client(path);
    for (int i = 0; i < Count; ++i) {
        client.Send("1\n");
    }
    Client(path).Ask("1");
    for (int i = 0; i < Count; ++i) {
        EXPECT_EQ(client.Receive(), LongAnswer.dump());
    }
}

TEST_F(ControlServerTest, MoreThan64ConnectionsAreTooMany) {
    Make();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<Client>(path));
        EXPECT_EQ(clients.back()->Ask("1"), R"({"got":1,"ok":true})");
    }
    Client oneMore(path);
    EXPECT_EQ(oneMore.Receive(), R"({"error":"too many connections","ok":false})");
    EXPECT_EQ(oneMore.Receive(), "closed");
}

TEST_F(ControlServerTest, TheEndOfTheServerClosesItsConnectionsAndRemovesTheSocket) {
    Make();
    Client client(path);
    client.Ask("1");
    sut.reset();
    EXPECT_EQ(client.Receive(), "closed");
    EXPECT_FALSE(boost::filesystem::exists(path));
}

TEST_F(ControlServerTest, TheSocketIsForItsUserOnly) {
    Make();
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 077U, 0U);
}

TEST_F(ControlServerTest, AStaleSocketIsReplaced) {
    {
        boost::asio::io_context io;
        const boost::asio::local::stream_protocol::acceptor left(io, path);
    }
    ASSERT_TRUE(boost::filesystem::exists(path));
    Make();
    EXPECT_EQ(Client(path).Ask("1"), R"({"got":1,"ok":true})");
}

TEST_F(ControlServerTest, ASocketInUseIsLeftAlone) {
    Make();
    EXPECT_EQ(ErrorOf(path), path + ": the control socket is in use; expected one path for each host");
    EXPECT_EQ(Client(path).Ask("1"), R"({"got":1,"ok":true})");
}

TEST_F(ControlServerTest, AnotherFileIsLeftAlone) {
    boost::filesystem::ofstream(path) << "mine";
    EXPECT_EQ(ErrorOf(path), path + ": this is no socket; expected a path for the control socket");
    EXPECT_TRUE(boost::filesystem::exists(path));
}

TEST_F(ControlServerTest, APathThatIsTooLongIsRefused) {
    const std::string longPath = "/" + std::string(107, 'x');
    EXPECT_EQ(ErrorOf(longPath), longPath + ": the path of the control socket has 108 bytes; expected 1 to 107");
    EXPECT_EQ(ErrorOf(""), ": the path of the control socket has 0 bytes; expected 1 to 107");
}

TEST_F(ControlServerTest, AFolderThatIsNotThereIsNamed) {
    EXPECT_EQ(ErrorOf("/nowhere/control"),
              "/nowhere/control: the control socket cannot be made: No such file or directory");
}

}  // namespace
}  // namespace LocalDevice

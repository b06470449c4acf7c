#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/thread/future.hpp>
#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "ClientPointer.h"
#include "DescriptorLimit.h"
#include "FakeDeviceStack.h"
#include "Ostra/IDeviceStackClient.h"
#include "RecordingHandlers.h"
#include "ScopedEnvironment.h"
#include "Zandrel/DscAsyncRequestMessenger.h"
#include "Zandrel/RequestMessengerDeviceStack.h"

namespace {

using Ostra::CreateDeviceStackClient;
using Ostra::ReleaseDeviceStackClient;
using TestSupport::DescriptorLimit;
using TestSupport::FakeDeviceStack;
using TestSupport::LogLine;
using TestSupport::ScopedEnvironment;
using Manner = FakeDeviceStack::Manner;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;

/// A bound port of the loopback interface on which nobody listens.
class DeafPort {
public:
    DeafPort() : socket_(context_, boost::asio::ip::tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0)) {}
    std::string GetAddress() const { return boost::lexical_cast<std::string>(socket_.local_endpoint()); }

private:
    boost::asio::io_context context_;
    boost::asio::ip::tcp::socket socket_;
};

/// All of this process, with the one that lists them.
std::set<int> GetDescriptors() {
    std::set<int> descriptors;
    for (const auto& entry : boost::filesystem::directory_iterator("/proc/self/fd")) {
        descriptors.insert(std::stoi(entry.path().filename().string()));
    }
    return descriptors;
}

/// The descriptor of this process that is connected to `address`; -1 where there is none.
int FindSocketTo(const std::string& address) {
    for (const int descriptor : GetDescriptors()) {
        sockaddr_in peer{};
        socklen_t size = sizeof(peer);
        if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 && peer.sin_family == AF_INET &&
            "127.0.0.1:" + std::to_string(ntohs(peer.sin_port)) == address) {
            return descriptor;
        }
    }
    return -1;
}

class ClientFactory : public testing::Test {
protected:
    TestSupport::GlobalLogCapture log;
};

TEST_F(ClientFactory, ConnectsToTheDeviceStackOfTheEnvironment) {
    FakeDeviceStack stack;
    const ScopedEnvironment address("ORN_DEVICE_STACK", stack.GetAddress().c_str());
    const ClientPointer sut(CreateDeviceStackClient());
    ASSERT_NE(sut, nullptr);
    EXPECT_TRUE(sut->Send(R"({"command":"X"})"));
    EXPECT_EQ(stack.NextFrame(), R"({"command":"X"})");
}

TEST_F(ClientFactory, ConnectsToANamedHost) {
    FakeDeviceStack stack;
    const std::string address = stack.GetAddress();
    const ClientPointer sut(CreateDeviceStackClient("localhost" + address.substr(address.find(':'))));
    EXPECT_NE(sut, nullptr);
}

TEST_F(ClientFactory, WithoutUsableEnvironmentThereIsNoClient) {
    for (const char* const value :
         {static_cast<const char*>(nullptr), "", "localhost", ":80", "a:0", "a:65536", "a b"}) {
        const ScopedEnvironment address("ORN_DEVICE_STACK", value);
        EXPECT_EQ(CreateDeviceStackClient(), nullptr);
        const std::string shown = value != nullptr ? value : "";
        EXPECT_EQ(log.TakeLines(),
                  (std::vector<LogLine>{{"ERROR", "ORN_DEVICE_STACK is not HOST:PORT: '" + shown + "'"}}));
    }
}

TEST_F(ClientFactory, WithAMalformedAddressThereIsNoClient) {
    EXPECT_EQ(CreateDeviceStackClient("host:0"), nullptr);
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"ERROR", "Device stack address is not HOST or HOST:PORT: 'host:0'"}}));
}

TEST_F(ClientFactory, IsRefusedAtOnceWhereNobodyListens) {
    const DeafPort port;
    const auto start = Clock::now();
    EXPECT_EQ(CreateDeviceStackClient(port.GetAddress()), nullptr);
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(900));
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{{"DEBUG", "No device stack at " + port.GetAddress() + ": Connection refused"}}));
}

TEST_F(ClientFactory, TellsWhatItLacks) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers look at memory through a pipe, for which there is no descriptor left";
#endif
    const DeafPort port;
    const std::string refused = "No device stack at " + port.GetAddress() + ": Connection refused";
    const LogLine noSocket{"WARN", "No device stack at " + port.GetAddress() + ": Too many open files"};
    std::vector<LogLine> lines;
    for (rlim_t spare = 0; lines.empty() || lines.back().text != refused; ++spare) {
        ASSERT_LT(spare, 100U);
        const DescriptorLimit limit(spare);
        EXPECT_EQ(CreateDeviceStackClient(port.GetAddress()), nullptr);
        const auto told = log.TakeLines();
        ASSERT_EQ(told.size(), 1U) << spare;
        lines.push_back(told.front());
    }
    EXPECT_TRUE(std::count(lines.begin(), lines.end(), noSocket) > 0);
    lines.pop_back();
    for (const LogLine& line : lines) {
        EXPECT_NE(line.level, "DEBUG");
        EXPECT_THAT(line.text, testing::HasSubstr("Too many open files"));
    }
}

TEST_F(ClientFactory, GivesUpASilentPeerAfterASecond) {
    FakeDeviceStack stack(Manner::NeverShakesHands);
    const auto start = Clock::now();
    EXPECT_EQ(CreateDeviceStackClient(stack.GetAddress()), nullptr);
    const auto waited = Clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(900));
    EXPECT_LT(waited, std::chrono::milliseconds(3000));
}

TEST_F(ClientFactory, GivesUpAPeerThatHangsUp) {
    FakeDeviceStack stack(Manner::HangsUp);
    EXPECT_EQ(CreateDeviceStackClient(stack.GetAddress()), nullptr);
}

TEST_F(ClientFactory, ReleasesNothing) {
    ReleaseDeviceStackClient(nullptr);
}

TEST_F(ClientFactory, LeavesNoDescriptorBehind) {
    const DeafPort port;
    const auto before = GetDescriptors().size();
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(CreateDeviceStackClient(port.GetAddress()), nullptr);
        FakeDeviceStack stack;
        EXPECT_NE(ClientPointer(CreateDeviceStackClient(stack.GetAddress())), nullptr);
    }
    EXPECT_EQ(GetDescriptors().size(), before);
}

class ConnectedClient : public testing::Test {
protected:
    ConnectedClient() {
        sut->SetEventHandler(&events);
        sut->SetResponseHandler(&answers);
    }

    TestSupport::GlobalLogCapture log;
    FakeDeviceStack stack;
    RecordingEventHandler events;
    RecordingResponseHandler answers;
    ClientPointer sut{CreateDeviceStackClient(stack.GetAddress())};
};

TEST_F(ConnectedClient, SendsRequestsAsTheyAreAndInOrder) {
    const std::string binary("{\"\\\x01\xFF\0\"}", 8);
    EXPECT_TRUE(sut->Send(binary));
    for (int i = 0; i < 100; ++i) {
        EXPECT_TRUE(sut->Send(std::to_string(i)));
    }
    EXPECT_EQ(stack.NextFrame(), binary);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(stack.NextFrame(), std::to_string(i));
    }
}

TEST_F(ConnectedClient, HasASocketThatNoProgramInheritsAndThatDoesNotDelay) {
    const int descriptor = FindSocketTo(stack.GetAddress());
    ASSERT_GE(descriptor, 0);
    EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    int noDelay = 0;
    socklen_t size = sizeof(noDelay);
    ASSERT_EQ(::getsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &noDelay, &size), 0);
    EXPECT_NE(noDelay, 0);
}

TEST_F(ConnectedClient, SendsLongRequestsWhole) {
    const std::string request = R"({"command":")" + std::string(3000000, 'x') + "\"}";
    EXPECT_TRUE(sut->Send(request));
    EXPECT_EQ(stack.NextFrame(), request);
}

TEST_F(ConnectedClient, HandsOutAnswers) {
    stack.SendFrame(R"({"request":7,"response":{"a":1}})");
    stack.SendFrame(R"({"request":8,"error":"no such point"})");
    EXPECT_EQ(answers.record.Await(2),
              (Lines{R"(7 accepted {"request":7,"response":{"a":1}})", "8 refused no such point"}));
}

TEST_F(ConnectedClient, HandsOutEventsInOrder) {
    stack.SendFrame(R"({"event":"valueChanged","id":65536,"value":"3.1:42"})");
    stack.SendFrame(R"({"event":"valueChanged","id":1,"value":"5.1:ÿ","encoding":"latin-1"})");
    stack.SendFrame(R"({"event":"configurationChanged","id":12})");
    stack.SendFrame(R"({"event":"emitted","eventType":"configurationLoaded","sender":"A"})");
    EXPECT_EQ(events.record.Await(4), (Lines{"valueChanged 65536 3.1:42", "valueChanged 1 5.1:\xFF", "configuration 12",
                                             "emitted configurationLoaded"}));
}

TEST_F(ConnectedClient, HasAThreadForAnswersAndOneForEvents) {
    for (int i = 0; i < 3; ++i) {
        stack.SendFrame(R"({"request":7,"response":{}})");
        stack.SendFrame(R"({"event":"configurationChanged","id":12})");
    }
    answers.record.Await(3);
    events.record.Await(3);
    const auto answerThreads = answers.record.GetThreads();
    const auto eventThreads = events.record.GetThreads();
    EXPECT_EQ(answerThreads.size(), 1U);
    EXPECT_EQ(eventThreads.size(), 1U);
    EXPECT_NE(answerThreads, eventThreads);
    EXPECT_EQ(answerThreads.count(boost::this_thread::get_id()), 0U);
    EXPECT_EQ(eventThreads.count(boost::this_thread::get_id()), 0U);
}

TEST_F(ConnectedClient, EventHandlerMayWaitForAnAnswer) {
    struct AskingHandler : RecordingEventHandler {
        explicit AskingHandler(Zandrel::DscAsyncRequestMessenger& road) : messenger(&road) {}
        bool OnConfigurationChanged(unsigned long /*id*/) override {
            record.Add(messenger->GetValue(1, true).ReadReply());
            const auto docket = messenger->GetValue(1, true);
            record.Add(docket.IsReplyValid() ? docket.ReadReply() : "failed");
            return true;
        }
        Zandrel::DscAsyncRequestMessenger* messenger;
    };
    stack.SetReply([](const std::string& frame) {
        const auto end = frame.find(',');
        return frame.substr(0, end) + R"(,"response":{"value":"3.1:42"}})";
    });
    Zandrel::RemoteRequestMessengerDeviceStack road(*sut);
    Zandrel::DscAsyncRequestMessenger messenger(road, boost::posix_time::seconds(20), 3, log.GetLogger());
    messenger.SetAsResponseHandler();
    AskingHandler handler(messenger);
    sut->SetEventHandler(&handler);
    stack.SendFrame(R"({"event":"configurationChanged","id":12})");
    EXPECT_EQ(handler.record.Await(2).back(), "3.1:42");
    sut->SetEventHandler(nullptr);
}

TEST_F(ConnectedClient, LogsFramesThatItDoesNotUnderstand) {
    stack.SendFrame("nonsense \"\x01\xFF");
    stack.SendFrame(R"({"event":")" + std::string(500, 'x') + "\"}");
    stack.SendFrame(R"({"error":"not JSON"})");
    stack.SendFrame(R"({"event":"configurationChanged","id":12})");
    EXPECT_EQ(events.record.Await(1), Lines{"configuration 12"});
    EXPECT_EQ(log.TakeLines(),
              (std::vector<LogLine>{
                  {"WARN", R"(Frame of device stack not understood: "nonsense \"\u0001\ufffd")"},
                  {"WARN", R"(Frame of device stack not understood: "{\"event\":\")" + std::string(190, 'x') + "\""},
                  {"WARN", "The device stack did not understand a request: \"not JSON\""}}));
}

TEST_F(ConnectedClient, AcceptsFramesOf64MiB) {
    constexpr std::size_t LongestFrame = std::size_t{64} << 20U;
    stack.SendFrame(std::string(LongestFrame, '?'));
    stack.SendFrame(R"({"event":"configurationChanged","id":12})");
    EXPECT_EQ(events.record.Await(1), Lines{"configuration 12"});
}

TEST_F(ConnectedClient, ReleaseSendsWhatIsQueuedAndClosesProperly) {
    constexpr int Count = 1000;
    for (int i = 0; i < Count; ++i) {
        EXPECT_TRUE(sut->Send(std::to_string(i)));
    }
    sut.reset();
    for (int i = 0; i < Count; ++i) {
        ASSERT_EQ(stack.NextFrame(), std::to_string(i));
    }
    EXPECT_TRUE(stack.AwaitProperClose());
    EXPECT_EQ(log.TakeLines(), std::vector<LogLine>{});
}

TEST_F(ConnectedClient, AfterReleaseNoHandlerIsCalled) {
    for (int i = 0; i < 1000; ++i) {
        stack.SendFrame(R"({"event":"configurationChanged","id":12})");
        stack.SendFrame(R"({"request":7,"response":{}})");
    }
    events.record.Await(1);
    sut.reset();
    const auto told = events.record.Await(0).size();
    stack.AwaitProperClose();
    EXPECT_EQ(events.record.Await(0).size(), told);
}

TEST(Client, ReleaseDoesNotWaitForAPeerThatDoesNotRead) {
    const TestSupport::GlobalLogCapture log;
    FakeDeviceStack stack(Manner::NeverReads);
    ClientPointer sut(CreateDeviceStackClient(stack.GetAddress()));
    ASSERT_NE(sut, nullptr);
    for (int i = 0; i < 32; ++i) {
        EXPECT_TRUE(sut->Send(std::string(1 << 20, 'x')));
    }
    const auto start = Clock::now();
    sut.reset();
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(1500));
}

}  // namespace

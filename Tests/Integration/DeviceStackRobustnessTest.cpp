#include <gmock/gmock.h>
#include <sys/resource.h>

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "DeviceStackFixture.h"
#include "RawConnection.h"

namespace {

using IntegrationTest::BinaryOpcode;
using IntegrationTest::DeviceStackFixture;
using IntegrationTest::RawConnection;
using IntegrationTest::TextOpcode;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;
using TestSupport::WebSocketClient;

constexpr std::size_t MessageLimit = std::size_t{16} << 20U;
constexpr const char* TooLarge = "message too large: the limit is 16777216 bytes";

class DeviceStackRobustnessTest : public DeviceStackFixture {
protected:
    /// The error text of the answer to one frame, which has nothing else.
    static std::string ErrorTo(WebSocketClient& client, const std::string& frame) {
        EXPECT_TRUE(client.Send(frame, true));
        const json answer = json::parse(client.Receive().value_or("{}"));
        EXPECT_EQ(answer.size(), 1U) << answer;
        return answer.value("error", "");
    }
};

TEST_F(DeviceStackRobustnessTest, SurvivesRandomBytes) {
    std::mt19937 random(1);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int round = 0; round < 200; ++round) {
        std::string bytes(static_cast<std::size_t>(round) * 3, ' ');
        for (char& each : bytes) {
            each = static_cast<char>(byte(random));
        }
        RawConnection client(GetPort());
        client.Send(bytes);
    }
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackRobustnessTest, AnswersRandomBytesWithAnError) {
    RawConnection client(GetPort());
    client.Send("\x16\x03\x01\x02\x00\x01\x00\x01\xFC");
    EXPECT_THAT(client.ReceiveToEnd(), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
}

TEST_F(DeviceStackRobustnessTest, SurvivesRandomBytesOnAnOpenWebSocket) {
    std::mt19937 random(2);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int round = 0; round < 200; ++round) {
        RawConnection client(GetPort());
        ASSERT_TRUE(client.Upgrade());
        std::string bytes(50, ' ');
        for (char& each : bytes) {
            each = static_cast<char>(byte(random));
        }
        client.Send(bytes);
    }
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackRobustnessTest, SurvivesFramesOfRandomBytes) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> byte(0, 255);
    WebSocketClient client(GetPort());
    for (int round = 0; round < 300; ++round) {
        std::string frame(static_cast<std::size_t>(round), ' ');
        for (char& each : frame) {
            each = static_cast<char>(byte(random));
        }
        EXPECT_NE(ErrorTo(client, frame), "");
    }
}

TEST_F(DeviceStackRobustnessTest, SurvivesAClientThatVanishesAtAnyPoint) {
    const std::size_t before = CountDescriptors();
    Configure();
    const std::string all =
        RawConnection::GetUpgradeRequest() +
        RawConnection::MakeFrame(TextOpcode,
                                 R"({"command":"RegisterApplication","name":"n","type":"t","domain":"d"})") +
        RawConnection::MakeFrame(TextOpcode, R"({"request":1,"command":"SetValue","id":101,"value":"x"})");
    const std::size_t handshake = RawConnection::GetUpgradeRequest().size();
    for (std::size_t cut = 0; cut <= all.size(); ++cut) {
        RawConnection client(GetPort());
        client.Send(all.substr(0, std::min(cut, handshake)));
        if (cut > handshake) {
            client.ReceiveUntil("\r\n\r\n");
            client.Send(all.substr(handshake, cut - handshake));
        }
        if (cut % 2 == 0) {
            client.ResetAtEnd();
        }
    }
    EXPECT_TRUE(IsServing());
    for (int tries = 0; CountDescriptors() > before && tries < 1000; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(CountDescriptors(), before);
}

TEST_F(DeviceStackRobustnessTest, SurvivesAClientThatEndsItsOutputFirst) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    client.Send(RawConnection::MakeFrame(TextOpcode, R"({"request":1,"command":"GetDeviceConfig"})"));
    client.EndOutput();
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackRobustnessTest, AnswersAMessageOfAHundredMegabytesAndGoesOn) {
    WebSocketClient client(GetPort());
    const std::string huge(100000000, ' ');
    EXPECT_EQ(ErrorTo(client, huge), TooLarge);
    EXPECT_TRUE(Ask(client, R"("command":"GetDeviceConfig")").contains("response"));

    const std::string request = R"({"request":7,"command":"SetValue","id":100,"value":")";
    ASSERT_TRUE(client.Send(request + huge.substr(0, MessageLimit) + "\"}", true));
    EXPECT_EQ(json::parse(client.Receive().value_or("{}")), (json{{"request", 7}, {"error", TooLarge}}));
    EXPECT_TRUE(Ask(client, R"("command":"GetDeviceConfig")").contains("response"));
}

TEST_F(DeviceStackRobustnessTest, RefusesTheFirstByteAboveTheLimit) {
    WebSocketClient client(GetPort());
    EXPECT_EQ(ErrorTo(client, '"' + std::string(MessageLimit - 1, 'x')), "not JSON: the string at byte 0 does not end");
    EXPECT_EQ(ErrorTo(client, '"' + std::string(MessageLimit, 'x')), TooLarge);
    EXPECT_EQ(ErrorTo(client, "{}"), "command: is missing; expected a string");
}

TEST_F(DeviceStackRobustnessTest, SurvivesAFrameThatAnnouncesMoreThanAnybodyCanSend) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    client.Send(RawConnection::MakeFrameHeader(BinaryOpcode, std::uint64_t{1} << 62U) + std::string(100000, 'x'));
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackRobustnessTest, RefusesDeepNesting) {
    WebSocketClient client(GetPort());
    EXPECT_EQ(ErrorTo(client, std::string(60000, '[') + std::string(60000, ']')), "nested deeper than 64, at byte 64");
    std::string objects;
    for (int i = 0; i < 60000; ++i) {
        objects += R"({"a":)";
    }
    EXPECT_THAT(ErrorTo(client, objects), StartsWith("nested deeper than 64"));
    const std::string lists(60000, '[');
    const json answer = Ask(client, R"("command":"SetConfiguration","configuration":)" + lists);
    EXPECT_THAT(answer.value("error", ""), StartsWith("nested deeper than 64"));
}

TEST_F(DeviceStackRobustnessTest, AnswersEveryKindOfWrongRequest) {
    WebSocketClient client(GetPort());
    EXPECT_THAT(ErrorTo(client, ""), StartsWith("not JSON: "));
    EXPECT_THAT(ErrorTo(client, "{"), StartsWith("not JSON: "));
    EXPECT_EQ(ErrorTo(client, "7"), "expected an object");
    EXPECT_THAT(ErrorTo(client, R"({"command":"Explode"})"), HasSubstr("expected one of"));
    EXPECT_EQ(Ask(client, R"("command":"SetValue","id":99,"value":"x")")["error"], "id: no data point has the id 99");
    EXPECT_EQ(Ask(client, R"("command":"SetValue","id":99)")["error"], "id: no data point has the id 99");
    EXPECT_EQ(Ask(client, R"("command":"RegisterApplication","name":7)")["error"], "name: expected a string");
}

TEST_F(DeviceStackRobustnessTest, EndsATextFrameThatIsNotUtf8AsTheStandardSays) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    client.Send(RawConnection::MakeFrame(TextOpcode, "{\"\xFC\":1}"));
    EXPECT_TRUE(client.WaitForEnd());
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackRobustnessTest, ServesAThousandConnections) {
    // Every client takes a descriptor here as well.
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);

    Configure();
    std::vector<std::unique_ptr<RawConnection>> clients;
    for (int i = 0; i < 1000; ++i) {
        clients.push_back(std::make_unique<RawConnection>(GetPort()));
        ASSERT_TRUE(clients.back()->Upgrade()) << i;
        clients.back()->Send(RawConnection::MakeFrame(
            TextOpcode, R"({"request":1,"command":"RegisterApplication","name":"n","type":"t","domain":"d"})"));
    }
    for (const auto& client : clients) {
        client->ReceiveUntil("{}}");
    }
    WebSocketClient writer(GetPort());
    Ask(writer, R"("command":"SetValue","id":100,"value":"hello")");
    for (const auto& client : clients) {
        ASSERT_THAT(client->ReceiveUntil("hello"), HasSubstr(R"({"event":"valueChanged","id":100,"value":"hello"})"));
    }
}

TEST_F(DeviceStackRobustnessTest, DropsAClientThatDoesNotReadAndServesTheOthers) {
    Configure();
    RawConnection deaf(GetPort());
    ASSERT_TRUE(deaf.Upgrade());
    deaf.Send(RawConnection::MakeFrame(
        TextOpcode, R"({"request":1,"command":"RegisterApplication","name":"deaf","type":"t","domain":"d"})"));
    deaf.ReceiveUntil("{}}");
    WebSocketClient reader(GetPort());
    Register(reader, "reader");
    WebSocketClient writer(GetPort());
    // Its queue and the buffers of both sockets fill up.
    const std::string request = R"({"command":"SetValue","id":101,"value":")" + std::string(1000000, 'x') + "\"}";
    for (int i = 0; i < 64 && ReadLog().find("Dropped") == std::string::npos; ++i) {
        ASSERT_TRUE(writer.Send(request));
        ASSERT_TRUE(reader.Receive());
    }
    EXPECT_THAT(ReadLog(), HasSubstr("WARN  Dropped a client that does not read: "));
    EXPECT_TRUE(deaf.WaitForEnd());
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackRobustnessTest, SurvivesRunningOutOfDescriptors) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers look at memory through a pipe, for which the service has no descriptor left";
#endif
    rlimit limit{};
    ASSERT_EQ(prlimit(sut.GetPid(), RLIMIT_NOFILE, nullptr, &limit), 0);
    const rlimit few{static_cast<rlim_t>(CountDescriptors() + 5), limit.rlim_max};
    ASSERT_EQ(prlimit(sut.GetPid(), RLIMIT_NOFILE, &few, nullptr), 0);
    std::vector<std::unique_ptr<RawConnection>> clients(50);
    for (auto& client : clients) {
        client = std::make_unique<RawConnection>(GetPort());
    }
    for (int tries = 0; ReadLog().find("Cannot accept a client") == std::string::npos && tries < 1000; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_THAT(ReadLog(), HasSubstr("WARN  Cannot accept a client: Too many open files"));
    clients.clear();
    EXPECT_TRUE(IsServing());
}

}  // namespace

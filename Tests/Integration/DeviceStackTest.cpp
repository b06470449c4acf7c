#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ClosedStreams.h"
#include "DeviceStackFixture.h"
#include "RawConnection.h"

namespace {

using IntegrationTest::DeviceStackFixture;
using IntegrationTest::RawConnection;
using nlohmann::json;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;
using testing::SizeIs;
using testing::StartsWith;
using TestSupport::ChildProcess;
using TestSupport::ExitStatus;
using TestSupport::WebSocketClient;

class DeviceStackTest : public DeviceStackFixture {};

TEST_F(DeviceStackTest, SaysWhereItListensAndNothingElse) {
    EXPECT_THAT(sut.GetOutputLines(), ElementsAre("device stack listening on 127.0.0.1:" + std::to_string(GetPort())));
    EXPECT_THAT(sut.GetErrorLines(), IsEmpty());
}

TEST_F(DeviceStackTest, TellsTheSerialNumbersOfItsOptions) {
    WebSocketClient client(GetPort());
    EXPECT_EQ(Ask(client, R"("command":"GetDeviceConfig")")["response"],
              json::parse(R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"00ab00000001",)"
                          R"("KnxSerialNumber2":"00AB00000002"}}})"));
}

TEST_F(DeviceStackTest, BringsAValueToAllRegisteredClients) {
    Configure();
    WebSocketClient writer(GetPort());
    WebSocketClient reader(GetPort());
    WebSocketClient plainReader(GetPort());
    Register(writer, "writer");
    Register(reader, "reader");
    Ask(plainReader, R"("command":"RegisterApplication","name":"plain","type":"t","domain":"d")");

    std::vector<json> events;
    EXPECT_TRUE(Ask(writer, R"("command":"SetValue","id":100,"value":"3.1:42")", &events).contains("response"));
    const json event{{"event", "valueChanged"}, {"id", 100}, {"value", "3.1:42"}};
    EXPECT_THAT(events, ElementsAre(event));
    EXPECT_EQ(json::parse(reader.Receive().value_or("null")), event);
    EXPECT_EQ(json::parse(plainReader.Receive().value_or("null"))["value"], "42");
    EXPECT_EQ(Ask(plainReader, R"("command":"GetValue","id":100)")["response"], json::parse(R"({"value":"42"})"));
}

TEST_F(DeviceStackTest, TakesTextAndBinaryFramesAlike) {
    WebSocketClient client(GetPort());
    for (const bool isBinary : {false, true}) {
        ASSERT_TRUE(client.Send(R"({"request":7,"command":"EnableNativeFormat"})", isBinary));
        EXPECT_THAT(client.Receive(), Optional(std::string(R"({"request":7,"response":{}})")));
        EXPECT_TRUE(client.GetStream().got_text());
    }
}

TEST_F(DeviceStackTest, TakesADocumentWithRawBytesInABinaryFrame) {
    WebSocketClient client(GetPort());
    Ask(client,
        "\"command\":\"SetConfiguration\",\"configuration\":{\"devices\":[{\"id\":1,\"name\":\"K\xFC"
        "che\\\t\\/\x01\"}]}");
    EXPECT_EQ(Ask(client, R"("command":"GetObjectModel")")["response"]["devices"][0]["name"], u8"K\u00FCche\t/\x01");
}

TEST_F(DeviceStackTest, TakesAMessageInManyFragments) {
    RawConnection client(GetPort());
    ASSERT_TRUE(client.Upgrade());
    const std::string request = R"({"request":7,"command":"EnableNativeFormat"})";
    for (std::size_t i = 0; i < request.size(); ++i) {
        const bool isLast = i + 1 == request.size();
        client.Send(RawConnection::MakeFrame(i == 0 ? IntegrationTest::TextOpcode : 0, request.substr(i, 1), isLast));
    }
    EXPECT_THAT(client.ReceiveUntil("}}"), HasSubstr(R"({"request":7,"response":{}})"));
}

TEST_F(DeviceStackTest, BringsAMessageOfSeveralMegabytesBack) {
    Configure();
    WebSocketClient client(GetPort());
    const std::string text(5000000, 'x');
    EXPECT_TRUE(Ask(client, R"("command":"SetValue","id":100,"value":")" + text + "\"").contains("response"));
    EXPECT_EQ(Ask(client, R"("command":"GetValue","id":100)")["response"]["value"], text);
}

TEST_F(DeviceStackTest, EndsWithCodeZeroOnBothSignals) {
    WebSocketClient client(GetPort());
    ASSERT_TRUE(sut.Signal(SIGTERM));
    EXPECT_EQ(client.Receive(), std::nullopt);
    EXPECT_EQ(client.GetStream().reason().code, boost::beast::websocket::close_code::going_away);
    EXPECT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(0)));

    ChildProcess other(ORN_DEVICESTACK_PROGRAM, {"--port", "0"});
    ASSERT_TRUE(other.WaitForLine("listening"));
    ASSERT_TRUE(other.Signal(SIGINT));
    EXPECT_THAT(other.WaitForExit(), Optional(ExitStatus::Exited(0)));
    EXPECT_THAT(other.GetErrorLines(), IsEmpty());
}

TEST_F(DeviceStackTest, EndsWhileClientsOfAllKindsAreThere) {
    const RawConnection silent(GetPort());
    RawConnection half(GetPort());
    half.Send("GET / HT");
    RawConnection deaf(GetPort());
    ASSERT_TRUE(deaf.Upgrade());
    WebSocketClient polite(GetPort());
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(sut.Signal(SIGTERM));
    polite.Receive();
    EXPECT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(0)));
    // One second is given to the deaf client; the rest is for a loaded machine.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(DeviceStackTest, APortThatIsTakenIsOneClearLine) {
    ChildProcess second(ORN_DEVICESTACK_PROGRAM, {"--port", std::to_string(GetPort())});
    EXPECT_THAT(second.WaitForExit(), Optional(ExitStatus::Exited(1)));
    EXPECT_THAT(second.GetErrorLines(),
                ElementsAre("devicestack: --address 127.0.0.1 --port " + std::to_string(GetPort()) +
                            ": expected an address of this host and a free port (Address already in use)"));
    EXPECT_THAT(second.GetOutputLines(), IsEmpty());
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackTest, AWrongOptionIsOneClearLine) {
    const auto errorsOf = [](const std::vector<std::string>& arguments) {
        ChildProcess other(ORN_DEVICESTACK_PROGRAM, arguments);
        EXPECT_THAT(other.WaitForExit(), Optional(ExitStatus::Exited(2)));
        EXPECT_THAT(other.GetOutputLines(), IsEmpty());
        return other.GetErrorLines();
    };
    EXPECT_THAT(errorsOf({"--port", "x"}), ElementsAre("devicestack: --port x: expected a number from 0 to 65535"));
    EXPECT_THAT(errorsOf({"--serial1", "12"}),
                ElementsAre("devicestack: --serial1 12: expected 12 hexadecimal digits"));
    EXPECT_THAT(errorsOf({"--colour"}), ElementsAre(HasSubstr("--colour")));
    EXPECT_THAT(errorsOf({"--port", "0", "--log", folder.At("missing/log")}),
                ElementsAre("devicestack: --log " + folder.At("missing/log") +
                            ": expected a file that can be written (No such file or directory)"));
}

TEST_F(DeviceStackTest, AFullDiskIsToldAndTheServiceGoesOn) {
    ChildProcess other(ORN_DEVICESTACK_PROGRAM, {"--port", "0", "--log", "/dev/full"});
    ASSERT_TRUE(other.WaitForLine("device stack listening on "));
    other.Signal(SIGTERM);  // logs a second line
    EXPECT_THAT(other.WaitForExit(), Optional(ExitStatus::Exited(0)));
    EXPECT_THAT(other.GetErrorLines(),
                ElementsAre("warning: /dev/full: the log cannot be written; lines of it are lost"));
}

TEST_F(DeviceStackTest, NoDescriptorOfItsOwnTakesThePlaceOfAClosedStream) {
    const std::string log = folder.At("other.log");
    EXPECT_THAT(TestSupport::GetStreamsOfClosedOnes({ORN_DEVICESTACK_PROGRAM, "--port", "0", "--log", log}, log),
                Each("/dev/null"));
}

TEST(ProgramsWithoutThreads, EndWithOneLine) {
    ChildProcess sut(ORN_DEVICESTACK_WITHOUT_THREADS, {"--port", "0"});
    EXPECT_THAT(sut.WaitForExit(), Optional(ExitStatus::Exited(1)));
    EXPECT_THAT(sut.GetErrorLines(), ElementsAre("devicestack-without-threads: no thread can be started: Resource "
                                                 "temporarily unavailable"));
}

TEST_F(DeviceStackTest, LogsWhoRegistersAndWhatIsRefused) {
    WebSocketClient client(GetPort());
    Register(client, "somebody");
    Ask(client, R"("command":"GetValue","id":7)");
    const std::string log = ReadLog();
    EXPECT_THAT(log, HasSubstr("INFO  Listening on 127.0.0.1:"));
    EXPECT_THAT(log, HasSubstr("INFO  Registered \"somebody\" (t, d)"));
    EXPECT_THAT(log, HasSubstr("WARN  Refused a request of \"somebody\": id: no data point has the id 7"));
}

TEST_F(DeviceStackTest, AnswersARequestThatIsNoUpgrade) {
    const auto answerTo = [this](const std::string& request) {
        RawConnection client(GetPort());
        EXPECT_TRUE(client.Send(request));
        return client.ReceiveToEnd();
    };
    const std::string get = answerTo("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(get, StartsWith("HTTP/1.1 426 Upgrade Required\r\n"));
    EXPECT_THAT(get, HasSubstr("The device stack speaks WebSocket only\n"));
    EXPECT_THAT(answerTo("POST /x HTTP/1.1\r\nHost: localhost\r\nContent-Length: 4\r\n\r\nbody"),
                StartsWith("HTTP/1.1 426 "));
    EXPECT_THAT(answerTo("GET / HTTP/1.0\r\n\r\n"), StartsWith("HTTP/1.1 426 "));
    EXPECT_THAT(answerTo("hello, is anybody there?\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(answerTo("GET / HTTP/1.1\r\nHost: localhost\r\nX: " + std::string(100000, 'x') + "\r\n\r\n"),
                StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(answerTo("GET / HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                         "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 8\r\n\r\n"),
                StartsWith("HTTP/1.1 426 "));
    EXPECT_THAT(answerTo(RawConnection::GetUpgradeRequest() + "x"), StartsWith("HTTP/1.1 400 "));
    EXPECT_TRUE(IsServing());
}

TEST_F(DeviceStackTest, LetsInPagesOfTheLocalHostOnly) {
    EXPECT_NO_THROW(WebSocketClient(GetPort(), "http://localhost:8080"));
    RawConnection foreign(GetPort());
    foreign.Send(RawConnection::GetUpgradeRequest("Origin: https://example.org\r\n"));
    EXPECT_THAT(foreign.ReceiveUntil("\r\n\r\n"), StartsWith("HTTP/1.1 403 Forbidden\r\n"));
}

}  // namespace

#include <gmock/gmock.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <csignal>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "DeviceStackFixture.h"
#include "RawConnection.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using IntegrationTest::DeviceStackFixture;
using IntegrationTest::RawConnection;
using nlohmann::json;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using TestSupport::ChildProcess;
using TestSupport::ExitStatus;
using TestSupport::WebSocketClient;
namespace KnxOdsMapping = Zandrel::KnxOdsMapping;

class DeviceStackCliTest : public DeviceStackFixture {
protected:
    struct Outcome {
        ExitStatus status;
        std::vector<std::string> output;
        std::vector<std::string> error;
    };

    static Outcome RunAt(const std::string& address, const std::vector<std::string>& arguments) {
        ChildProcess cli(ORN_DEVICESTACK_CLI_PROGRAM, arguments, {{"ORN_DEVICE_STACK", address}});
        const auto status = cli.WaitForExit();
        return {status.value_or(ExitStatus()), cli.GetOutputLines(), cli.GetErrorLines()};
    }

    std::string GetAddress() const { return "127.0.0.1:" + std::to_string(GetPort()); }

    Outcome Run(const std::vector<std::string>& arguments) const { return RunAt(GetAddress(), arguments); }

    /// The output of a call that must succeed.
    std::vector<std::string> Output(const std::vector<std::string>& arguments) const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, ExitStatus::Exited(0));
        EXPECT_THAT(outcome.error, IsEmpty());
        return outcome.output;
    }

    /// The one line of a call that must fail.
    std::string Error(int code, const std::vector<std::string>& arguments) const {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.status, ExitStatus::Exited(code));
        EXPECT_THAT(outcome.output, IsEmpty());
        EXPECT_THAT(outcome.error, SizeIs(1));
        return outcome.error.empty() ? "" : outcome.error.front();
    }

    void SetUpDocument(const json& document) {
        WebSocketClient client(GetPort());
        EXPECT_TRUE(
            Ask(client, R"("command":"SetConfiguration","configuration":)" + document.dump()).contains("response"));
    }
};

TEST_F(DeviceStackCliTest, ListsTheWholeModelReadably) {
    const unsigned long device = KnxOdsMapping::GetLogicalKnxDeviceObjModelId(1);
    const unsigned long control = KnxOdsMapping::GetAppHostAppControlChannelObjModelId(1);
    const unsigned long state = KnxOdsMapping::GetAppHostAppControlStateObjModelId(1);
    const unsigned long co = KnxOdsMapping::GetCoChannelObjModelId(5, 1).value_or(0);
    const unsigned long value = KnxOdsMapping::GetCoValueObjModelId(co).value_or(0);
    SetUpDocument({{"devices",
                    {{{"id", device},
                      {"name", "copy"},
                      {"enabled", true},
                      {"visible", false},
                      {"metadata", {{{"key", "KIM-IA"}, {"value", "1.1.10\n"}}}},
                      {"channels",
                       {{{"id", control}, {"datapoints", {{{"id", state}, {"value", "0"}}}}},
                        {{"id", co},
                         {"name", "Co5"},
                         {"datapoints",
                          {{{"id", value},
                            {"eventAlways", "1"},
                            {"internalDefaultValue", "2.1:0"},
                            {"metadata", {{{"key", "KIM-DPT"}, {"value", "65537"}}}}}}}}}}}}}});
    const auto id = [](unsigned long number) { return std::to_string(number); };
    const std::vector<std::string> point = {
        "Data point " + id(value) + "  CO 5 value  = no value  default boolean 0  reported always",
        "  KIM-DPT = \"65537\""};
    EXPECT_THAT(Output({"list"}),
                ElementsAre("Device " + id(device) + "  logical KNX device 1  \"copy\"  enabled  hidden",
                            "  KIM-IA = \"1.1.10\\n\"",  //
                            "  Channel " + id(control) + "  app control",
                            "    Data point " + id(state) + "  app control: run state  = text \"0\"",
                            "  Channel " + id(co) + "  CO 5  \"Co5\"", "    " + point[0], "    " + point[1]));
    EXPECT_THAT(Output({"list", id(value)}), ElementsAre(point[0], point[1]));
    EXPECT_THAT(Output({"list", id(control)}), SizeIs(2));
    EXPECT_THAT(Output({"list", id(device)}), SizeIs(7));
    EXPECT_EQ(Error(1, {"list", "7"}), "devicestack-cli: no object has the id 7");
}

TEST_F(DeviceStackCliTest, ListsRawJson) {
    Configure();
    const auto parse = [](const std::vector<std::string>& lines) {
        std::string text;
        for (const std::string& line : lines) {
            text += line;
        }
        return json::parse(text);
    };
    EXPECT_EQ(parse(Output({"list", "--json"}))["devices"][0]["id"], 1);
    EXPECT_EQ(parse(Output({"--json", "list", "101"})), json::parse(R"({"id":101,"eventAlways":"1"})"));
}

TEST_F(DeviceStackCliTest, SetsAndGetsValues) {
    SetUpDocument(json::parse(R"({"devices":[{"id":1,"channels":[{"id":10,"datapoints":[)"
                              R"({"id":100},{"id":101,"valueType":"3"}]}]}]})"));
    const auto setAndGet = [this](std::vector<std::string> arguments) {
        const std::string id = arguments[1];
        EXPECT_THAT(Output(arguments), IsEmpty());
        const std::vector<std::string> raw = Output({"get", "--raw", id});
        return raw.size() == 1 ? raw.front() : "";
    };
    EXPECT_EQ(setAndGet({"set", "100", "hello"}), "5.1:hello");
    EXPECT_EQ(setAndGet({"set", "101", "-7"}), "3.1:-7");
    EXPECT_THAT(Output({"get", "101"}), ElementsAre("-7"));
    EXPECT_EQ(setAndGet({"set", "100", "-7", "--type", "integer"}), "3.1:-7");
    EXPECT_EQ(setAndGet({"set", "100", "1", "--type=boolean"}), "2.1:1");
    EXPECT_EQ(setAndGet({"set", "100", "0.5", "--type", "float"}), "4.1:0.5");
    EXPECT_EQ(setAndGet({"set", "100", "a:b", "--type", "text"}), "5.1:a:b");
    EXPECT_EQ(setAndGet({"set", "100", "4.2:1", "--raw"}), "4.2:1");
    EXPECT_EQ(setAndGet({"set", "100", "--", "--raw"}), "5.1:--raw");
    EXPECT_EQ(setAndGet({"set", "100", ""}), "5.1:");
    EXPECT_EQ(setAndGet({"set", "100",
                         "K\xFC"
                         "che"}),
              u8"5.1:K\u00FCche");
}

TEST_F(DeviceStackCliTest, AnOutputThatCannotBeWrittenIsAFailure) {
    Configure();
    for (const std::string arguments : {"list", "--help"}) {
        ChildProcess cli("/bin/sh", {"-c", "exec \"$0\" " + arguments + " >/dev/full", ORN_DEVICESTACK_CLI_PROGRAM},
                         {{"ORN_DEVICE_STACK", GetAddress()}});
        EXPECT_EQ(cli.WaitForExit(), ExitStatus::Exited(1));
        EXPECT_THAT(cli.GetErrorLines(), ElementsAre("devicestack-cli: the standard output cannot be written"));
    }
}

TEST_F(DeviceStackCliTest, RefusalsAreOneLineAndCodeOne) {
    Configure();
    EXPECT_EQ(Error(1, {"get", "7"}), "devicestack-cli: GetValue refused: id: no data point has the id 7");
    EXPECT_EQ(Error(1, {"get", "100"}), "devicestack-cli: GetValue refused: id: data point 100 has no value");
    EXPECT_EQ(Error(1, {"set", "7", "x"}), "devicestack-cli: SetValue refused: id: no data point has the id 7");
}

TEST_F(DeviceStackCliTest, AServiceThatIsNotThereIsOneLineAndCodeOne) {
    sut.Signal(SIGTERM);
    ASSERT_TRUE(sut.WaitForExit());
    EXPECT_EQ(Error(1, {"list"}), "devicestack-cli: cannot connect to " + GetAddress() + ": Connection refused");
}

TEST_F(DeviceStackCliTest, AServiceThatDoesNotAnswerIsOneLineAndCodeOne) {
    boost::asio::io_context io;
    const boost::asio::ip::tcp::acceptor silent(io, {boost::asio::ip::address_v4::loopback(), 0});
    const std::string address = "127.0.0.1:" + std::to_string(silent.local_endpoint().port());
    const Outcome outcome = RunAt(address, {"list"});
    EXPECT_EQ(outcome.status, ExitStatus::Exited(1));
    EXPECT_THAT(outcome.error, ElementsAre(StartsWith("devicestack-cli: cannot connect to " + address + ": ")));
}

TEST_F(DeviceStackCliTest, TheAddressOfTheOptionGoesBeforeTheEnvironment) {
    Configure();
    const Outcome outcome = RunAt("127.0.0.1:1", {"--address", GetAddress(), "list"});
    EXPECT_EQ(outcome.status, ExitStatus::Exited(0));
    EXPECT_THAT(outcome.output, SizeIs(4));
    EXPECT_EQ(RunAt("127.0.0.1:1", {"list"}).status, ExitStatus::Exited(1));
}

TEST_F(DeviceStackCliTest, AWrongCommandLineIsOneLineAndCodeTwo) {
    const auto error = [this](const std::vector<std::string>& arguments) { return Error(2, arguments); };
    const std::string begin = "devicestack-cli: ";
    const std::string end = "; see --help";
    EXPECT_EQ(error({}), begin + "expected a command: list, get, set or watch" + end);
    EXPECT_EQ(error({"show"}), begin + "unknown command \"show\": expected list, get, set or watch" + end);
    EXPECT_EQ(error({"get"}), begin + "expected get ID" + end);
    EXPECT_EQ(error({"get", "1", "2"}), begin + "expected get ID" + end);
    EXPECT_EQ(error({"set", "1"}), begin + "expected set ID VALUE" + end);
    EXPECT_EQ(error({"list", "1", "2"}), begin + "expected list [ID]" + end);
    EXPECT_EQ(error({"get", "x"}), begin + "id \"x\": expected a number from 1 to 4294967295" + end);
    EXPECT_EQ(error({"watch", "0"}), begin + "id \"0\": expected a number from 1 to 4294967295" + end);
    EXPECT_EQ(error({"get", "4294967296"}), begin + "id \"4294967296\": expected a number from 1 to 4294967295" + end);
    EXPECT_EQ(error({"list", "--raw"}), begin + "--raw does not go with this command" + end);
    EXPECT_EQ(error({"get", "1", "--type", "text"}), begin + "--type does not go with this command" + end);
    EXPECT_EQ(error({"watch", "--json"}), begin + "--json does not go with this command" + end);
    EXPECT_EQ(error({"set", "1", "x", "--type", "colour"}),
              begin + "--type colour: expected boolean, integer, float or text" + end);
    EXPECT_EQ(error({"set", "1", "x", "--type", "text", "--raw"}), begin + "expected --type or --raw, not both" + end);
    EXPECT_THAT(error({"set", "1", "x", "--type", "integer"}), StartsWith(begin + "value \"x\": "));
    EXPECT_THAT(error({"set", "1", "x", "--raw"}), StartsWith(begin + "value \"x\": "));
    EXPECT_THAT(error({"--colour"}), HasSubstr("--colour"));
    for (const char* address : {"", ":1", "host:", "host:x", "host:0", "host:65536"}) {
        EXPECT_EQ(error({"list", "--address", address}),
                  begin + ("address \"" + std::string(address)).append("\": expected HOST:PORT" + end));
    }
}

TEST_F(DeviceStackCliTest, HelpNamesEveryCommand) {
    std::string help;
    for (const std::string& line : Output({"--help"})) {
        help += line + "\n";
    }
    EXPECT_THAT(help, AllOf(HasSubstr("list [ID]"), HasSubstr("get ID"), HasSubstr("set ID VALUE"),
                            HasSubstr("watch [ID...]"), HasSubstr("--address")));
}

TEST_F(DeviceStackCliTest, WatchesEveryChangeUntilItIsInterrupted) {
    Configure();
    ChildProcess cli(ORN_DEVICESTACK_CLI_PROGRAM, {"watch"}, {{"ORN_DEVICE_STACK", GetAddress()}});
    ASSERT_TRUE(cli.WaitForLine("watching"));
    Output({"set", "100", "42", "--type", "integer"});
    WebSocketClient client(GetPort());
    Register(client, "somebody");
    Ask(client, R"("command":"EmitEvent","eventType":"configurationLoaded")");
    Configure();
    ASSERT_TRUE(cli.WaitForLine("configuration changed"));
    ASSERT_TRUE(cli.Signal(SIGINT));
    EXPECT_EQ(cli.WaitForExit(), ExitStatus::Exited(0));
    const std::string time = "[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9]  ";
    EXPECT_THAT(cli.GetOutputLines(), ElementsAre("watching; end with Ctrl-C", MatchesRegex(time + "100  = integer 42"),
                                                  MatchesRegex(time + "event \"configurationLoaded\" of \"somebody\""),
                                                  MatchesRegex(time + "1  configuration changed")));
    EXPECT_THAT(cli.GetErrorLines(), IsEmpty());
}

TEST_F(DeviceStackCliTest, WatchesSomeObjectsOnly) {
    Configure();
    ChildProcess cli(ORN_DEVICESTACK_CLI_PROGRAM, {"watch", "101"}, {{"ORN_DEVICE_STACK", GetAddress()}});
    ASSERT_TRUE(cli.WaitForLine("watching"));
    Output({"set", "100", "no"});
    Output({"set", "101", "yes"});
    ASSERT_TRUE(cli.WaitForLine("101  = text \"yes\""));
    EXPECT_THAT(cli.GetOutputLines(), Not(testing::Contains(HasSubstr("no"))));
}

TEST_F(DeviceStackCliTest, AWatchWhoseServiceEndsIsOneLineAndCodeOne) {
    ChildProcess cli(ORN_DEVICESTACK_CLI_PROGRAM, {"watch"}, {{"ORN_DEVICE_STACK", GetAddress()}});
    ASSERT_TRUE(cli.WaitForLine("watching"));
    sut.Signal(SIGTERM);
    EXPECT_EQ(cli.WaitForExit(), ExitStatus::Exited(1));
    EXPECT_THAT(cli.GetErrorLines(), ElementsAre(StartsWith("devicestack-cli: lost " + GetAddress() + ": ")));
}

}  // namespace

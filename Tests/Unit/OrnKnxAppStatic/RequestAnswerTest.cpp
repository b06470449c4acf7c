#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "AppControl.h"
#include "AppHostProcessControl.h"
#include "CapturingAppender.h"
#include "DeviceStackConfigurationIndicator.h"
#include "LogicalKnxDevice.h"
#include "ObjectModelConfiguratorFixture.h"
#include "Orn/ThreadControl.h"
#include "ScriptedDeviceStack.h"
#include "SimulatedClock.h"
#include "Zandrel/KnxOdsMapping.h"

// Every request to the device stack meets every kind of answer.

namespace {

using boost::chrono::milliseconds;
using TestSupport::LogLine;
using Zandrel::LogicalDeviceId;
using Lines = std::vector<LogLine>;

enum class Answer { Valid, Error, Nothing, Late, LostConnection, NotJson, OtherShape, OtherMembers };

constexpr const char* Lost = "Connection to device stack lost.";
constexpr const char* Reason = "the device is on fire";
constexpr unsigned long Id = 4711;

/// What a program has that sends requests.
struct Sender {
    Sender() {
        identity->SetAppId("A");
        identity->SetLogicalDeviceId(*LogicalDeviceId::From(1));
    }

    TestSupport::GlobalLogCapture log;
    std::shared_ptr<Zandrel::AppIdentity> identity = std::make_shared<Zandrel::AppIdentity>();
    std::shared_ptr<TestSupport::SimulatedClock> clock = std::make_shared<TestSupport::SimulatedClock>();
    Zandrel::PrefixedLogger logger{log.GetLogger(), identity};
    TestSupport::ScriptedDeviceStack deviceStack;
    Zandrel::DeviceStackConnection connection{
        logger, clock, deviceStack.GetFactory(), {milliseconds(300), milliseconds(300), milliseconds(1)}};
    TestSupport::FakeKnxSide knx{identity};
    Zandrel::ObjectModelConfigurator configurator{logger, connection, identity, knx};
    Zandrel::AppHostProcessControl processControl{log.GetLogger(), clock};
    Zandrel::AppControl appControl{logger, connection, identity, processControl};
    Zandrel::ThreadControl control;
};

/// What comes of a request: the result of the call, as text, and its lines.
struct Outcome {
    std::string result;
    Lines lines;
};

struct Request {
    const char* name;
    std::string text;      ///< by which the device stack knows it
    std::string response;  ///< a valid one
    std::function<std::string(Sender&)> send;
    Outcome valid;
    Outcome timedOut;
    std::function<Outcome(const std::string& error)> refused;
    std::function<Outcome(Answer)> unreadable;  ///< where the answer's content counts
    std::string function{};                     ///< whose lines count; all where it is empty
};

std::string ToText(bool result) {
    return result ? "true" : "false";
}

LogLine Line(const std::string& level, const std::string& text) {
    return {level, "[A] " + text};
}

/// A request whose answer ends in one line, and whose content does not count.
Request Simple(const char* name, const std::string& text, std::function<bool(Sender&)> send, const Lines& before,
               const Lines& success, const std::string& timedOut, const std::string& refused) {
    const auto failure = [before](const std::string& line) {
        Lines lines = before;
        lines.push_back(Line("ERROR", line));
        return Outcome{"false", lines};
    };
    Lines all = before;
    all.insert(all.end(), success.begin(), success.end());
    return {name,
            text,
            "{}",
            [send = std::move(send)](Sender& sender) { return ToText(send(sender)); },
            {"true", all},
            failure(timedOut),
            [failure, refused](const std::string& error) { return failure(refused + error); },
            nullptr};
}

const Lines Connecting{Line("INFO", "ConnectDeviceStack - Create devicestack client connecting with localhost..."),
                       Line("INFO", "ConnectDeviceStack - Registering OrnKnxAppPrg as devicestack client...")};

Request Registration() {
    return Simple(
        "Registration", "RegisterApplication", [](Sender& sender) { return sender.connection.ConnectDeviceStack(); },
        Connecting, {}, "ConnectDeviceStack - Request timed out!", "ConnectDeviceStack - Error! ");
}

Request NativeFormat() {
    const std::string failed = "ConnectDeviceStack - Failed to configure message format of device stack communication.";
    Request request = Simple(
        "NativeFormat", "EnableNativeFormat", [](Sender& sender) { return sender.connection.ConnectDeviceStack(); },
        Connecting, {}, failed, "");
    request.refused = [timedOut = request.timedOut](const std::string&) { return timedOut; };
    return request;
}

Request DeviceConfig() {
    const auto failure = [](const std::string& line) {
        return Outcome{"none", {Line("ERROR", "GetLogicalKnxDeviceId - " + line)}};
    };
    return {"DeviceConfig",
            "GetDeviceConfig",
            R"({"deviceConfig":{"ipc":{"KnxSerialNumber2":"000A14FF0102"}}})",
            [](Sender& sender) {
                const auto id = Zandrel::GetLogicalKnxDeviceId(sender.connection, "000a14ff0102", sender.logger);
                return id ? std::to_string(id->Value()) : "none";
            },
            {"2", {Line("INFO", "GetLogicalKnxDeviceId - This is logical KNX device 2")}},
            failure("Retrieving value from devicestack timed out!"),
            [failure](const std::string& error) {
                return failure("Error retrieving configuration from devicestack! " + error);
            },
            [failure](Answer answer) {
                return failure(answer == Answer::OtherMembers
                                   ? "Could not determine logical KNX device."
                                   : "The configuration from devicestack is not a JSON object!");
            }};
}

/// An event whose failure stops nobody.
Request Event(const char* name, const std::string& type, const std::string& function, const std::string& success,
              const std::function<void(Sender&)>& send) {
    Request request = Simple(
        name, type,
        [send](Sender& sender) {
            send(sender);
            return true;
        },
        {}, {Line("INFO", function + " - " + success)}, function + " - Sending " + type + " to devicestack timed out!",
        function + " - Error sending " + type + " to devicestack! ");
    request.timedOut.result = "true";
    request.refused = [refused = request.refused](const std::string& error) {
        return Outcome{"true", refused(error).lines};
    };
    return request;
}

/// One of the two events of a span.
Request SpanEvent(const char* name, const std::string& type, const std::string& function, const std::string& success) {
    Request request = Event(name, type, function, success, [](Sender& sender) {
        const Zandrel::DeviceStackConfigurationIndicator span(sender.connection, sender.log.GetLogger(), "A");
    });
    request.function = function;
    return request;
}

Request Document() {
    return Simple(
        "Document", R"("command":"SetConfiguration","configuration")",
        [](Sender& sender) { return sender.configurator.SetConfiguration(sender.control, {}); }, {}, {},
        "SetConfiguration - Configuration of object model timed out.",
        "SetConfiguration - Configuration of object model failed: ");
}

Request Disabling() {
    return Simple(
        "Disabling", R"("properties":{"enabled":false})",
        [](Sender& sender) { return sender.configurator.DisableLogicalKnxDevice(Id); }, {}, {},
        "DisableLogicalKnxDevice - Setting configuration of object '4711' time out.",
        "DisableLogicalKnxDevice - Failed to set configuration of object '4711': ");
}

Request KnxCommunication() {
    return Simple(
        "KnxCommunication", R"("value":"3.1:2")",
        [](Sender& sender) {
            return sender.appControl.SignalAppHostKnxCommunicationState(*LogicalDeviceId::From(1), true);
        },
        {Line("INFO", "SignalAppHostKnxCommunicationState - Signal KNX communication 'on'.")}, {},
        "DoSendAppControlEvent - Sending event '2' timed out", "DoSendAppControlEvent - Failed to send event '2': ");
}

Request ShutDown() {
    return Simple(
        "ShutDown", R"("value":"3.1:1")",
        [](Sender& sender) {
            sender.processControl.OnRunStateValue(Zandrel::ZANVALUE::FromInteger(2));
            return sender.appControl.SendAppControlEventStop();
        },
        {Line("INFO", "SendAppControlEventStop - Sending shutdown signal as RSM event")}, {},
        "DoSendAppControlEvent - Sending event '1' timed out", "DoSendAppControlEvent - Failed to send event '1': ");
}

/// Nobody waits for its answer.
Request RunState() {
    Outcome sent{"true", {}};
    return {"RunState",
            R"("value":"3.1:0")",
            "{}",
            [](Sender& sender) {
                sender.appControl.SetAppHostRunstate(Zandrel::AppHostControlState::Stopped);
                return ToText(true);
            },
            sent,
            sent,
            [sent](const std::string&) { return sent; },
            nullptr};
}

Request Value() {
    return {"Value",
            "GetValue",
            R"({"value":"3.1:42"})",
            [](Sender& sender) {
                const auto docket = sender.connection.GetValue(Id, false);
                switch (Zandrel::Judge(*docket)) {
                    case Zandrel::Answer::Valid:
                        return docket->ReadReply();
                    case Zandrel::Answer::TimedOut:
                        return std::string("timed out");
                    case Zandrel::Answer::Refused:
                        break;
                }
                return docket->ReadDeliveryError();
            },
            {"3.1:42", {}},
            {"timed out", {}},
            [](const std::string& error) {
                return Outcome{error, {}};
            },
            [](Answer) {
                return Outcome{"The answer has no value.", {}};
            }};
}

std::vector<Request> AllRequests() {
    return {
        Registration(),
        NativeFormat(),
        DeviceConfig(),
        SpanEvent("ChangeBegin", "configurationChangeBegin", "DeviceStackConfigurationIndicator",
                  "Switched on configuration change mode."),
        SpanEvent("ChangeEnd", "configurationChangeEnd", "~DeviceStackConfigurationIndicator",
                  "Switched off configuration change mode."),
        Event("Loaded", "configurationLoaded", "IndicateLoadState", "Signal configurationLoaded to devicestack.",
              [](Sender& sender) { Zandrel::SignalConfigurationLoaded(sender.connection, sender.logger); }),
        Event("Unloaded", "configurationUnloaded", "IndicateLoadState", "Signal configurationUnloaded to devicestack.",
              [](Sender& sender) { Zandrel::SignalConfigurationUnloaded(sender.connection, sender.logger); }),
        Document(),
        Disabling(),
        KnxCommunication(),
        ShutDown(),
        RunState(),
        Value()};
}

struct Cell {
    Request request;
    Answer answer;
};

std::vector<Cell> AllCells() {
    std::vector<Cell> cells;
    for (const Request& request : AllRequests()) {
        for (const Answer answer : {Answer::Valid, Answer::Error, Answer::Nothing, Answer::Late, Answer::LostConnection,
                                    Answer::NotJson, Answer::OtherShape, Answer::OtherMembers}) {
            cells.push_back({request, answer});
        }
    }
    return cells;
}

std::ostream& operator<<(std::ostream& stream, const Cell& cell) {
    static constexpr std::array Names{"Valid",          "Error",   "Nothing",    "Late",
                                      "LostConnection", "NotJson", "OtherShape", "OtherMembers"};
    return stream << cell.request.name << "Meets" << Names[static_cast<std::size_t>(cell.answer)];
}

class RequestAndAnswer : public testing::TestWithParam<Cell> {
protected:
    static const Request& GetRequest() { return GetParam().request; }

    void Connect() {
        ASSERT_TRUE(sender_.connection.ConnectDeviceStack());
        sender_.log.TakeLines();
    }

    void Script() {
        auto& deviceStack = sender_.deviceStack;
        const std::string& text = GetRequest().text;
        switch (GetParam().answer) {
            case Answer::Valid:
                return deviceStack.Accept(text, GetRequest().response);
            case Answer::Error:
                return deviceStack.Refuse(text, Reason);
            case Answer::Nothing:
                return deviceStack.Ignore(text);
            case Answer::Late:
                return deviceStack.Hold(text);
            case Answer::LostConnection:
                return deviceStack.LoseConnectionAt(text);
            case Answer::NotJson:
                return deviceStack.Answer(text, "{]");
            case Answer::OtherShape:
                return deviceStack.Answer(text, "[[1],null]");
            case Answer::OtherMembers:
                return deviceStack.Answer(text, R"({"response":["value"],"deviceConfig":1})");
        }
    }

    static Outcome GetExpected() {
        switch (GetParam().answer) {
            case Answer::Valid:
                break;
            case Answer::Error:
                return GetRequest().refused(Reason);
            case Answer::Nothing:
            case Answer::Late:
                return GetRequest().timedOut;
            case Answer::LostConnection:
                return GetRequest().refused(Lost);
            case Answer::NotJson:
            case Answer::OtherShape:
            case Answer::OtherMembers:
                return GetRequest().unreadable ? GetRequest().unreadable(GetParam().answer) : GetRequest().valid;
        }
        return GetRequest().valid;
    }

    void ExpectOutcome(const Outcome& expected) {
        sender_.log.TakeLines();
        EXPECT_EQ(GetRequest().send(sender_), expected.result);
        Lines lines = sender_.log.TakeLines();
        const std::string beginning = "[A] " + (GetRequest().function.empty() ? "" : GetRequest().function + " - ");
        lines.erase(std::remove_if(lines.begin(), lines.end(),
                                   [&beginning](const LogLine& line) { return line.text.rfind(beginning, 0) != 0; }),
                    lines.end());
        EXPECT_EQ(lines, expected.lines);
    }

    Sender sender_;
};

TEST_P(RequestAndAnswer, GiveTheirLineAndResultAndTheNextRequestIsServed) {
    Connect();
    Script();
    ExpectOutcome(GetExpected());

    sender_.deviceStack.Accept(GetRequest().text, GetRequest().response);
    sender_.deviceStack.AnswerHeld();
    sender_.deviceStack.WaitForHandlers();
    sender_.deviceStack.Reconnect();
    ExpectOutcome(GetRequest().valid);
}

std::string NameOf(const testing::TestParamInfo<Cell>& info) {
    std::ostringstream name;
    name << info.param;
    return name.str();
}

INSTANTIATE_TEST_SUITE_P(All, RequestAndAnswer, testing::ValuesIn(AllCells()), &NameOf);

}  // namespace

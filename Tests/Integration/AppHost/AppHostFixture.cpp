#include "AppHostFixture.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace IntegrationTest {

using nlohmann::json;

namespace {

std::string ReportOf(unsigned long id, const std::string& value) {
    return std::to_string(id) + " " + value;
}

TestSupport::ChildProcess::Environment MakeEnvironment(std::uint16_t port) {
    // The program's own report of a crash is under test, not the one of a sanitizer.
    return {{"ORN_DEVICE_STACK", "127.0.0.1:" + std::to_string(port)},
            {"ASAN_OPTIONS", "handle_segv=0:handle_abort=0"}};
}

}  // namespace

AppHostFixture::AppHostFixture() : plugIn_(GetPort()) {}

void AppHostFixture::SetUpDevice(const std::string& textParameter) {
    Register(plugIn_, "OrnKnxAppPrg");
    const auto point = [](unsigned long id, bool eventAlways) {
        return json{{"id", id}, {"eventAlways", eventAlways ? "1" : "0"}};
    };
    json state = point(State, false);
    state["value"] = "0";
    json parameter = point(1022011, false);
    parameter["value"] = textParameter;
    const json document{{"devices",
                         {{{"id", 1000000},
                           {"channels",
                            {{{"id", 1001000}, {"datapoints", {state, point(Event, true), point(Alive, true)}}},
                             {{"id", 1010010}, {"datapoints", json::array({point(Co1, true)})}},
                             {{"id", 1010020}, {"datapoints", json::array({point(Co2, true)})}},
                             {{"id", 1022010}, {"datapoints", json::array({parameter})}}}}}}}};
    EXPECT_TRUE(
        Ask(plugIn_, R"("command":"SetConfiguration","configuration":)" + document.dump()).contains("response"));
}

void AppHostFixture::Start(const std::string& library, const TestSupport::ChildProcess::Environment& environment) {
    TestSupport::ChildProcess::Environment all = MakeEnvironment(GetPort());
    all.insert(environment.begin(), environment.end());
    appHost.emplace(ORN_APP_HOST, std::vector<std::string>{library, "1"}, all);
}

void AppHostFixture::StartAsGrandchild(const std::string& library) {
    appHost.emplace(ORN_FOSTER, std::vector<std::string>{ORN_APP_HOST, library, "1"}, MakeEnvironment(GetPort()));
}

void AppHostFixture::Write(unsigned long id, const std::string& value) {
    ownWrites_.push_back(ReportOf(id, value));
    plugIn_.Send(json{{"command", "SetValue"}, {"id", id}, {"value", value}}.dump());
}

std::string AppHostFixture::NextReport() {
    while (const auto message = plugIn_.Receive()) {
        const json report = json::parse(*message);
        if (report.value("event", "") != "valueChanged") {
            continue;
        }
        const auto id = report.at("id").get<unsigned long>();
        std::string text = ReportOf(id, report.at("value").get<std::string>());
        if (id == Alive) {
            ++heartbeats_;
        } else if (const auto own = std::find(ownWrites_.begin(), ownWrites_.end(), text); own != ownWrites_.end()) {
            ownWrites_.erase(own);
        } else {
            return text;
        }
    }
    return "nothing";
}

std::vector<std::string> AppHostFixture::NextReports(std::size_t count) {
    std::vector<std::string> reports;
    while (reports.size() < count) {
        reports.push_back(NextReport());
    }
    return reports;
}

}  // namespace IntegrationTest

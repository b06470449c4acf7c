#include "DispatcherFixture.h"

#include <utility>

namespace DeviceStackTest {

using nlohmann::json;

std::vector<json> FakeClient::Take() {
    std::vector<json> parsed;
    for (const LocalDevice::Message& message : TakeMessages()) {
        parsed.push_back(json::parse(*message));
    }
    return parsed;
}

DispatcherFixture::DispatcherFixture() : sut({"00ab00000001", "00ab00000002"}, log.GetLogger()) {
    sut.Add(observer);
    sut.Add(newcomer);
    Ask(R"("command":"RegisterApplication","name":"observer","type":"field","domain":"KNX")");
    Ask(R"("command":"EnableNativeFormat")");
    log.TakeLines();
}

json DispatcherFixture::Ask(FakeClient& client, const std::string& membersAfterNumber) {
    const unsigned number = ++number_;
    sut.Dispatch(client, "{\"request\":" + std::to_string(number) + "," + membersAfterNumber + "}");
    std::vector<LocalDevice::Message> messages = client.TakeMessages();
    if (messages.empty()) {
        ADD_FAILURE() << "no answer to " << membersAfterNumber;
        return {};
    }
    json answer = json::parse(*messages.back());
    messages.pop_back();
    EXPECT_EQ(answer.value("request", 0U), number) << answer;
    for (const LocalDevice::Message& message : messages) {
        client.Send(message);
    }
    return answer;
}

std::string DispatcherFixture::Fail(FakeClient& client, const std::string& membersAfterNumber) {
    const json answer = Ask(client, membersAfterNumber);
    EXPECT_TRUE(answer.contains("error")) << answer;
    EXPECT_FALSE(answer.contains("response")) << answer;
    return answer.value("error", "");
}

void DispatcherFixture::Configure(const std::string& document) {
    const json answer = Ask(R"("command":"SetConfiguration","configuration":)" + document);
    EXPECT_EQ(answer.value("response", json()), json::object()) << answer;
    for (const json& event : observer.Take()) {
        EXPECT_EQ(event["event"], "configurationChanged");
    }
}

std::string DispatcherFixture::FailToConfigure(const std::string& document) {
    const json before = GetModel();
    std::string error = Fail(R"("command":"SetConfiguration","configuration":)" + document);
    EXPECT_EQ(GetModel(), before) << "changed by " << document;
    EXPECT_THAT(observer.Take(), testing::IsEmpty());
    return error;
}

json DispatcherFixture::GetModel() {
    return Ask(R"("command":"GetObjectModel")")["response"];
}

std::string DispatcherFixture::GetValue(unsigned long id) {
    const json answer = Ask(R"("command":"GetValue","id":)" + std::to_string(id));
    return answer.contains("response") ? answer["response"].value("value", "?") : "none";
}

std::vector<json> DispatcherFixture::SetValue(unsigned long id, const std::string& value) {
    const json answer = Ask(R"("command":"SetValue","id":)" + std::to_string(id) + R"(,"value":)" + json(value).dump());
    EXPECT_EQ(answer.value("response", json()), json::object()) << answer;
    return observer.Take();
}

}  // namespace DeviceStackTest

#pragma once

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "RequestDispatcher.h"

namespace DeviceStackTest {

/// Keeps what it is sent.
class FakeClient final : public LocalDevice::IClient {
public:
    void Send(const LocalDevice::Message& message) override {
        if (failures != 0) {
            --failures;
            throw std::runtime_error("no memory");
        }
        messages_.push_back(message);
    }
    void SendLater(const LocalDevice::Message& message) override {
        ++patientMessages;
        Send(message);
    }

    std::vector<LocalDevice::Message> TakeMessages() { return std::exchange(messages_, {}); }

    /// The messages as JSON, and forgets them.
    std::vector<nlohmann::json> Take();

    int failures = 0;         ///< so many messages cannot be sent
    int patientMessages = 0;  ///< that were sent later

private:
    std::vector<LocalDevice::Message> messages_;
};

/// A dispatcher with one client that is registered as "observer" and has the native format, and one that has just
/// connected.
class DispatcherFixture : public testing::Test {
protected:
    DispatcherFixture();

    /// The answer to one request of `client`, which must be its last message, and must carry the request's number.
    nlohmann::json Ask(FakeClient& client, const std::string& membersAfterNumber);
    nlohmann::json Ask(const std::string& membersAfterNumber) { return Ask(observer, membersAfterNumber); }

    /// The error text of a request that has to fail.
    std::string Fail(FakeClient& client, const std::string& membersAfterNumber);
    std::string Fail(const std::string& membersAfterNumber) { return Fail(observer, membersAfterNumber); }

    /// Sets a document; none of its values may be reported.
    void Configure(const std::string& document);
    std::string FailToConfigure(const std::string& document);

    /// The whole object model in the native format.
    nlohmann::json GetModel();
    /// The native value of a point; "none" where it has none.
    std::string GetValue(unsigned long id);
    /// Writes a native value and returns the events that the observer gets.
    std::vector<nlohmann::json> SetValue(unsigned long id, const std::string& value);

    TestSupport::LogCapture log;
    LocalDevice::RequestDispatcher sut;
    FakeClient observer;
    FakeClient newcomer;

private:
    unsigned number_ = 0;
};

}  // namespace DeviceStackTest

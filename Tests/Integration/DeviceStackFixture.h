#pragma once

#include <gmock/gmock.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ChildProcess.h"
#include "TemporaryFolder.h"
#include "WebSocketClient.h"

namespace IntegrationTest {

/// The real service in a process of its own, on a free port, with a log file.
class DeviceStackFixture : public testing::Test {
protected:
    DeviceStackFixture();

    std::uint16_t GetPort() const { return port_; }

    /// Sends a request and returns its answer; events that come first are put into `events`.
    static nlohmann::json Ask(TestSupport::WebSocketClient& client, const std::string& membersAfterNumber,
                              std::vector<nlohmann::json>* events = nullptr);

    /// Registers a client and gives it the native format.
    static void Register(TestSupport::WebSocketClient& client, const std::string& name);

    /// Sets up device 1 with channel 10 and its points 100 and 101; 101 reports always.
    void Configure();

    /// Whether the service still serves somebody new.
    bool IsServing();

    std::string ReadLog() const;
    /// How many descriptors the service has open.
    std::size_t CountDescriptors() const;

    TestSupport::TemporaryFolder folder;
    TestSupport::ChildProcess sut;

private:
    std::uint16_t port_ = 0;
};

}  // namespace IntegrationTest

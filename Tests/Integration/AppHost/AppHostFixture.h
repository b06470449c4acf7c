#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "DeviceStackFixture.h"
#include "WebSocketClient.h"

namespace IntegrationTest {

// Run states of logical device 1, as `AppHostFixture::NextReport` tells them
inline const std::string Stopped = "1001001 3.1:0";
inline const std::string Starting = "1001001 3.1:1";
inline const std::string Running = "1001001 3.1:2";
inline const std::string Stopping = "1001001 3.1:3";

// Events for an app
inline const std::string ShutDown = "3.1:1";
inline const std::string CommunicationOn = "3.1:2";
inline const std::string CommunicationOff = "3.1:3";

/// What the app that makes trouble tells.
inline std::string Told(const std::string& text) {
    return "1010021 5.1:" + text;
}

/// The real app host with a real app at the real device stack; the test is the plug-in.
class AppHostFixture : public DeviceStackFixture {
protected:
    // Ids of logical device 1.
    static constexpr unsigned long State = 1001001;
    static constexpr unsigned long Event = 1001002;
    static constexpr unsigned long Alive = 1001003;
    static constexpr unsigned long Co1 = 1010011;
    static constexpr unsigned long Co2 = 1010021;

    AppHostFixture();

    /// Sets up logical device 1 with COs 1 and 2, run state 0 and a text parameter.
    void SetUpDevice(const std::string& textParameter = "");

    /// Starts the app host.
    void Start(const std::string& library, const TestSupport::ChildProcess::Environment& environment = {});
    /// The same as a grandchild, with nobody but the app host's parent in between.
    void StartAsGrandchild(const std::string& library);

    /// Writes a value (serialised), as the plug-in does.
    void Write(unsigned long id, const std::string& value);

    /// The next value of any data point that is reported, as "ID VALUE", without those that the test wrote itself and
    /// heartbeats. Waits for it; "nothing" when there is none in time.
    std::string NextReport();
    /// The next `count` of them.
    std::vector<std::string> NextReports(std::size_t count);
    std::size_t CountHeartbeats() const { return heartbeats_; }

    std::optional<TestSupport::ExitStatus> WaitForExit() { return appHost->WaitForExit(); }

    std::optional<TestSupport::ChildProcess> appHost;

private:
    TestSupport::WebSocketClient plugIn_;
    std::deque<std::string> ownWrites_;
    std::size_t heartbeats_ = 0;
};

}  // namespace IntegrationTest

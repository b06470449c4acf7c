#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "AppHost.h"
#include "CapturingAppender.h"
#include "FakeDeviceStack.h"
#include "Zandrel/KnxOdsMapping.h"
#include "orn/app.h"

namespace AppHostTests {

/// An app host whose app is made of the test's own functions. All of it runs on the test's thread. What the device
/// stack reports before `Run` waits in the loop until the app has started.
class AppHostFixture : public testing::Test {
public:
    ~AppHostFixture() override { current_ = nullptr; }

protected:
    static constexpr int LogicalDevice = 2;
    static constexpr int OneMinute = 60000;

    AppHostFixture() {
        current_ = this;
        UseHeartbeatPeriod(OneMinute);
    }

    /// The app host anew, with another period.
    void UseHeartbeatPeriod(int milliseconds) {
        sut.emplace(AppHostFixture::App, LogicalDevice, deviceStack, log.GetLogger(), appLog.GetLogger(),
                    LocalDevice::EventLoop::Milliseconds(milliseconds));
    }

    int Run() { return sut->Run(model); }
    /// Runs an app that does `body` at its start.
    int Run(const std::function<void()>& body) {
        start = [body] {
            body();
            return ORN_OK;
        };
        return Run();
    }

    void ShutDown() { sut->OnControlEvent(Zandrel::ZANVALUE::FromInteger(1)); }

    // Calls of the app, with functions in place of pointers.
    orn_result OnValue(std::uint16_t co, std::function<void(const orn_value&)> handler) {
        handlers_.push_back(std::move(handler));
        const auto call = [](void* context, std::uint16_t, const orn_value* value) {
            (*static_cast<const std::function<void(const orn_value&)>*>(context))(*value);
        };
        return host->on_value(host, co, call, &handlers_.back());
    }
    orn_timer StartTimer(std::uint64_t milliseconds, bool periodic, std::function<void()> task) {
        tasks_.push_back(std::move(task));
        orn_timer timer = 0;
        EXPECT_EQ(host->start_timer(host, milliseconds, periodic, &CallTask, &tasks_.back(), &timer), ORN_OK);
        return timer;
    }
    void Post(std::function<void()> task) {
        tasks_.push_back(std::move(task));
        EXPECT_EQ(host->post(host, &CallTask, &tasks_.back()), ORN_OK);
    }

    // What the device stack was given.
    std::vector<std::string> GetRunStates() const {
        return deviceStack.GetWrites(Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId(LogicalDevice));
    }
    std::vector<std::string> GetHeartbeats() const {
        return deviceStack.GetWrites(Zandrel::KnxOdsMapping::GetAppHostAppControlAliveObjModelId(LogicalDevice));
    }
    std::vector<std::string> GetWrites(std::uint16_t co) const {
        return deviceStack.GetWrites(Zandrel::KnxOdsMapping::GetCoValueObjModelId(co, LogicalDevice).value());
    }

    // The app.
    const orn_host* host = nullptr;
    std::function<orn_result()> start = [] { return ORN_OK; };
    std::function<void()> stop = [] {};
    int stops = 0;

    TestSupport::LogCapture log{"Test.Host"};
    TestSupport::LogCapture appLog{"Test.App"};
    FakeDeviceStack deviceStack;
    LocalDevice::DeviceModel model;
    std::optional<LocalDevice::AppHost> sut;

private:
    static orn_result StartApp(const orn_host* host, void** app) {
        current_->host = host;
        *app = current_;
        return current_->start();
    }
    static void StopApp(void* app) {
        auto& self = *static_cast<AppHostFixture*>(app);
        ++self.stops;
        self.stop();
    }
    static void CallTask(void* context) { (*static_cast<const std::function<void()>*>(context))(); }

    static constexpr LocalDevice::AppFunctions App{&StartApp, &StopApp};
    static inline AppHostFixture* current_ = nullptr;

    std::deque<std::function<void(const orn_value&)>> handlers_;
    std::deque<std::function<void()>> tasks_;
};

}  // namespace AppHostTests

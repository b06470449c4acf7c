#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "AppValues.h"
#include "orn/app.h"

namespace AppHostTests {

/// A host with simulated time, for apps: parameters and values are what the test sets, timers are due when it says so.
class FakeHost : public orn_host {
public:
    static constexpr std::uint64_t Second = 1000;

    FakeHost() : orn_host{} {
        interface_version = ORN_APP_INTERFACE_VERSION;
        logical_device = 1;
        number_parameter = [](const orn_host* host, std::uint16_t slot, std::uint32_t* number) {
            *number = Of(host).numbers[slot];
            return Of(host).numberResult;
        };
        text_parameter = [](const orn_host* host, std::uint16_t slot) { return Of(host).texts[slot].c_str(); };
        get_value = [](const orn_host* host, std::uint16_t co, orn_value* value) {
            const auto found = Of(host).values.find(co);
            if (found == Of(host).values.end()) {
                return ORN_NO_VALUE;
            }
            *value = found->second;
            return ORN_OK;
        };
        set_value = [](const orn_host* host, std::uint16_t co, const orn_value* value) {
            if (Of(host).setResult == ORN_OK) {
                Of(host).written.push_back(std::to_string(co) + " = " + ToText(*value));
            }
            return Of(host).setResult;
        };
        on_value = [](const orn_host* host, std::uint16_t co, orn_value_handler handler, void* context) {
            Of(host).handlers_[co] = {handler, context};
            return Of(host).listenResult;
        };
        start_timer = [](const orn_host* host, std::uint64_t milliseconds, bool periodic, orn_task task, void* context,
                         orn_timer* timer) {
            EXPECT_FALSE(periodic);
            FakeHost& self = Of(host);
            if (self.timerResult == ORN_OK) {
                *timer = ++self.lastTimer_;
                self.timers_[*timer] = {self.now_ + milliseconds, task, context};
            }
            return self.timerResult;
        };
        stop_timer = [](const orn_host* host, orn_timer timer) {
            Of(host).timers_.erase(timer);
            return ORN_OK;
        };
        log = [](const orn_host* host, orn_log_level level, const char* text) {
            Of(host).lines.push_back(std::to_string(level) + " " + text);
        };
    }

    orn_result Start() { return orn_app_start(this, &app_); }
    void Stop() { orn_app_stop(app_); }

    /// Somebody else gives a CO a value.
    void Send(std::uint16_t co, const orn_value& value) {
        const auto& [handler, context] = handlers_.at(co);
        handler(context, co, &value);
    }

    /// Lets time pass; timers that become due are called at their time.
    void Advance(std::uint64_t milliseconds) {
        const std::uint64_t end = now_ + milliseconds;
        for (auto next = NextTimer(); next != timers_.end() && next->second.due <= end; next = NextTimer()) {
            const Timer timer = next->second;
            now_ = timer.due;
            timers_.erase(next);
            timer.task(timer.context);
        }
        now_ = end;
    }
    std::size_t CountTimers() const { return timers_.size(); }

    /// What the app wrote, as "CO = VALUE", and forgets it.
    std::vector<std::string> TakeWritten() { return std::exchange(written, {}); }

    // What the app gets.
    std::map<std::uint16_t, std::uint32_t> numbers;
    std::map<std::uint16_t, std::string> texts;
    std::map<std::uint16_t, orn_value> values;
    orn_result numberResult = ORN_OK;
    orn_result setResult = ORN_OK;
    orn_result listenResult = ORN_OK;
    orn_result timerResult = ORN_OK;

    // What the app did.
    std::vector<std::string> written;
    std::vector<std::string> lines;  ///< level and text

private:
    struct Handler {
        orn_value_handler handler;
        void* context;
    };
    struct Timer {
        std::uint64_t due;
        orn_task task;
        void* context;
    };

    // The app sees its host as constant; its state changes nevertheless.
    static FakeHost& Of(const orn_host* host) {
        return const_cast<FakeHost&>(*static_cast<const FakeHost*>(host));  // NOLINT
    }

    std::map<orn_timer, Timer>::iterator NextTimer() {
        return std::min_element(timers_.begin(), timers_.end(),
                                [](const auto& a, const auto& b) { return a.second.due < b.second.due; });
    }

    void* app_ = nullptr;
    std::map<std::uint16_t, Handler> handlers_;
    std::map<orn_timer, Timer> timers_;
    orn_timer lastTimer_ = 0;
    std::uint64_t now_ = 0;
};

}  // namespace AppHostTests

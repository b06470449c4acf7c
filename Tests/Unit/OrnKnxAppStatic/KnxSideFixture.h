#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "FakeKnxStack.h"
#include "PrefixedLogger.h"
#include "SimulatedClock.h"

namespace TestSupport {

constexpr std::uint32_t Dpt(std::uint32_t mainNumber, std::uint32_t subNumber) {
    return (mainNumber << 16U) | subNumber;
}

/// What every test of the KNX side stands on: an app "app" of logical device 1 on a stack, and two logs.
class KnxSideFixture : public testing::Test {
protected:
    using Lines = std::vector<LogLine>;

    KnxSideFixture() {
        identity_->SetAppId("app");
        identity_->SetLogicalDeviceId(Device);
        stack_.DownloadApplication("app");
    }

    /// A line of the global default logger from `function` in `file`, whatever its number.
    static testing::Matcher<const LogLine&> GlobalLine(const std::string& level, const std::string& function,
                                                       const std::string& file, const std::string& message) {
        return testing::Truly([=](const LogLine& line) {
            const std::string start = function + " (OrnKnxAppStatic/" + file + ":";
            const std::string end = ") - " + message;
            const auto& text = line.text;
            return line.level == level && text.size() > start.size() + end.size() && text.rfind(start, 0) == 0 &&
                   text.compare(text.size() - end.size(), end.size(), end) == 0 &&
                   text.find_first_not_of("0123456789", start.size()) == text.size() - end.size();
        });
    }

    static constexpr Zandrel::LogicalDeviceId Device = *Zandrel::LogicalDeviceId::From(1);

    LogCapture log_{"KnxSide"};
    GlobalLogCapture globalLog_;
    std::shared_ptr<Zandrel::AppIdentity> identity_ = std::make_shared<Zandrel::AppIdentity>();
    Zandrel::PrefixedLogger prefixedLog_{log_.GetLogger(), identity_};
    std::shared_ptr<SimulatedClock> clock_ = std::make_shared<SimulatedClock>();
    FakeKnxStack stack_;
};

}  // namespace TestSupport

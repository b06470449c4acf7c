#pragma once

#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>
#include <unistd.h>

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <functional>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "AppHostProcessControl.h"
#include "CapturingAppender.h"
#include "Orn/Clock.h"

/// What the tests of the app-host control share.
namespace AppSideTools {

using TestSupport::LogLine;
using Zandrel::AppHostControlState;

// The device's own files where a test has its folders
inline constexpr const char* AppHost = "device/opt/ostra/bin/ornapphost";
inline constexpr const char* ConnectorHost = "device/opt/ostra/bin/OrnAppConnectorHost.exe";
inline constexpr const char* ConnectorLibrary = "device/opt/ostra/lib/libornconnectorapp.so";

inline constexpr Zandrel::LogicalDeviceId FirstDevice = *Zandrel::LogicalDeviceId::From(1);
inline constexpr Zandrel::LogicalDeviceId SecondDevice = *Zandrel::LogicalDeviceId::From(2);

using Lines = std::vector<LogLine>;

inline Lines operator+(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

/// Lines without what differs from run to run: "(SOURCE)", "pid N", and nothing after "took".
inline Lines Comparable(Lines lines) {
    static const std::regex source("\\(Orn[A-Za-z/]+:[0-9]+\\)");
    static const std::regex pid("pid: [0-9]+");
    static const std::regex duration(" took [0-9].*");
    for (LogLine& line : lines) {
        line.text = std::regex_replace(line.text, source, "(SOURCE)");
        line.text = std::regex_replace(line.text, pid, "pid: N");
        line.text = std::regex_replace(line.text, duration, " took");
    }
    return lines;
}

inline void Report(Zandrel::AppHostProcessControl& processControl, AppHostControlState state) {
    processControl.OnRunStateValue(Zandrel::ZANVALUE::FromInteger(static_cast<std::int64_t>(state)));
}

/// Simulated time: a sleep lets it pass at once, and lets a test act. For tests with one thread.
class HookedClock final : public Zandrel::Clock {
public:
    TimePoint Now() const override {
        if (onNow) {
            onNow();
        }
        return now;
    }
    void SleepFor(Duration duration) override {
        now += duration;
        sleeps.push_back(duration);
        if (onSleep) {
            onSleep();
        }
    }

    TimePoint now{};
    std::vector<Duration> sleeps;
    std::function<void()> onNow;
    std::function<void()> onSleep;
};

/// Lets a test act at the moment of one log line, for as long as it lives.
class LineHook {
public:
    /// Calls `action` at each line of `logger` that contains `text`.
    LineHook(log4cplus::Logger logger, std::string text, std::function<void()> action)
        : logger_(std::move(logger)), appender_(new Appender(std::move(text), std::move(action))) {
        logger_.addAppender(appender_);
    }
    ~LineHook() { logger_.removeAppender(appender_); }
    LineHook(const LineHook&) = delete;
    LineHook& operator=(const LineHook&) = delete;

private:
    class Appender : public log4cplus::Appender {
    public:
        Appender(std::string text, std::function<void()> action) : text_(std::move(text)), action_(std::move(action)) {}
        ~Appender() override { destructorImpl(); }
        Appender(const Appender&) = delete;
        Appender& operator=(const Appender&) = delete;

        void close() override { closed = true; }
        void append(const log4cplus::spi::InternalLoggingEvent& event) override {
            if (event.getMessage().find(text_) != std::string::npos) {
                action_();
            }
        }

    private:
        const std::string text_;
        const std::function<void()> action_;
    };

    log4cplus::Logger logger_;
    log4cplus::SharedAppenderPtr appender_;
};

/// An empty working directory, for as long as it lives.
class WorkingDirectory {
public:
    WorkingDirectory() {
        boost::filesystem::create_directories(folder_);
        boost::filesystem::current_path(folder_);
    }
    ~WorkingDirectory() {
        boost::filesystem::current_path(previous_);
        boost::filesystem::remove_all(folder_);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

    /// Makes a file below it, with its folders.
    static void MakeFile(const boost::filesystem::path& file) {
        boost::filesystem::create_directories(file.parent_path());
        boost::filesystem::ofstream(file) << "content";
    }
    static void MakeLink(const boost::filesystem::path& target, const boost::filesystem::path& file) {
        boost::filesystem::create_directories(file.parent_path());
        boost::filesystem::create_symlink(target, file);
    }

private:
    const boost::filesystem::path previous_ = boost::filesystem::current_path();
    const boost::filesystem::path folder_ =
        boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("orn-%%%%%%%%%%%%");
};

}  // namespace AppSideTools

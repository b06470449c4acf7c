#include "Output/PluginLog.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/nullappender.h>
#include <log4cplus/spi/loggingevent.h>

#include <fstream>
#include <memory>
#include <stdexcept>

namespace LocalDevice {

namespace {

constexpr const char* PluginLoggerName = "KnxStack.ApplicationProgram";
constexpr const char* FilePattern = "%D{%H:%M:%S,%q} %-5p %m%n";

class EventAppender final : public log4cplus::Appender {
public:
    explicit EventAppender(HostEvents& events) : events_(events) { setThreshold(log4cplus::INFO_LOG_LEVEL); }
    ~EventAppender() override { destructorImpl(); }
    EventAppender(const EventAppender&) = delete;
    EventAppender& operator=(const EventAppender&) = delete;

    void close() override { closed = true; }

private:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        events_.Publish(LogEvent{event.getLogLevel(), event.getMessage()});
    }

    HostEvents& events_;
};

log4cplus::SharedAppenderPtr MakeFileAppender(const std::string& file) {
    // log4cplus only logs that a file cannot be opened.
    if (!std::ofstream(file, std::ios::app)) {
        throw std::runtime_error(file + ": the log cannot be written; expected a file in a folder that is there");
    }
    log4cplus::SharedAppenderPtr appender(new log4cplus::FileAppender(file, std::ios_base::app));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>(FilePattern));
    return appender;
}

}  // namespace

PluginLog::PluginLog(HostEvents& events, const std::string& file)
    : logger_(log4cplus::Logger::getInstance(PluginLoggerName)), appender_(new EventAppender(events)) {
    auto root = log4cplus::Logger::getRoot();
    if (file.empty()) {
        root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
        root.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    } else {
        root.addAppender(MakeFileAppender(file));
        root.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    }
    logger_.addAppender(appender_);
}

PluginLog::~PluginLog() {
    logger_.removeAppender(appender_);
    log4cplus::Logger::getRoot().removeAllAppenders();
}

}  // namespace LocalDevice

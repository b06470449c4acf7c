#include "Output/PluginLog.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/nullappender.h>

#include <fstream>
#include <memory>
#include <stdexcept>

namespace LocalDevice {

namespace {

constexpr const char* FilePattern = "%D{%H:%M:%S,%q} %-5p %m%n";

log4cplus::SharedAppenderPtr MakeFileAppender(const std::string& file, long limit) {
    constexpr int OldFiles = 1;
    // log4cplus only logs that a file cannot be opened.
    if (!std::ofstream(file, std::ios::app)) {
        throw std::runtime_error(file + ": the log cannot be written; expected a file in a folder that is there");
    }
    log4cplus::SharedAppenderPtr appender(new log4cplus::RollingFileAppender(file, limit, OldFiles));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>(FilePattern));
    return appender;
}

}  // namespace

PluginLog::PluginLog(HostEvents& events, const std::string& file, long fileLimit)
    : tap_(log4cplus::INFO_LOG_LEVEL, [&events](log4cplus::LogLevel level, const std::string& line) {
          events.Publish(LogEvent{level, line});
      }) {
    auto root = log4cplus::Logger::getRoot();
    if (file.empty()) {
        root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
        root.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    } else {
        root.addAppender(MakeFileAppender(file, fileLimit));
        root.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    }
    GetApplicationLogger().setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
}

PluginLog::~PluginLog() {
    log4cplus::Logger::getRoot().removeAllAppenders();
}

}  // namespace LocalDevice

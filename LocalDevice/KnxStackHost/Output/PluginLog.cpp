#include "Output/PluginLog.h"

#include <log4cplus/fileappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/nullappender.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "LostLogReport.h"
#include "PrintableText.h"

namespace LocalDevice {

namespace {

constexpr const char* LinePattern = "%D{%H:%M:%S,%q} %-5p %m";

/// Makes one line of a record, whatever its text holds.
class LineLayout final : public log4cplus::PatternLayout {
public:
    LineLayout() : PatternLayout(LinePattern) {}

    void formatAndAppend(log4cplus::tostream& output, const log4cplus::spi::InternalLoggingEvent& event) override {
        std::ostringstream line;
        PatternLayout::formatAndAppend(line, event);
        output << MakePrintable(line.str()) << '\n';
    }
};

log4cplus::SharedAppenderPtr MakeFileAppender(const std::string& file, long limit) {
    constexpr int OldFiles = 1;
    // log4cplus only logs that a file cannot be opened.
    if (!std::ofstream(file, std::ios::app)) {
        throw std::runtime_error(file + ": the log cannot be written; expected a file in a folder that is there");
    }
    log4cplus::SharedAppenderPtr appender(new log4cplus::RollingFileAppender(file, limit, OldFiles));
    appender->setLayout(std::make_unique<LineLayout>());
    appender->setErrorHandler(std::make_unique<LostLogReport>(file));
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
    auto application = GetApplicationLogger();
    application.setLogLevel(log4cplus::DEBUG_LOG_LEVEL);
    // Without a file nothing above it wants the lines.
    application.setAdditivity(!file.empty());
}

PluginLog::~PluginLog() {
    log4cplus::Logger::getRoot().removeAllAppenders();
}

}  // namespace LocalDevice

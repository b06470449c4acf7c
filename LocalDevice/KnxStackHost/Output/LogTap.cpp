#include "Output/LogTap.h"

#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>

#include <utility>

namespace LocalDevice {

namespace {

class TapAppender final : public log4cplus::Appender {
public:
    TapAppender(log4cplus::LogLevel least, LogTap::Handler handler) : handler_(std::move(handler)) {
        setThreshold(least);
    }
    ~TapAppender() override { destructorImpl(); }
    TapAppender(const TapAppender&) = delete;
    TapAppender& operator=(const TapAppender&) = delete;

    void close() override { closed = true; }

private:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        handler_(event.getLogLevel(), event.getMessage());
    }

    const LogTap::Handler handler_;
};

}  // namespace

log4cplus::Logger GetApplicationLogger() {
    return log4cplus::Logger::getInstance("KnxStack.ApplicationProgram");
}

LogTap::LogTap(log4cplus::LogLevel threshold, Handler handler)
    : logger_(GetApplicationLogger()), appender_(new TapAppender(threshold, std::move(handler))) {
    logger_.addAppender(appender_);
}

LogTap::~LogTap() {
    logger_.removeAppender(appender_);
}

}  // namespace LocalDevice

#include "CapturingAppender.h"

#include <log4cplus/initializer.h>
#include <log4cplus/spi/loggingevent.h>

#include <boost/thread/lock_guard.hpp>
#include <utility>

#include "Zandrel/Logging.h"

namespace TestSupport {

class LogCapture::Appender : public log4cplus::Appender {
public:
    ~Appender() override { destructorImpl(); }
    Appender() = default;
    Appender(const Appender&) = delete;
    Appender& operator=(const Appender&) = delete;

    void close() override { closed = true; }

    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        lines_.push_back(
            {log4cplus::getLogLevelManager().toString(event.getLogLevel()), event.getMessage(), event.getThread()});
        lastSource_ = event.getFile() + ":" + std::to_string(event.getLine());
    }

    std::vector<LogLine> Get() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return lines_;
    }
    std::vector<LogLine> Take() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return std::exchange(lines_, {});
    }
    std::string GetLastSource() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return lastSource_;
    }

private:
    boost::mutex mutex_;
    std::vector<LogLine> lines_;
    std::string lastSource_;
};

namespace {

log4cplus::Logger InitialisedLogger(const std::string& name) {
    static const log4cplus::Initializer initializer;
    return log4cplus::Logger::getInstance(name);
}

}  // namespace

LogCapture::LogCapture(const std::string& name) : logger_(InitialisedLogger(name)), appender_(new Appender) {
    logger_.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    logger_.setAdditivity(false);
    logger_.addAppender(appender_);
}

LogCapture::~LogCapture() {
    logger_.removeAppender(appender_);
}

std::vector<LogLine> LogCapture::GetLines() const {
    return static_cast<Appender&>(*appender_).Get();
}

std::vector<LogLine> LogCapture::TakeLines() {
    return static_cast<Appender&>(*appender_).Take();
}

std::string LogCapture::GetLastSource() const {
    return static_cast<Appender&>(*appender_).GetLastSource();
}

GlobalLogCapture::GlobalLogCapture() : LogCapture("KnxStack.ApplicationProgram") {
    Zandrel::SetCentralLoggerOnce(GetLogger());
}

}  // namespace TestSupport

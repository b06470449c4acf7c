#include "MessageOutput.h"

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/spi/loggingevent.h>

#include <iostream>
#include <string_view>

#include "PrintableText.h"
#include "Zandrel/Logging.h"

namespace LocalDevice {

namespace {

/// What stands behind "FUNCTION (FILE:LINE)".
constexpr const char* PlaceEnd = ") - ";

class Output : public log4cplus::Appender {
public:
    Output() = default;
    ~Output() override { destructorImpl(); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void close() override { closed = true; }
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        const std::string& line = event.getMessage();
        const std::size_t end = line.find(PlaceEnd);
        const std::size_t begin = end == std::string::npos ? 0 : end + std::char_traits<char>::length(PlaceEnd);
        std::cerr << MakePrintable(std::string_view(line).substr(begin)) << '\n';
    }
};

}  // namespace

MessageOutput::MessageOutput() {
    log4cplus::Logger logger = log4cplus::Logger::getInstance("ornpackage");
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    logger.setAdditivity(false);
    logger.addAppender(log4cplus::SharedAppenderPtr(new Output));
    Zandrel::SetCentralLoggerOnce(logger);
}

}  // namespace LocalDevice

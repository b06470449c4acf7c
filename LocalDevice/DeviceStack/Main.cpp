#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <log4cplus/nullappender.h>
#include <sys/resource.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <cerrno>
#include <csignal>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "DeviceStackServer.h"
#include "LostLogReport.h"
#include "OpenStandardStreams.h"
#include "ServiceOptions.h"

namespace LocalDevice {

namespace {

constexpr int ExitFailure = 1;
constexpr int ExitUsage = 2;

/// Every client takes a descriptor; the usual soft limit is for programs that use select.
void RaiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

log4cplus::Logger OpenLog(const std::string& file) {
    constexpr long MaximumSize = 10L * 1024 * 1024;
    constexpr int Backups = 1;
    log4cplus::Logger logger = log4cplus::Logger::getInstance("DeviceStack");
    if (file.empty()) {
        logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
        return logger;
    }
    if (!std::ofstream(file, std::ios::app)) {
        throw OptionError("--log " + file + ": expected a file that can be written (" +
                          std::generic_category().message(errno) + ")");
    }
    log4cplus::SharedAppenderPtr appender(new log4cplus::RollingFileAppender(file, MaximumSize, Backups));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>("%D{%Y-%m-%d %H:%M:%S.%q} %-5p %m%n"));
    appender->setErrorHandler(std::make_unique<LostLogReport>(file));
    logger.addAppender(appender);
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    return logger;
}

void Serve(const ServiceOptions& options) {
    RaiseDescriptorLimit();
    const log4cplus::Logger logger = OpenLog(options.logFile);
    boost::asio::io_context io(1);
    RequestDispatcher dispatcher(options.serialNumbers, logger);
    DeviceStackServer server(io, {boost::asio::ip::make_address(options.address), options.port}, dispatcher,
                             ConnectionLimits{}, logger);

    boost::asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&server, &logger](const boost::system::error_code& error, int) {
        if (!error) {
            LOG4CPLUS_INFO(logger, "Ending");
            server.Stop();
        }
    });

    std::cout << "device stack listening on " << server.GetEndpoint() << std::endl;
    LOG4CPLUS_INFO(logger, "Listening on " << server.GetEndpoint());
    server.Run();
}

int Run(const std::vector<std::string>& arguments) {
    try {
        const log4cplus::Initializer logging;
        const ServiceOptions options = ParseOptions(arguments);
        if (options.isHelpWanted) {
            std::cout << GetHelp();
            return 0;
        }
        try {
            Serve(options);
        } catch (const boost::system::system_error& error) {
            std::cerr << "devicestack: --address " << options.address << " --port " << options.port
                      << ": expected an address of this host and a free port (" << error.code().message() << ")\n";
            return ExitFailure;
        }
    } catch (const OptionError& error) {
        std::cerr << "devicestack: " << error.what() << '\n';
        return ExitUsage;
    } catch (const std::exception& error) {
        std::cerr << "devicestack: " << error.what() << '\n';
        return ExitFailure;
    }
    return 0;
}

}  // namespace

}  // namespace LocalDevice

int main(int argc, char** argv) {
    LocalDevice::OpenStandardStreams();
    return LocalDevice::Run({argv + 1, argv + argc});
}

#include <log4cplus/loggingmacros.h>

#include <boost/asio/error.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/chrono/system_clocks.hpp>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "DeviceStackAddress.h"
#include "DeviceStackClient.h"
#include "Ostra/IDeviceStackClient.h"
#include "Zandrel/Logging.h"

namespace Ostra {
namespace {

constexpr std::uint16_t DefaultPort = 7580;
constexpr boost::chrono::seconds FirstConnectTimeout{1};

/// A device stack that starts late is no news. What keeps the client from looking for it is.
bool IsNobodyThere(const boost::system::error_code& error) {
    return error == boost::asio::error::connection_refused || error == boost::asio::error::timed_out ||
           error == boost::beast::error::timeout;
}

IDeviceStackClient* Connect(const DeviceStackAddress& address) try {
    const auto deadline = boost::chrono::steady_clock::now() + FirstConnectTimeout;
    boost::system::error_code error;
    auto endpoints = Resolve(address, deadline, error);
    if (!error) {
        auto client = std::make_unique<DeviceStackClient>(std::move(endpoints));
        const auto rest = deadline - boost::chrono::steady_clock::now();
        error = client->Connect(std::chrono::nanoseconds(rest.count()));
        if (!error) {
            return client.release();
        }
    }
    const log4cplus::LogLevel level = IsNobodyThere(error) ? log4cplus::DEBUG_LOG_LEVEL : log4cplus::WARN_LOG_LEVEL;
    Zandrel::GetGlobalDefaultLogger().log(
        level, "No device stack at " + address.host + ':' + std::to_string(address.port) + ": " + error.message());
    return nullptr;
} catch (const std::exception& error) {
    LOG4CPLUS_ERROR(Zandrel::GetGlobalDefaultLogger(), "No client for the device stack: " << error.what());
    return nullptr;
}

}  // namespace

IDeviceStackClient* CreateDeviceStackClient() {
    const char* const text = std::getenv("ORN_DEVICE_STACK");
    const auto address = ParseDeviceStackAddress(text != nullptr ? text : "", std::nullopt);
    if (!address) {
        LOG4CPLUS_ERROR(Zandrel::GetGlobalDefaultLogger(),
                        "ORN_DEVICE_STACK is not HOST:PORT: '" << (text != nullptr ? text : "") << "'");
        return nullptr;
    }
    return Connect(*address);
}

IDeviceStackClient* CreateDeviceStackClient(const std::string& address) {
    const auto parsed = ParseDeviceStackAddress(address, DefaultPort);
    if (!parsed) {
        LOG4CPLUS_ERROR(Zandrel::GetGlobalDefaultLogger(),
                        "Device stack address is not HOST or HOST:PORT: '" << address << "'");
        return nullptr;
    }
    return Connect(*parsed);
}

void ReleaseDeviceStackClient(IDeviceStackClient* client) {
    delete static_cast<DeviceStackClient*>(client);
}

}  // namespace Ostra

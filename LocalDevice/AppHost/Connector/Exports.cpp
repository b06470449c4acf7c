#include <cstdlib>
#include <exception>
#include <memory>
#include <string>

#include "Connector.h"
#include "orn/app.h"

uint32_t orn_app_interface_version() {
    return ORN_APP_INTERFACE_VERSION;
}

orn_result orn_app_start(const orn_host* host, void** app) {
    const char* const portFile = std::getenv("ORN_CONNECTOR_PORT_FILE");
    if (portFile == nullptr || *portFile == '\0') {
        host->log(host, ORN_LOG_ERROR,
                  "ORN_CONNECTOR_PORT_FILE is not set: app host and connector host need the same file, in which one "
                  "finds the other");
        return ORN_FAILED;
    }
    try {
        auto connector = std::make_unique<LocalDevice::Connector>(*host, portFile, LocalDevice::Connector::Durations());
        const std::string line = "Waiting for the connector host at port " + std::to_string(connector->GetPort());
        host->log(host, ORN_LOG_INFO, line.c_str());
        *app = connector.release();
        return ORN_OK;
    } catch (const std::exception& error) {
        const std::string line = std::string("Cannot wait for a connector host: ") + error.what();
        host->log(host, ORN_LOG_ERROR, line.c_str());
        return ORN_FAILED;
    }
}

void orn_app_stop(void* app) {
    const std::unique_ptr<LocalDevice::Connector> connector(static_cast<LocalDevice::Connector*>(app));
}

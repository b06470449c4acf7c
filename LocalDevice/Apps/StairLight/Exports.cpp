#include <exception>
#include <memory>

#include "StairLight.h"
#include "orn/app.h"

uint32_t orn_app_interface_version() {
    return ORN_APP_INTERFACE_VERSION;
}

orn_result orn_app_start(const orn_host* host, void** app) {
    try {
        auto stairLight = std::make_unique<StairLight::StairLight>(*host);
        const orn_result result = stairLight->Start();
        if (result == ORN_OK) {
            *app = stairLight.release();
        }
        return result;
    } catch (const std::exception& error) {
        host->log(host, ORN_LOG_ERROR, error.what());
        return ORN_FAILED;
    }
}

void orn_app_stop(void* app) {
    delete static_cast<StairLight::StairLight*>(app);
}

/*
 * Passes each value of a communication object on to the one that lies opposite: from CO 1 to CO 520, from 2 to 519, and
 * back.
 */
#include "orn/app.h"

static void OnValue(void* context, uint16_t co, const orn_value* value) {
    const orn_host* host = context;
    if (host->set_value(host, (uint16_t)(ORN_MAX_CO + 1 - co), value) != ORN_OK) {
        host->log(host, ORN_LOG_WARN, "A value was lost.");
    }
}

uint32_t orn_app_interface_version(void) {
    return ORN_APP_INTERFACE_VERSION;
}

orn_result orn_app_start(const orn_host* host, void** app) {
    (void)app;
    for (uint16_t co = 1; co <= ORN_MAX_CO; ++co) {
        const orn_result result = host->on_value(host, co, OnValue, (void*)host);
        if (result != ORN_OK) {
            return result;
        }
    }
    return ORN_OK;
}

void orn_app_stop(void* app) {
    (void)app;
}

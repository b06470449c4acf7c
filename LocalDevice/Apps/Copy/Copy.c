/*
 * Copies every value of CO 1 to CO 2, unchanged and in order.
 */
#include "orn/app.h"

enum { Input = 1, Output = 2 };

static void OnInput(void* context, uint16_t co, const orn_value* value) {
    const orn_host* host = context;
    (void)co;
    if (host->set_value(host, Output, value) != ORN_OK) {
        host->log(host, ORN_LOG_WARN, "A value was lost.");
    }
}

uint32_t orn_app_interface_version(void) {
    return ORN_APP_INTERFACE_VERSION;
}

orn_result orn_app_start(const orn_host* host, void** app) {
    (void)app;
    return host->on_value(host, Input, OnInput, (void*)host);
}

void orn_app_stop(void* app) {
    (void)app;
}

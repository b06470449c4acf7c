/* An app without orn_app_stop. */
#include "orn/app.h"

uint32_t orn_app_interface_version(void) {
    return ORN_APP_INTERFACE_VERSION;
}

orn_result orn_app_start(const orn_host* host, void** app) {
    (void)host;
    (void)app;
    return ORN_OK;
}

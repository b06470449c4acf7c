/* An app of an interface that is still to come. */
#include "orn/app.h"

uint32_t orn_app_interface_version(void) {
    return ORN_APP_INTERFACE_VERSION + 1;
}

orn_result orn_app_start(const orn_host* host, void** app) {
    (void)host;
    (void)app;
    return ORN_OK;
}

void orn_app_stop(void* app) {
    (void)app;
}

// An app that makes trouble: text parameter 1 says which, at its start or when CO 1 gets a value. CO 2 says where it
// is.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>

#include "orn/app.h"

namespace {

const orn_host* theHost = nullptr;
std::string trouble;

void Tell(const char* text) {
    orn_value value{};
    value.type = ORN_TEXT;
    value.as.text = text;
    theHost->set_value(theHost, 2, &value);
}

[[noreturn]] void Hang() {
    Tell("hanging");
    for (;;) {
        std::this_thread::sleep_for(std::chrono::hours(1));
    }
}

void MakeTrouble(const std::string& place) {
    if (trouble == place + " crash") {
        raise(SIGSEGV);  // NOLINT(cert-err33-c): it does not return
    } else if (trouble == place + " abort") {
        std::abort();
    } else if (trouble == place + " exit") {
        std::exit(0);
    } else if (trouble == place + " exit on a thread") {
        std::thread([] { std::exit(3); }).join();
    } else if (trouble == place + " throw") {
        throw std::runtime_error("trouble");
    } else if (trouble == place + " fail") {
        theHost->fail(theHost, "trouble");
    } else if (trouble == place + " hang") {
        Hang();
    }
}

}  // namespace

uint32_t orn_app_interface_version() {
    return ORN_APP_INTERFACE_VERSION;
}

orn_result orn_app_start(const orn_host* host, void** /*app*/) {
    theHost = host;
    trouble = host->text_parameter(host, 1);
    const auto onCommunication = [](void*, bool on) { Tell(on ? "on" : "off"); };
    host->on_communication(host, onCommunication, nullptr);
    MakeTrouble("start");
    const auto onValue = [](void*, uint16_t, const orn_value*) {
        Tell("called");
        MakeTrouble("call");
    };
    return host->on_value(host, 1, onValue, nullptr);
}

void orn_app_stop(void* /*app*/) {
    MakeTrouble("stop");
    Tell("stopped");
}

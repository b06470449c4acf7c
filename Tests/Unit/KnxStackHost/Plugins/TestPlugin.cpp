// A library with the exports of a plug-in, or without one of them: for tests of loading.

#include <unistd.h>

#include <cstdint>

#include "KnxStack/IApplicationProgram.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

namespace {

class Program : public KnxStack::IApplicationProgram {
public:
    int Init(KnxStack::IApiHub&) override { return 2; }
    int OnDeviceRestart() override { return 2; }
    int Exit() override {
#ifdef HANGS_AT_EXIT
        for (;;) {
            pause();
        }
#endif
        return 1;
    }
};

}  // namespace

#ifndef WITHOUT_VERSION
EXPORTED std::uint32_t getKnxStackApiVersion() {
    return PLUGIN_VERSION;
}
#endif

#ifndef WITHOUT_CREATE
EXPORTED KnxStack::IApplicationProgram* createApplicationProgram() {
    return new Program;
}
#endif

#ifndef WITHOUT_DELETE
EXPORTED void deleteApplicationProgram(KnxStack::IApplicationProgram* applicationProgram) {
    delete applicationProgram;
}
#endif

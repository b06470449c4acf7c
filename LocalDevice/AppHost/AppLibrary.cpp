#include "AppLibrary.h"

#include <dlfcn.h>

#include <filesystem>

namespace LocalDevice {

namespace {

template <typename Function>
Function* FindFunction(void* library, const std::string& path, const char* name) {
    void* const symbol = dlsym(library, name);
    if (symbol == nullptr) {
        throw AppLibraryError(path + " is no app: it does not export " + name);
    }
    return reinterpret_cast<Function*>(symbol);
}

}  // namespace

AppFunctions LoadAppLibrary(const std::string& path) {
    if (path.empty()) {
        throw AppLibraryError("cannot load the app: the path is empty");
    }
    // A bare name would be looked up in the system's library folders.
    const std::string file = std::filesystem::absolute(path);
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw AppLibraryError(std::string("cannot load the app: ") + dlerror());
    }
    const auto version = FindFunction<decltype(orn_app_interface_version)>(library, path, "orn_app_interface_version");
    const AppFunctions functions{FindFunction<decltype(orn_app_start)>(library, path, "orn_app_start"),
                                 FindFunction<decltype(orn_app_stop)>(library, path, "orn_app_stop")};
    if (version() != ORN_APP_INTERFACE_VERSION) {
        throw AppLibraryError(path + " is built for version " + std::to_string(version()) +
                              " of the app interface, this app host for version " +
                              std::to_string(ORN_APP_INTERFACE_VERSION));
    }
    return functions;
}

}  // namespace LocalDevice

#include "Application/PluginLibrary.h"

#include <dlfcn.h>

#include <boost/filesystem/operations.hpp>

namespace LocalDevice {

namespace {

using Handle = std::shared_ptr<void>;

Handle Open(const std::string& path) {
    // An absolute path, so that dlopen does not search for a bare name elsewhere.
    const auto file = boost::filesystem::absolute(path).string();
    void* const handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        throw PluginError(path + ": cannot be loaded (" + dlerror() + "); expected a KNX stack plug-in library");
    }
    return {handle, dlclose};
}

template <typename Function>
Function* Find(const Handle& handle, const std::string& path, const char* name) {
    void* const symbol = dlsym(handle.get(), name);
    if (symbol == nullptr) {
        throw PluginError(path + ": export '" + name +
                          "' is missing; expected createApplicationProgram, deleteApplicationProgram and "
                          "getKnxStackApiVersion");
    }
    return reinterpret_cast<Function*>(symbol);
}

}  // namespace

ApplicationProgramFactory PluginLibrary::Load(const std::string& path) {
    const Handle handle = Open(path);
    auto* const getVersion = Find<decltype(getKnxStackApiVersion)>(handle, path, "getKnxStackApiVersion");
    auto* const create = Find<decltype(createApplicationProgram)>(handle, path, "createApplicationProgram");
    auto* const destroy = Find<decltype(deleteApplicationProgram)>(handle, path, "deleteApplicationProgram");
    const auto version = getVersion();
    if (version != KnxStack::ApiVersion) {
        throw PluginError(path + ": getKnxStackApiVersion() is " + std::to_string(version) + "; expected " +
                          std::to_string(KnxStack::ApiVersion));
    }
    return {[handle, create] { return create(); },
            [handle, destroy](KnxStack::IApplicationProgram* program) { destroy(program); }};
}

}  // namespace LocalDevice

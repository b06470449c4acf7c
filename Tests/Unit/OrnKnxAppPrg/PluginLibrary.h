#pragma once

#include <dlfcn.h>

#include <cstdint>
#include <stdexcept>
#include <string>

#include "KnxStack/IApplicationProgram.h"

/// The built plug-in library, as a host finds its functions: by name. It is never unmapped.
class PluginLibrary {
public:
    PluginLibrary() : library_(dlopen(ORN_PLUGIN_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {
        if (library_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    ~PluginLibrary() { dlclose(library_); }
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    std::uint32_t GetKnxStackApiVersion() const { return Find<std::uint32_t()>("getKnxStackApiVersion")(); }
    KnxStack::IApplicationProgram* Create() const {
        return Find<KnxStack::IApplicationProgram*()>("createApplicationProgram")();
    }
    void Delete(KnxStack::IApplicationProgram* applicationProgram) const {
        Find<void(KnxStack::IApplicationProgram*)>("deleteApplicationProgram")(applicationProgram);
    }

private:
    template <typename Function>
    Function* Find(const char* name) const {
        void* const symbol = dlsym(library_, name);
        if (symbol == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<Function*>(symbol);
    }

    void* library_;
};

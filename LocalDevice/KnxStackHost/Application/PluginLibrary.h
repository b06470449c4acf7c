#pragma once

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

#include "KnxStack/IApplicationProgram.h"

namespace LocalDevice {

/// A library that is no plug-in: `what()` is one line that names the file, what is wrong and what was expected.
class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How application programs are made and given back.
struct ApplicationProgramFactory {
    std::function<KnxStack::IApplicationProgram*()> create;
    std::function<void(KnxStack::IApplicationProgram*)> destroy;
};

/// A loaded plug-in library; unloaded with the last copy of its factory.
class PluginLibrary {
public:
    /// Loads the file at `path` and checks its exports and its interface version. Throws `PluginError`.
    static ApplicationProgramFactory Load(const std::string& path);
};

}  // namespace LocalDevice

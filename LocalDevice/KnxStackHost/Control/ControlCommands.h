#pragma once

#include <boost/thread/mutex.hpp>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "DeviceDescription.h"
#include "KnxStackHost.h"

namespace LocalDevice {

/// Executes the requests of the control socket; README.md describes them. Thread-safe.
class ControlCommands {
public:
    /// Reads a device description; throws `DescriptionError`.
    using DescriptionLoader = std::function<DeviceDescription(const std::string& path)>;

    /// `device`: what `host` was powered up with. `host` must outlive the object.
    ControlCommands(KnxStackHost& host, DeviceDescription device, DescriptionLoader load);
    ControlCommands(const ControlCommands&) = delete;
    ControlCommands& operator=(const ControlCommands&) = delete;

    /// The answer to a request; waits as long as the command takes. Throws nothing.
    nlohmann::json Execute(const nlohmann::json& request);

private:
    using Command = nlohmann::json (ControlCommands::*)(const nlohmann::json& request);

    static Command FindCommand(const std::string& name);
    nlohmann::json Dispatch(const nlohmann::json& request);

    nlohmann::json Status(const nlohmann::json& request);
    nlohmann::json Restart(const nlohmann::json& request);
    nlohmann::json Exit(const nlohmann::json& request);
    nlohmann::json Start(const nlohmann::json& request);
    nlohmann::json Download(const nlohmann::json& request);
    nlohmann::json Unload(const nlohmann::json& request);
    nlohmann::json ReadProperty(const nlohmann::json& request);
    nlohmann::json Write(const nlohmann::json& request);
    nlohmann::json Respond(const nlohmann::json& request);
    nlohmann::json Read(const nlohmann::json& request);
    nlohmann::json Monitor(const nlohmann::json& request);

    nlohmann::json Send(GroupService service, const nlohmann::json& request);
    nlohmann::json GetLoadStates();
    DeviceDescription GetDevice();

    KnxStackHost& host_;
    const DescriptionLoader load_;

    boost::mutex mutex_;
    DeviceDescription device_;  ///< what was loaded last
};

}  // namespace LocalDevice

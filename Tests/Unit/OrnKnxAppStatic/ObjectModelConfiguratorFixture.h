#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "IKnxConfigurationSource.h"
#include "ObjectModelConfigurator.h"
#include "ObjectModelFixture.h"
#include "Orn/ThreadControl.h"

namespace TestSupport {

/// A KNX side that has whatever a test puts into it.
class FakeKnxSide final : public Zandrel::IKnxConfigurationSource {
public:
    explicit FakeKnxSide(std::shared_ptr<Zandrel::AppIdentity> identity) : identity_(std::move(identity)) {}

    bool InitObjectModel(Zandrel::LogicalDeviceId logicalDevice, Zandrel::KnxConfiguration& configuration) override {
        identity_->SetLogicalDeviceId(heldDevice.value_or(logicalDevice));
        identity_->SetAppId(appId);
        configuration = download;
        if (whenRead) {
            whenRead();
        }
        return readable;
    }
    std::string GetSerialNumber() const override { return "000a14ff0102"; }
    std::string GetFriendlyName() const override { return friendlyName; }
    std::string GetIndividualAddress() const override { return "1.1.10"; }
    std::vector<Zandrel::KnxStyleString> GetAdditionalIndividualAddresses() const override {
        return additionalAddresses;
    }

    std::optional<Zandrel::LogicalDeviceId> heldDevice;  ///< none: the one that was asked for
    std::string appId = "app";
    std::string friendlyName = "Hall";
    std::vector<Zandrel::KnxStyleString> additionalAddresses;
    Zandrel::KnxConfiguration download;
    std::function<void()> whenRead;
    bool readable = true;

private:
    std::shared_ptr<Zandrel::AppIdentity> identity_;
};

/// A configurator that finds itself to be logical device 1.
class ObjectModelConfiguratorFixture : public ObjectModelFixture {
protected:
    static constexpr const char* Begin = R"({"command":"EmitEvent","eventType":"configurationChangeBegin"})";
    static constexpr const char* End = R"({"command":"EmitEvent","eventType":"configurationChangeEnd"})";

    static const Zandrel::LogicalDeviceId& Device1() {
        static const Zandrel::LogicalDeviceId device = *Zandrel::LogicalDeviceId::From(1);
        return device;
    }

    ObjectModelConfiguratorFixture() {
        stack.Accept("GetDeviceConfig", R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000a14ff0102"}}})");
        knx.download.cos.emplace_back();
    }

    bool Configure() { return sut.ConfigureObjectModel(control); }

    /// The captured lines, each duration without its times, and forgets them.
    Lines TakeLines() {
        Lines lines = log.TakeLines();
        for (LogLine& line : lines) {
            const auto times = line.text.find(" took ");
            if (times != std::string::npos) {
                line.text.resize(times + std::string(" took ").size());
            }
        }
        return lines;
    }

    static LogLine Line(const std::string& level, const std::string& function, const std::string& message) {
        return {level, "[app] " + function + " - " + message};
    }
    static LogLine Took(const std::string& what) {
        return {"INFO", "~MeasureDuration - ConfigureObjectModel(): " + what + " took "};
    }

    const LogLine determined = Line("INFO", "GetLogicalKnxDeviceId", "This is logical KNX device 1");
    const LogLine retrieved = Took("Retrieving configuration");
    const LogLine switchedOn =
        Line("INFO", "DeviceStackConfigurationIndicator", "Switched on configuration change mode.");
    const LogLine devicesSent = Took("Setting up object model configuration");
    const LogLine switchedOff =
        Line("INFO", "~DeviceStackConfigurationIndicator", "Switched off configuration change mode.");
    const LogLine interrupted = Line("INFO", "ConfigureObjectModel", "Interruption signaled.");

    FakeKnxSide knx{identity};
    Zandrel::ThreadControl control;
    Zandrel::ObjectModelConfigurator sut{logger, connection, identity, knx};
};

}  // namespace TestSupport

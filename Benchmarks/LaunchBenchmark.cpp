#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "ApplicationCore.h"
#include "ChildProcess.h"
#include "FakeKnxStack.h"
#include "ShortestTime.h"
#include "TemporaryFolder.h"
#include "Zandrel/KnxOdsMapping.h"

/// How long an app takes from `LaunchApp` to "Running", with the real processes of a device, against starting mono with
/// an empty program, from its start to its end, in the same run.

namespace {

using namespace Zandrel;

constexpr const char* SerialNumber = "000a14ff0102";
constexpr std::uint16_t Cos = 4;  ///< as many as the largest of the apps has
constexpr std::uint32_t Temperature = 0x00090001;

void RunMonoWithAnEmptyProgram() {
    std::vector<std::string> words{"/usr/bin/mono", "--runtime=v4.0", ORN_EMPTY_PROGRAM};
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    pid_t child = -1;
    int status = -1;
    if (posix_spawn(&child, arguments.front(), nullptr, nullptr, arguments.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("mono failed");
    }
}

/// A device with its object model published, whose app can be launched and stopped.
class Device final : public Ostra::IDeviceStackClient::IEventHandler {
public:
    Device(const std::string& appId, std::uint8_t appType) {
        const auto line = deviceStack_.WaitForLine("device stack listening on ");
        if (!line) {
            throw std::runtime_error("the device stack did not start");
        }
        setenv("ORN_DEVICE_STACK", ("127.0.0.1:" + line->substr(line->rfind(':') + 1)).c_str(), 1);
        setenv("ORN_CONNECTOR_PORT_FILE", folder_.At("port").c_str(), 1);
        stack_.DownloadApplication(appId, appType);
        for (std::uint16_t co = 1; co <= Cos; ++co) {
            stack_.DownloadCo(co, Temperature);
        }
        logger_.setLogLevel(log4cplus::OFF_LOG_LEVEL);
        core_ = std::make_unique<ApplicationCore>(logger_, Environment(), *this);
        if (!core_->knxHandler.Init(stack_) || !core_->connection.ConnectDeviceStack() ||
            !core_->knxHandler.InitApplicationProgram1Memory(stack_) ||
            !core_->configurator.ConfigureObjectModel(control_)) {
            throw std::runtime_error("the object model was not published");
        }
        core_->connection.SetEventHandler(*this);
    }
    ~Device() {
        core_->connection.Disconnect();
        core_->knxHandler.Detach();
    }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    void Launch() {
        if (!core_->appLauncher.LaunchApp(control_)) {
            throw std::runtime_error("the app does not run");
        }
    }
    void Stop() { core_->processControl.Stop(); }

private:
    bool OnValueChanged(unsigned long id, const std::string& /*text*/, const std::string& value) override {
        if (KnxOdsMapping::IsAppHostAppControlState(id, 1)) {
            core_->processControl.OnRunStateValue(ZANVALUE::Deserialize(value));
        }
        return true;
    }
    bool OnConnectionChanged(bool /*connected*/) override { return true; }

    const TestSupport::TemporaryFolder folder_;
    TestSupport::ChildProcess deviceStack_{ORN_DEVICESTACK_PROGRAM, {"--port", "0", "--serial1", SerialNumber}};
    TestSupport::FakeKnxStack stack_;
    log4cplus::Logger logger_ = log4cplus::Logger::getInstance("Benchmark");
    ThreadControl control_;
    std::unique_ptr<ApplicationCore> core_;
};

/// The counters: the time over that of mono with an empty program ("ratio"), and the other way round, mono's own share
/// of the time. Both take turns; the shortest times count.
void LaunchApp(benchmark::State& state, const std::string& appId, std::uint8_t appType) {
    Device device(appId, appType);
    ShortestTime launch;
    ShortestTime mono;
    for (auto _ : state) {
        state.SetIterationTime(launch.Measure([&device] { device.Launch(); }));
        device.Stop();
        mono.Measure(&RunMonoWithAnEmptyProgram);
    }
    state.counters["mono ms"] = mono.Get() * 1000;
    state.counters["ratio"] = launch.Get() / mono.Get();
    if (appType == 1) {
        state.counters["share of mono"] = mono.Get() / launch.Get();
    }
}
BENCHMARK_CAPTURE(LaunchApp, native, "Copy", 0)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LaunchApp, managed, "Thermostat", 1)->Iterations(20)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

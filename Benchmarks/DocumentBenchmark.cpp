#include <benchmark/benchmark.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "AppIdentity.h"
#include "FullDownload.h"
#include "ObjectModelBuilder.h"
#include "ObjectModelDocument.h"
#include "PrefixedLogger.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using namespace Zandrel;

/// All records of a device that uses everything: 520 communication objects and 150 parameters.
Configuration MakeFullModel() {
    const LogicalDeviceId logicalDevice = *LogicalDeviceId::From(1);
    log4cplus::Logger silent = log4cplus::Logger::getInstance("Benchmark");
    silent.setLogLevel(log4cplus::OFF_LOG_LEVEL);
    const PrefixedLogger logger(silent, std::make_shared<AppIdentity>());
    const KnxConfiguration download = TestSupport::MakeFullDownload(logicalDevice);
    Configuration configuration;
    Device& device = AddDevice(configuration, KnxOdsMapping::GetLogicalKnxDeviceObjModelId(logicalDevice.Value()));
    for (auto co = download.cos.begin() + 1; co != download.cos.end(); ++co) {
        ConfigureObjModelCo(device, *co, logicalDevice, logger);
    }
    for (const auto* const parameters :
         {&download.ipParameters, &download.numberParameters, &download.textParameters}) {
        for (const ParamAttr& parameter : *parameters) {
            ConfigureObjModelParam(device, parameter, logger);
        }
    }
    return configuration;
}

void SerializeFullModel(benchmark::State& state) {
    const Configuration configuration = MakeFullModel();
    std::size_t bytes = 0;
    while (state.KeepRunning()) {
        const std::string document = SerializeConfiguration(configuration);
        benchmark::DoNotOptimize(document.data());
        bytes += document.size();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(SerializeFullModel);

/// The same content, which that library holds in a tree of its own already.
void DumpFullModelWithNlohmann(benchmark::State& state) {
    const std::string expected = SerializeConfiguration(MakeFullModel());
    const auto tree = nlohmann::ordered_json::parse(expected);
    if (tree.dump() != expected) {
        throw std::logic_error("the two documents differ");
    }
    std::size_t bytes = 0;
    while (state.KeepRunning()) {
        const std::string document = tree.dump();
        benchmark::DoNotOptimize(document.data());
        bytes += document.size();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(DumpFullModelWithNlohmann);

}  // namespace

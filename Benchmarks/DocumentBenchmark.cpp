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
#include "ShortestTime.h"
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

/// The counter "speed" is the time that nlohmann-json takes to dump the same content, which it holds in a tree of its
/// own already, over that of the serialiser: at least 3. Both take turns; the shortest times count.
void SerializeFullModel(benchmark::State& state) {
    const Configuration configuration = MakeFullModel();
    const std::string expected = SerializeConfiguration(configuration);
    const auto tree = nlohmann::ordered_json::parse(expected);
    if (tree.dump() != expected) {
        throw std::logic_error("the two documents differ");
    }
    ShortestTime serializer;
    ShortestTime reference;
    for (auto _ : state) {
        state.SetIterationTime(serializer.Measure([&configuration] {
            const std::string document = SerializeConfiguration(configuration);
            benchmark::DoNotOptimize(document.data());
        }));
        reference.Measure([&tree] {
            const std::string document = tree.dump();
            benchmark::DoNotOptimize(document.data());
        });
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(expected.size()));
    state.counters["nlohmann us"] = reference.Get() * 1e6;
    state.counters["speed"] = reference.Get() / serializer.Get();
}
BENCHMARK(SerializeFullModel)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

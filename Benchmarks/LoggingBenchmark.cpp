#include <benchmark/benchmark.h>
#include <log4cplus/logger.h>

#include <memory>
#include <string>

#include "AppIdentity.h"
#include "PrefixedLogger.h"
#include "ShortestTime.h"

// What a log statement costs whose level is off, beside a bare check of that level: at most twice as much.

namespace {

constexpr int Repeats = 100'000;

log4cplus::Logger InfoLogger() {
    log4cplus::Logger logger = log4cplus::Logger::getInstance("LoggingBenchmark");
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    return logger;
}

/// The counter "level checks" is the time of the statement over that of a bare check. Many of each take turns; the
/// shortest times count.
template <typename Statement>
void CompareWithLevelCheck(benchmark::State& state, const Statement& statement) {
    const log4cplus::Logger logger = InfoLogger();
    ShortestTime time;
    ShortestTime reference;
    for (auto _ : state) {
        state.SetIterationTime(time.Measure([&statement] {
            for (int value = 0; value < Repeats; ++value) {
                statement(value);
                benchmark::DoNotOptimize(value);
            }
        }));
        reference.Measure([&logger] {
            for (int i = 0; i < Repeats; ++i) {
                bool isEnabled = logger.isEnabledFor(log4cplus::DEBUG_LOG_LEVEL);
                benchmark::DoNotOptimize(isEnabled);
            }
        });
    }
    state.SetItemsProcessed(state.iterations() * Repeats);
    state.counters["level checks"] = time.Get() / reference.Get();
}

// NOLINTBEGIN(bugprone-lambda-function-name): the lines are never written
void DisabledPlainStatement(benchmark::State& state) {
    const log4cplus::Logger logger = InfoLogger();
    CompareWithLevelCheck(state, [&logger](int value) {
        ORN_LOG_PLAIN(logger, DEBUG, "Value " << value << " of " << std::string("something"));
    });
}

void DisabledPrefixedStatement(benchmark::State& state) {
    const auto identity = std::make_shared<Zandrel::AppIdentity>();
    identity->SetAppId("StairLight");
    const Zandrel::PrefixedLogger log(InfoLogger(), identity);
    CompareWithLevelCheck(
        state, [&log](int value) { ORN_LOG(log, DEBUG, "Value " << value << " of " << std::string("something")); });
}

void DisabledGlobalStatement(benchmark::State& state) {
    Zandrel::SetCentralLoggerOnce(InfoLogger());
    CompareWithLevelCheck(
        state, [](int value) { ORN_LOG_GLOBAL(DEBUG, "Value " << value << " of " << std::string("something")); });
}
// NOLINTEND(bugprone-lambda-function-name)

}  // namespace

BENCHMARK(DisabledPlainStatement)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(DisabledPrefixedStatement)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(DisabledGlobalStatement)->UseManualTime()->Unit(benchmark::kMicrosecond);

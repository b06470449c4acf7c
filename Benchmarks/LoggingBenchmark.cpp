#include <benchmark/benchmark.h>
#include <log4cplus/logger.h>

#include <memory>
#include <string>

#include "AppIdentity.h"
#include "PrefixedLogger.h"

// What a log statement costs whose level is off, beside a bare check of that level: at most twice as much.

namespace {

log4cplus::Logger InfoLogger() {
    log4cplus::Logger logger = log4cplus::Logger::getInstance("LoggingBenchmark");
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    return logger;
}

void BareLevelCheck(benchmark::State& state) {
    const log4cplus::Logger logger = InfoLogger();
    for (auto _ : state) {
        bool isEnabled = logger.isEnabledFor(log4cplus::DEBUG_LOG_LEVEL);
        benchmark::DoNotOptimize(isEnabled);
    }
}

void DisabledPlainStatement(benchmark::State& state) {
    const log4cplus::Logger logger = InfoLogger();
    int value = 0;
    for (auto _ : state) {
        ORN_LOG_PLAIN(logger, DEBUG, "Value " << value << " of " << std::string("something"));
        benchmark::DoNotOptimize(value);
    }
}

void DisabledPrefixedStatement(benchmark::State& state) {
    const auto identity = std::make_shared<Zandrel::AppIdentity>();
    identity->SetAppId("StairLight");
    const Zandrel::PrefixedLogger log(InfoLogger(), identity);
    int value = 0;
    for (auto _ : state) {
        ORN_LOG(log, DEBUG, "Value " << value << " of " << std::string("something"));
        benchmark::DoNotOptimize(value);
    }
}

void DisabledGlobalStatement(benchmark::State& state) {
    Zandrel::SetCentralLoggerOnce(InfoLogger());
    int value = 0;
    for (auto _ : state) {
        ORN_LOG_GLOBAL(DEBUG, "Value " << value << " of " << std::string("something"));
        benchmark::DoNotOptimize(value);
    }
}

}  // namespace

BENCHMARK(BareLevelCheck);
BENCHMARK(DisabledPlainStatement);
BENCHMARK(DisabledPrefixedStatement);
BENCHMARK(DisabledGlobalStatement);

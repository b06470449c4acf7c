#include <benchmark/benchmark.h>
#include <log4cplus/logger.h>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdint>
#include <vector>

#include "EventFilter.h"

// What one event costs among 10 and among 100,000 that are remembered: the ratio should stay below 1.5.

namespace {

using boost::posix_time::microseconds;
using boost::posix_time::ptime;
using boost::posix_time::seconds;
using Zandrel::EventFilter;
using Zandrel::FilterEntry;

constexpr std::uint32_t Counter = 12U << 16U;
constexpr std::uint32_t Temperature = 14U << 16U;
const ptime Start{boost::gregorian::date(2026, 3, 10)};

/// All of them live; all values differ, as bytes and as floats.
FilterEntry Entry(std::uint32_t dpt, std::uint32_t number, ptime now) {
    const std::uint32_t bits = dpt == Temperature ? 0x42000000U + (number << 4U) : number;
    return {static_cast<std::uint16_t>(1 + number % 520), dpt,
            KnxStack::GroupValue({static_cast<std::uint8_t>(bits >> 24U), static_cast<std::uint8_t>(bits >> 16U),
                                  static_cast<std::uint8_t>(bits >> 8U), static_cast<std::uint8_t>(bits)}),
            now + seconds(20)};
}

log4cplus::Logger SilentLogger() {
    log4cplus::Logger logger = log4cplus::Logger::getInstance("EventFilterBenchmark");
    logger.setLogLevel(log4cplus::OFF_LOG_LEVEL);
    return logger;
}

void Fill(EventFilter& filter, std::uint32_t dpt, std::int64_t count) {
    for (std::int64_t i = 0; i < count; ++i) {
        filter.AddEvent(Entry(dpt, static_cast<std::uint32_t>(i), Start + microseconds(i)));
    }
}

/// A value from the bus and its echo: sweep, add, remove.
void ValueAndItsEcho(benchmark::State& state, std::uint32_t dpt) {
    EventFilter filter(SilentLogger());
    Fill(filter, dpt, state.range(0));
    const ptime now = Start + seconds(1);
    const FilterEntry entry = Entry(dpt, static_cast<std::uint32_t>(state.range(0)), now);
    for (auto _ : state) {
        filter.RemoveExpired(now);
        filter.AddEvent(entry);
        benchmark::DoNotOptimize(filter.RemoveEvent(entry));
    }
}

/// A value of the device stack that is no echo: a miss, then a sweep.
void ValueThatIsNoEcho(benchmark::State& state, std::uint32_t dpt) {
    EventFilter filter(SilentLogger());
    Fill(filter, dpt, state.range(0));
    const ptime now = Start + seconds(1);
    const FilterEntry probe = Entry(dpt, static_cast<std::uint32_t>(state.range(0)), now);
    for (auto _ : state) {
        benchmark::DoNotOptimize(filter.RemoveEvent(probe));
        filter.RemoveExpired(now);
    }
}

/// The same value again and again: all entries are one event.
void SameValueAgain(benchmark::State& state, std::uint32_t dpt) {
    EventFilter filter(SilentLogger());
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        filter.AddEvent(Entry(dpt, 1, Start + microseconds(i)));
    }
    const ptime now = Start + seconds(1);
    const FilterEntry entry = Entry(dpt, 1, now);
    for (auto _ : state) {
        filter.RemoveExpired(now);
        filter.AddEvent(entry);
        benchmark::DoNotOptimize(filter.RemoveEvent(entry));
    }
}

}  // namespace

BENCHMARK_CAPTURE(ValueAndItsEcho, bytes, Counter)->Arg(10)->Arg(100'000);
BENCHMARK_CAPTURE(ValueAndItsEcho, floats, Temperature)->Arg(10)->Arg(100'000);
BENCHMARK_CAPTURE(ValueThatIsNoEcho, bytes, Counter)->Arg(10)->Arg(100'000);
BENCHMARK_CAPTURE(ValueThatIsNoEcho, floats, Temperature)->Arg(10)->Arg(100'000);
BENCHMARK_CAPTURE(SameValueAgain, bytes, Counter)->Arg(10)->Arg(100'000);

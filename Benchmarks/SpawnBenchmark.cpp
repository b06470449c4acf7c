#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>

#include "OrnProcessHandle.h"

/// How long a child takes from its spawn to its end, against posix_spawn in the same run, with as many open files
/// allowed as the machine lets this process have.

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr const char* Program = "/bin/true";

/// Returns the limit.
rlim_t RaiseFileLimit() {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
        throw std::runtime_error("the limit of open files cannot be raised");
    }
    return limit.rlim_cur;
}

void RunByHandle() {
    Zandrel::SpawnResult result = Zandrel::OrnProcessHandle::Spawn({Program});
    if (result.error || result.process.Wait() != 0) {
        throw std::runtime_error("the child failed");
    }
}

void RunByPosixSpawn() {
    std::string program = Program;
    char* arguments[] = {program.data(), nullptr};
    pid_t child = -1;
    int status = -1;
    if (posix_spawn(&child, Program, nullptr, nullptr, arguments, environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("the reference's child failed");
    }
}

template <typename Action>
double Measure(const Action& action) {
    const auto begin = SteadyClock::now();
    action();
    return std::chrono::duration<double>(SteadyClock::now() - begin).count();
}

double Median(std::vector<double>& times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

/// The counters: the time over that of posix_spawn ("ratio"; 1 is as fast), by the medians of both, which take turns,
/// and the limit of open files.
void Spawn(benchmark::State& state) {
    const rlim_t limit = RaiseFileLimit();
    std::vector<double> times;
    std::vector<double> reference;
    for (auto _ : state) {
        times.push_back(Measure(&RunByHandle));
        reference.push_back(Measure(&RunByPosixSpawn));
        state.SetIterationTime(times.back());
    }
    const double referenceMedian = Median(reference);
    state.counters["posix_spawn us"] = referenceMedian * 1e6;
    state.counters["ratio"] = Median(times) / referenceMedian;
    state.counters["open files"] = static_cast<double>(limit);
}
BENCHMARK(Spawn)->Iterations(2000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

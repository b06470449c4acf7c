#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <array>
#include <stdexcept>
#include <string>

#include "OrnProcessHandle.h"
#include "ShortestTime.h"

/// How long a child takes from its spawn to its end, against posix_spawn in the same run, with as many open files
/// allowed as the machine lets this process have.

namespace {

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
    const std::array<char*, 2> arguments{program.data(), nullptr};
    pid_t child = -1;
    int status = -1;
    if (posix_spawn(&child, Program, nullptr, nullptr, arguments.data(), environ) != 0 ||
        waitpid(child, &status, 0) != child || status != 0) {
        throw std::runtime_error("the reference's child failed");
    }
}

/// The counters: the time over that of posix_spawn ("ratio"; 1 is as fast), by the shortest times of both, which take
/// turns, and the limit of open files.
void Spawn(benchmark::State& state) {
    const rlim_t limit = RaiseFileLimit();
    ShortestTime spawn;
    ShortestTime reference;
    for (auto _ : state) {
        state.SetIterationTime(spawn.Measure(&RunByHandle));
        reference.Measure(&RunByPosixSpawn);
    }
    state.counters["posix_spawn us"] = reference.Get() * 1e6;
    state.counters["ratio"] = spawn.Get() / reference.Get();
    state.counters["open files"] = static_cast<double>(limit);
}
BENCHMARK(Spawn)->Iterations(2000)->UseManualTime()->Unit(benchmark::kMicrosecond);

}  // namespace

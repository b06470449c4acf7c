#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "AppPackage.h"
#include "VerifyAppPackage.h"

/// How long the check of a large app package takes, against "openssl dgst -sha256" over the same files in the same run,
/// and how much memory it takes. The files lie in the page cache: what is compared is not the disk.

namespace {

namespace filesystem = boost::filesystem;
using SteadyClock = std::chrono::steady_clock;

constexpr std::size_t Megabyte = 1'000'000;

/// A signed package of `count` files of `size` bytes each.
class LargePackage {
public:
    LargePackage(std::size_t count, std::size_t size) {
        filesystem::remove_all(package_.Directory());
        std::string entries;
        for (std::size_t i = 0; i < count; ++i) {
            const std::string name = "part" + std::to_string(i % 20) + "/file" + std::to_string(i) + ".bin";
            const std::string content(size, static_cast<char>('a' + i % 26));
            package_.Write(name, content);
            entries += TestSupport::FileElement(name, TestSupport::Sha256Of(content));
            files_.push_back(package_.File(name).string());
        }
        package_.Seal(TestSupport::FileListOf(entries));
    }

    void Verify() const {
        if (Zandrel::VerifyAppPackage(package_.FileList(), package_.CaFile()) !=
            Zandrel::VerificationResult::SignatureOk) {
            throw std::runtime_error("the package is not OK");
        }
    }

    void RunOpenSsl() const {
        std::vector<std::string> words{"openssl", "dgst", "-sha256"};
        words.insert(words.end(), files_.begin(), files_.end());
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        pid_t child = -1;
        const int error = posix_spawnp(&child, "openssl", &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        int status = -1;
        if (error != 0 || waitpid(child, &status, 0) != child || status != 0) {
            throw std::runtime_error("openssl failed");
        }
    }

private:
    const TestSupport::AppPackage package_;
    std::vector<std::string> files_;
};

double StatusValue(const std::string& name) {
    filesystem::ifstream stream("/proc/self/status");
    std::string word;
    while (stream >> word) {
        if (word == name + ":") {
            double value = 0;
            stream >> value;
            return value;
        }
    }
    return 0;
}

/// In MB, at its peak.
double MeasureMemoryGrowth(const LargePackage& package) {
    malloc_trim(0);
    filesystem::ofstream("/proc/self/clear_refs") << "5";  // forgets the peak so far
    const double before = StatusValue("VmRSS");
    package.Verify();
    return (StatusValue("VmHWM") - before) * 1024 / static_cast<double>(Megabyte);
}

/// Of this process and of the children that have ended, in seconds.
double GetProcessorTime() {
    double seconds = 0;
    for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage usage{};
        getrusage(who, &usage);
        for (const timeval& time : {usage.ru_utime, usage.ru_stime}) {
            seconds += static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
        }
    }
    return seconds;
}

/// The shortest times of an action so far, in seconds.
struct Times {
    double real = 1e9;
    double processor = 1e9;

    template <typename Action>
    double Measure(const Action& action) {
        const auto begin = SteadyClock::now();
        const double processorBegin = GetProcessorTime();
        action();
        const double seconds = std::chrono::duration<double>(SteadyClock::now() - begin).count();
        real = std::min(real, seconds);
        processor = std::min(processor, GetProcessorTime() - processorBegin);
        return seconds;
    }
};

/// The counters: the time of openssl over that of the check ("speed"; 1 is as fast), the same with the processor's
/// time, which other programs disturb less, and the growth of the memory in MB. Both take turns; the shortest times
/// count.
void VerifyPackage(benchmark::State& state) {
    const LargePackage package(static_cast<std::size_t>(state.range(0)), static_cast<std::size_t>(state.range(1)));
    package.Verify();
    package.RunOpenSsl();
    Times check;
    Times reference;
    for (auto _ : state) {
        state.SetIterationTime(check.Measure([&package] { package.Verify(); }));
        reference.Measure([&package] { package.RunOpenSsl(); });
    }
    state.counters["openssl ms"] = reference.real * 1000;
    state.counters["speed"] = reference.real / check.real;
    state.counters["processor speed"] = reference.processor / check.processor;
    state.counters["memory MB"] = MeasureMemoryGrowth(package);
}
BENCHMARK(VerifyPackage)
    ->ArgNames({"files", "bytes"})
    ->Args({500, 400'000})
    ->Args({5000, 1000})
    ->Iterations(10)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ApplicationCore.h"
#include "ChildProcess.h"
#include "FakeKnxStack.h"
#include "ShortestTime.h"

/// How long a device that uses everything takes from the start of an init cycle's work to the published object model,
/// against sending the same five documents over the same connection and waiting for their five answers.

namespace {

using namespace Zandrel;
using SteadyClock = std::chrono::steady_clock;

constexpr const char* SerialNumber = "000a14ff0102";
constexpr std::array<const char*, 5> Batches{"devices", "COs", "ipParameters", "numberParameters", "textParameters"};
constexpr std::uint32_t FourBytes = 0x000C0001;

/// Passes everything on, and keeps the documents that were sent with the time of each.
class RecordingClient final : public Ostra::IDeviceStackClient {
public:
    explicit RecordingClient(Ostra::IDeviceStackClient& client) : client_(client) {}

    void SetEventHandler(IEventHandler* handler) override { client_.SetEventHandler(handler); }
    void SetResponseHandler(IResponseHandler* handler) override { client_.SetResponseHandler(handler); }
    void SendAtEveryConnect(const std::string& json) override { client_.SendAtEveryConnect(json); }
    bool Send(const std::string& json) override {
        static constexpr std::string_view Beginning = R"("command":"SetConfiguration","configuration":)";
        const auto begin = json.find(Beginning);
        if (begin != std::string::npos) {
            const auto content = begin + Beginning.size();
            documents.push_back(json.substr(content, json.size() - content - 1));
            times.push_back(SteadyClock::now());
        }
        return client_.Send(json);
    }

    Ostra::IDeviceStackClient& GetClient() { return client_; }

    std::vector<std::string> documents;
    std::vector<SteadyClock::time_point> times;

private:
    Ostra::IDeviceStackClient& client_;
};

/// A real device stack, and the parts of an application program that a cycle configures it with.
class StartUp final : public Ostra::IDeviceStackClient::IEventHandler {
public:
    StartUp() {
        const auto line = deviceStack_.WaitForLine("device stack listening on ");
        if (!line) {
            throw std::runtime_error("the device stack did not start");
        }
        setenv("ORN_DEVICE_STACK", ("127.0.0.1:" + line->substr(line->rfind(':') + 1)).c_str(), 1);
        logger_.setLogLevel(log4cplus::OFF_LOG_LEVEL);
        Download();
        Environment environment;
        environment.clientFactory.create = [this](const std::string& /*address*/) {
            client_ = std::make_unique<RecordingClient>(*Ostra::CreateDeviceStackClient());
            return client_.get();
        };
        environment.clientFactory.release = [](Ostra::IDeviceStackClient* client) {
            Ostra::ReleaseDeviceStackClient(&static_cast<RecordingClient*>(client)->GetClient());
        };
        core_ = std::make_unique<ApplicationCore>(logger_, environment, *this);
        if (!core_->knxHandler.Init(stack_) || !core_->connection.ConnectDeviceStack()) {
            throw std::runtime_error("the program did not start");
        }
        stack_.Properties().WriteLoadEvent(1);
        stack_.Properties().WriteLoadEvent(2);
        RunCycle();  // the documents for the reference
        documents_ = client_->documents;
        if (documents_.size() != Batches.size()) {
            throw std::logic_error("expected five documents");
        }
    }
    ~StartUp() {
        core_->connection.Disconnect();
        core_->knxHandler.Detach();
    }
    StartUp(const StartUp&) = delete;
    StartUp& operator=(const StartUp&) = delete;

    /// What a cycle does from "Thread started." to "Object model configured successfully."
    void RunCycle() {
        client_->documents.clear();
        client_->times.clear();
        core_->knxHandler.ResetApplicationProgram1Memory();
        if (!core_->knxHandler.IsLoadStateMachineLoaded() || !core_->knxHandler.InitApplicationProgram1Memory(stack_) ||
            !core_->configurator.ConfigureObjectModel(control_)) {
            throw std::runtime_error("the cycle failed");
        }
    }

    void SendDocuments() {
        for (const std::string& document : documents_) {
            if (!core_->connection.SetConfiguration(document)->IsReplyValid()) {
                throw std::runtime_error("the device stack refused a document");
            }
        }
    }

    const std::vector<SteadyClock::time_point>& GetTimes() const { return client_->times; }

private:
    bool OnValueChanged(unsigned long /*id*/, const std::string& /*text*/, const std::string& /*value*/) override {
        return true;
    }
    bool OnConnectionChanged(bool /*connected*/) override { return true; }

    void Download() {
        stack_.DownloadApplication("MyApp");
        for (std::uint16_t co = 1; co <= 520; ++co) {
            stack_.DownloadCo(co, FourBytes);
        }
    }

    TestSupport::ChildProcess deviceStack_{ORN_DEVICESTACK_PROGRAM, {"--port", "0", "--serial1", SerialNumber}};
    TestSupport::FakeKnxStack stack_;
    log4cplus::Logger logger_ = log4cplus::Logger::getInstance("Benchmark");
    ThreadControl control_;
    std::unique_ptr<RecordingClient> client_;
    std::unique_ptr<ApplicationCore> core_;
    std::vector<std::string> documents_;
};

/// The counter "ratio" is the time of the cycle over that of its documents: at most 3. Both take turns; the shortest
/// times count. The other counters are the shares of the batches, each from its sending to that of the next one, of all
/// but the last.
void ConfigureFullDevice(benchmark::State& state) {
    StartUp startUp;
    std::array<double, Batches.size()> seconds{};
    double all = 0;
    ShortestTime cycle;
    ShortestTime reference;
    for (auto _ : state) {
        const double time = cycle.Measure([&startUp] { startUp.RunCycle(); });
        const auto end = SteadyClock::now();
        const auto& times = startUp.GetTimes();
        for (std::size_t i = 0; i < Batches.size(); ++i) {
            const auto next = i + 1 < Batches.size() ? times.at(i + 1) : end;
            seconds.at(i) += std::chrono::duration<double>(next - times.at(i)).count();
        }
        all += time;
        state.SetIterationTime(time);
        reference.Measure([&startUp] { startUp.SendDocuments(); });
    }
    state.counters["documents ms"] = reference.Get() * 1e3;
    state.counters["ratio"] = cycle.Get() / reference.Get();
    for (std::size_t i = 0; i < Batches.size(); ++i) {
        state.counters[std::string("share of ") + Batches.at(i)] = seconds.at(i) / all;
    }
}
BENCHMARK(ConfigureFullDevice)->Iterations(50)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

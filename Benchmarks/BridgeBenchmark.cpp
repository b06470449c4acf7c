#include <benchmark/benchmark.h>
#include <log4cplus/logger.h>

#include <array>
#include <atomic>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include "AppIdentity.h"
#include "DptTable.h"
#include "GroupObjectWriter.h"
#include "GroupValueBridge.h"
#include "KnxStack/IGroupValueService.h"
#include "PrefixedLogger.h"
#include "StackAccess.h"
#include "TickerThreadManager.h"
#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/KnxOdsMapping.h"

// What a value costs on its way through the plug-in, without the stack and without the device stack, for one type of
// each kind: from the bus beside the bare conversion of the same group value, to the bus beside that of the same value
// of the device stack. "allocations" counts those of one call.

namespace {

std::atomic<std::uint64_t> allocations{0};

}  // namespace

// NOLINTBEGIN(cppcoreguidelines-no-malloc): it stands in for the allocator
void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc)

namespace {

using namespace Zandrel;

constexpr std::uint16_t Co = 5;
/// After so many calls as many remembered values expire as are added.
constexpr int CallsUntilSteady = 5000;

/// A data-point type and one of its values.
struct Type {
    const char* name;
    unsigned mainNumber;
    unsigned subNumber;
    const char* text;

    std::uint32_t GetDpt() const { return mainNumber << 16U | subNumber; }
};

constexpr std::array Types{
    Type{"1.001", 1, 1, "1"},
    Type{"2.001", 2, 1, "control 1"},
    Type{"3.007", 3, 7, "increase 3"},
    Type{"4.002", 4, 2, "A"},
    Type{"5.001", 5, 1, "20"},
    Type{"6.010", 6, 10, "66"},
    Type{"7.001", 7, 1, "1000"},
    Type{"8.001", 8, 1, "-1000"},
    Type{"9.001", 9, 1, "21"},
    Type{"10.001", 10, 1, "Mon 12:34:56"},
    Type{"11.001", 11, 1, "2026-11-21"},
    Type{"12.001", 12, 1, "4294967295"},
    Type{"13.001", 13, 1, "-1"},
    Type{"14.056", 14, 56, "119.5"},
    Type{"15.000", 15, 0, "123456 accepted index=3"},
    Type{"16.001", 16, 1, "Fourteen chars"},
    Type{"17.001", 17, 1, "5"},
    Type{"18.001", 18, 1, "learn 5"},
    Type{"19.001", 19, 1, "2026-11-21 12:34:56 Sat workday"},
    Type{"20.102", 20, 102, "4"},
    Type{"21.001", 21, 1, "31"},
    Type{"22.101", 22, 101, "16385"},
    Type{"26.001", 26, 1, "inactive 5"},
    Type{"27.001", 27, 1, "196609"},
    Type{"28.001", 28, 1, "Sixteen and more"},
    Type{"29.010", 29, 10, "-9223372036854775808"},
    Type{"232.600", 232, 600, "#FF800A"},
    Type{"235.001", 235, 1, "energy=1000 tariff=2"},
    Type{"242.600", 242, 600, "x=0.3127 y=0.32902 Y=50"},
    Type{"251.600", 251, 600, "#FF800A--"},
};

/// Takes every value and sends none.
class SilentStack final : public KnxStack::IGroupValueService, public KnxStack::IGroupObject {
public:
    KnxStack::IGroupObject* GetGroupObject(std::uint16_t /*number*/) override { return this; }
    void RegisterUser(KnxStack::IGroupValueUser& /*user*/) override {}
    bool UnregisterUser(KnxStack::IGroupValueUser& /*user*/) override { return true; }
    bool WriteValue(std::uint16_t /*number*/, const KnxStack::GroupValue& value, unsigned /*options*/) override {
        return value.GetSize() != 0;
    }
    bool MayBeWritten() const override { return true; }
};

log4cplus::Logger MakeQuietLogger() {
    log4cplus::Logger logger = log4cplus::Logger::getInstance("BridgeBenchmark");
    logger.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    return logger;
}

/// A bridge of which one CO is of the type, and a value of that type in both forms.
class Subject {
public:
    explicit Subject(const Type& type) : dpt_(type.GetDpt()) {
        const auto encoded = ZanValueToGroupValue(ZANVALUE::FromText(type.text), dpt_);
        const auto decoded = encoded ? GroupValueToZanValue(*encoded, dpt_) : std::nullopt;
        if (!decoded) {
            throw std::logic_error(std::string(type.text) + " is no value of type " + type.name);
        }
        groupValue_ = *encoded;
        value_ = *decoded;
        identity_->SetAppId("app");
        identity_->SetLogicalDeviceId(*LogicalDeviceId::From(1));
        dpts_.Set(Co, dpt_);
        access_.Attach({&stack_, nullptr, nullptr, nullptr});
        bridge_.SetMessengers([](unsigned long /*id*/, const ZANVALUE& /*value*/, bool /*isResponse*/) { return true; },
                              nullptr);
    }

    bool ConvertFromBus() { return GroupValueToZanValue(groupValue_, dpt_).has_value(); }
    bool ConvertToBus() { return ZanValueToGroupValue(value_, dpt_).has_value(); }
    bool UpdateCoValue() { return bridge_.UpdateCoValue(Co, groupValue_, false); }
    bool WriteValue() { return bridge_.WriteValue(id_, value_); }
    bool UpdateCoValueAndDropEcho() { return UpdateCoValue() && WriteValue(); }

private:
    const std::uint32_t dpt_;
    const unsigned long id_ = *KnxOdsMapping::GetCoValueObjModelId(Co, 1);
    KnxStack::GroupValue groupValue_;
    ZANVALUE value_;
    SilentStack stack_;
    StackAccess access_;
    DptTable dpts_;
    GroupObjectWriter writer_{access_, dpts_};
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    TickerThreadManager tickers_{
        MakeQuietLogger(), [this](std::uint16_t co, const KnxStyleString& text) { return writer_.WriteText(co, text); },
        std::make_shared<Clock>()};
    boost::posix_time::ptime now_{boost::gregorian::date(2026, 3, 10)};
    /// A hundred values a second: the two thousand of the last 20 seconds are remembered at any time.
    GroupValueBridge bridge_{PrefixedLogger(MakeQuietLogger(), identity_), identity_, dpts_, writer_, tickers_, [this] {
                                 return now_ += boost::posix_time::milliseconds(10);
                             }};
};

using Call = bool (Subject::*)();

struct Case {
    const char* name;
    Call call;
};

constexpr std::array Cases{
    Case{"ConvertFromBus", &Subject::ConvertFromBus},
    Case{"UpdateCoValue", &Subject::UpdateCoValue},
    Case{"ConvertToBus", &Subject::ConvertToBus},
    Case{"WriteValue", &Subject::WriteValue},
    Case{"UpdateCoValueAndDropEcho", &Subject::UpdateCoValueAndDropEcho},
};

void Measure(benchmark::State& state, const Type& type, Call call) {
    Subject subject(type);
    for (int i = 0; i < CallsUntilSteady; ++i) {
        (subject.*call)();
    }
    const std::uint64_t before = allocations;
    for (auto _ : state) {
        if (!(subject.*call)()) {
            state.SkipWithError("a value was not taken");
            return;
        }
    }
    state.counters["allocations"] =
        benchmark::Counter(static_cast<double>(allocations - before), benchmark::Counter::kAvgIterations);
}

}  // namespace

int main(int argc, char** argv) {
    for (const Type& type : Types) {
        for (const auto& [name, call] : Cases) {
            benchmark::RegisterBenchmark((std::string(name) + "/" + type.name).c_str(), &Measure, type, call);
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return EXIT_FAILURE;
    }
    benchmark::RunSpecifiedBenchmarks();
    return EXIT_SUCCESS;
}

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <boost/chrono/system_clocks.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/thread_only.hpp>
#include <chrono>
#include <cstdlib>
#include <future>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "FakeDeviceStack.h"
#include "FakeKnxStack.h"
#include "KnxStack/IApplicationProgram.h"

namespace {

using TestSupport::FakeDeviceStack;

std::string Answer(const std::string& frame) {
    const bool isConfig = frame.find("GetDeviceConfig") != std::string::npos;
    return FakeDeviceStack::AnswerTo(
        frame, isConfig ? R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000a14ff0102"}}})" : "{}");
}

std::ptrdiff_t CountThreads() {
    return std::distance(boost::filesystem::directory_iterator("/proc/self/task"), {});
}

template <typename Condition>
bool WaitUntil(const Condition& condition) {
    using boost::chrono::steady_clock;
    const auto deadline = steady_clock::now() + boost::chrono::seconds(10);
    while (!condition()) {
        if (steady_clock::now() > deadline) {
            return false;
        }
        boost::this_thread::sleep_for(boost::chrono::milliseconds(1));
    }
    return true;
}

/// The plug-in as a host loads it.
class Library {
public:
    Library() : handle_(dlopen(ORN_PLUGIN_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}
    ~Library() { dlclose(handle_); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    KnxStack::IApplicationProgram* Create() const { return Find<decltype(&createApplicationProgram)>("create")(); }
    void Delete(KnxStack::IApplicationProgram* program) const {
        Find<decltype(&deleteApplicationProgram)>("delete")(program);
    }

private:
    template <typename Function>
    Function Find(const std::string& what) const {
        return reinterpret_cast<Function>(dlsym(handle_, (what + "ApplicationProgram").c_str()));
    }

    void* handle_;
};

/// What begins a cycle.
enum class Origin { Init, Restart };

std::ostream& operator<<(std::ostream& stream, Origin origin) {
    return stream << (origin == Origin::Init ? "Init" : "Restart");
}

/// Where a cycle waits for an answer.
struct Stop {
    const char* name;
    const char* request;
};

std::ostream& operator<<(std::ostream& stream, const Stop& stop) {
    return stream << stop.name;
}

class LateAnswer : public testing::TestWithParam<std::tuple<Origin, Stop>> {
protected:
    LateAnswer() {
        setenv("ORN_DEVICE_STACK", deviceStack_.GetAddress().c_str(), 1);
        deviceStack_.SetReply(&Answer);
        stack_.DownloadApplication("MyApp");
    }
    ~LateAnswer() override { unsetenv("ORN_DEVICE_STACK"); }

    static Origin GetOrigin() { return std::get<Origin>(GetParam()); }
    static std::string GetRequest() { return std::get<Stop>(GetParam()).request; }

    /// From now on the request gets no answer.
    void HoldRequest() {
        deviceStack_.SetReply([this](const std::string& frame) {
            if (frame.find(GetRequest()) == std::string::npos) {
                return Answer(frame);
            }
            if (!std::exchange(isHeld_, true)) {
                held_.set_value(frame);
            }
            return std::string();
        });
    }

    /// The request that is held, once it came; empty when none came in time.
    std::string AwaitHeldRequest() {
        auto held = held_.get_future();
        return held.wait_for(std::chrono::seconds(20)) == std::future_status::ready ? held.get() : "";
    }

    /// The whole life of an application program, library included, without delay. What stays for good, such as a
    /// logger's threads, is there afterwards.
    static void LiveUndisturbed() {
        TestSupport::FakeKnxStack stack;
        stack.DownloadApplication("MyApp");
        const Library library;
        KnxStack::IApplicationProgram* const program = library.Create();
        EXPECT_EQ(program->Init(stack), 2);
        EXPECT_TRUE(WaitUntil([&stack] { return !stack.GetRunStates().empty(); }));
        EXPECT_EQ(program->Exit(), 1);
        library.Delete(program);
    }

    /// The same, which ends once the cycle waits for the answer to the request. That request.
    std::string LiveUntilRequest() {
        const Library library;
        KnxStack::IApplicationProgram* const program = library.Create();
        if (GetOrigin() == Origin::Restart) {
            EXPECT_EQ(program->Init(stack_), 2);
            EXPECT_TRUE(WaitUntil([this] { return !stack_.GetRunStates().empty(); }));
        }
        HoldRequest();
        EXPECT_EQ(GetOrigin() == Origin::Init ? program->Init(stack_) : program->OnDeviceRestart(), 2);
        std::string held = AwaitHeldRequest();
        EXPECT_EQ(program->Exit(), 1);
        library.Delete(program);
        return held;
    }

    TestSupport::FakeKnxStack stack_;
    std::promise<std::string> held_;

    bool isHeld_ = false;  ///< of the device stack's thread

    FakeDeviceStack deviceStack_;
};

TEST_P(LateAnswer, ThatComesOnceTheLibraryIsUnloadedDoesNoHarm) {
    LiveUndisturbed();
    const std::ptrdiff_t threads = CountThreads();

    const std::string held = LiveUntilRequest();
    const int touches = stack_.CountTouches();
    ASSERT_FALSE(held.empty());
    deviceStack_.SendFrame(FakeDeviceStack::AnswerTo(held, "{}"));

    EXPECT_TRUE(WaitUntil([threads] { return CountThreads() <= threads; }));
    EXPECT_EQ(stack_.CountTouches(), touches);
    EXPECT_EQ(stack_.GetRunStates().size(), GetOrigin() == Origin::Init ? 0U : 1U);
    void* const mapped = dlopen(ORN_PLUGIN_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(mapped, nullptr) << "a late thread's code would be gone";
    dlclose(mapped);
}

std::string NameOf(const testing::TestParamInfo<LateAnswer::ParamType>& info) {
    std::ostringstream name;
    name << std::get<Origin>(info.param) << "StoppedAt" << std::get<Stop>(info.param);
    return name.str();
}

INSTANTIATE_TEST_SUITE_P(All, LateAnswer,
                         testing::Combine(testing::Values(Origin::Init, Origin::Restart),
                                          testing::Values(Stop{"DeviceConfig", "GetDeviceConfig"},
                                                          Stop{"ChangeBegin", "configurationChangeBegin"},
                                                          Stop{"Devices", R"({"devices":)"},
                                                          Stop{"ChangeEnd", "configurationChangeEnd"},
                                                          Stop{"ConfigurationLoaded", "configurationLoaded"})),
                         &NameOf);

}  // namespace

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <boost/chrono/system_clocks.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/thread_only.hpp>
#include <cstdlib>
#include <iterator>
#include <ostream>
#include <string>

#include "FakeDeviceStack.h"
#include "FakeKnxStack.h"
#include "KnxStack/IApplicationProgram.h"

namespace {

/// The number of a request, with the comma that follows it.
std::string NumberOf(const std::string& frame) {
    const std::string start = R"({"request":)";
    return frame.rfind(start, 0) == 0 ? frame.substr(start.size(), frame.find(',') - start.size() + 1) : "";
}

std::string Answer(const std::string& frame) {
    const std::string number = NumberOf(frame);
    if (number.empty()) {
        return "";
    }
    const bool isConfig = frame.find("GetDeviceConfig") != std::string::npos;
    const std::string response =
        isConfig ? R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000a14ff0102"}}})" : std::string("{}");
    return R"({"request":)" + number + R"("response":)" + response + "}";
}

std::ptrdiff_t CountThreads() {
    return std::distance(boost::filesystem::directory_iterator("/proc/self/task"), {});
}

bool ThreadsGoDownTo(std::ptrdiff_t count) {
    using boost::chrono::steady_clock;
    const auto deadline = steady_clock::now() + boost::chrono::seconds(10);
    while (CountThreads() > count) {
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

/// Where a cycle waits for an answer.
struct Stop {
    const char* name;
    const char* request;
};

std::ostream& operator<<(std::ostream& stream, const Stop& stop) {
    return stream << stop.name;
}

class LateAnswer : public testing::TestWithParam<Stop> {
protected:
    LateAnswer() {
        setenv("ORN_DEVICE_STACK", deviceStack_.GetAddress().c_str(), 1);
        stack_.DownloadApplication("MyApp");
    }
    ~LateAnswer() override { unsetenv("ORN_DEVICE_STACK"); }

    /// The whole life of an application program at `stack`, library included, which ends once it has sent `request`.
    /// That request.
    std::string LiveUntil(const std::string& request, TestSupport::FakeKnxStack& stack) {
        const Library library;
        KnxStack::IApplicationProgram* const program = library.Create();
        EXPECT_EQ(program->Init(stack), 2);
        std::string frame;
        do {
            frame = deviceStack_.NextFrame();
        } while (!frame.empty() && frame.find(request) == std::string::npos);
        EXPECT_EQ(program->Exit(), 1);
        library.Delete(program);
        return frame;
    }

    /// The same without delay. What stays for good, such as a logger's threads, is there afterwards.
    void LiveUndisturbed() {
        TestSupport::FakeKnxStack stack;
        deviceStack_.SetReply(&Answer);
        LiveUntil("GetDeviceConfig", stack);
    }

    FakeDeviceStack deviceStack_;
    TestSupport::FakeKnxStack stack_;
};

TEST_P(LateAnswer, ThatComesOnceTheLibraryIsUnloadedDoesNoHarm) {
    LiveUndisturbed();
    const std::ptrdiff_t threads = CountThreads();
    deviceStack_.SetReply([](const std::string& frame) {
        return frame.find(GetParam().request) == std::string::npos ? Answer(frame) : "";
    });

    const std::string held = LiveUntil(GetParam().request, stack_);
    const int touches = stack_.CountTouches();
    ASSERT_FALSE(held.empty());
    deviceStack_.SendFrame(R"({"request":)" + NumberOf(held) + R"("response":{}})");

    EXPECT_TRUE(ThreadsGoDownTo(threads));
    EXPECT_EQ(stack_.CountTouches(), touches);
    EXPECT_TRUE(stack_.GetRunStates().empty());
    void* const mapped = dlopen(ORN_PLUGIN_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(mapped, nullptr) << "a late thread's code would be gone";
    dlclose(mapped);
}

INSTANTIATE_TEST_SUITE_P(Stops, LateAnswer,
                         testing::Values(Stop{"DeviceConfig", "GetDeviceConfig"},
                                         Stop{"ChangeBegin", "configurationChangeBegin"},
                                         Stop{"Devices", R"({"devices":)"}, Stop{"ChangeEnd", "configurationChangeEnd"},
                                         Stop{"ConfigurationLoaded", "configurationLoaded"}),
                         [](const auto& instance) { return instance.param.name; });

}  // namespace

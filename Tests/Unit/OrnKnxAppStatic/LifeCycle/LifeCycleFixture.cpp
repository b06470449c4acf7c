#include "LifeCycleFixture.h"

#include <log4cplus/thread/threads.h>
#include <sys/wait.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <csignal>
#include <iterator>

#include "ProcessTestTools.h"
#include "Zandrel/KnxOdsMapping.h"

namespace LifeCycle {

namespace {

namespace Mapping = Zandrel::KnxOdsMapping;
using ProcessTestTools::Eventually;
using TestSupport::FakeKnxStack;
using TestSupport::LogLine;

const std::string AppName = "MyApp";

std::ptrdiff_t CountThreads() {
    return std::distance(boost::filesystem::directory_iterator("/proc/self/task"), {});
}

std::string Value(unsigned long id, int value) {
    return "\"id\":" + std::to_string(id) + R"(,"value":"3.1:)" + std::to_string(value) + '"';
}
std::string EventMembers(int event) {
    return Value(Mapping::GetAppHostAppControlEventObjModelId(1), event);
}
std::string StateMembers(int state) {
    return Value(Mapping::GetAppHostAppControlStateObjModelId(1), state);
}
std::string FirstParameter(Zandrel::ParameterType type) {
    return "\"id\":" + std::to_string(*Mapping::GetParameterChannelObjModelId(1, 1, type)) + ',';
}

bool Contains(const std::string& whole, const std::string& part) {
    return whole.find(part) != std::string::npos;
}
bool BeginsWith(const std::string& whole, const std::string& beginning) {
    return whole.rfind(beginning, 0) == 0;
}

/// "LEVEL function - message", without what differs from run to run, the prefix and the call stack.
std::string Comparable(const LogLine& line) {
    const std::string prefix = '[' + AppName + "] ";
    LogLine comparable = AppSideTools::Comparable({line}).front();
    if (BeginsWith(comparable.text, prefix)) {
        comparable.text.erase(0, prefix.size());
    }
    if (line.level == "ERROR" || line.level == "FATAL") {
        comparable.text.resize(std::min(comparable.text.size(), comparable.text.find(" [")));
    }
    return comparable.level + ' ' + comparable.text;
}

/// Whether a line belongs to a cycle itself, rather than to the threads beside it or to its reading of the download.
bool IsOfACycle(const std::string& line) {
    static constexpr std::array<const char*, 4> Debug{"operator() - ", "LaunchApp - ", "StartDeviceResetTimer - ",
                                                      "~MeasureDuration - "};
    if (!BeginsWith(line, "DEBUG ")) {
        return true;
    }
    return std::any_of(Debug.begin(), Debug.end(),
                       [&line](const char* function) { return BeginsWith(line, std::string("DEBUG ") + function); });
}

}  // namespace

LifeCycleFixture::LifeCycleFixture()
    : hostThread_(log4cplus::thread::getCurrentThreadName()), idleDescriptors_(ProcessTestTools::CountDescriptors()) {
    AppSideTools::WorkingDirectory::MakeLink(TEST_CHILD, AppSideTools::AppHost);
    AppSideTools::WorkingDirectory::MakeFile("device/opt/userdata/orn/libornmyapp.so");
    PrepareKnxStack();
    PrepareDeviceStack();
    PrepareClock();
    idleThreads_ = CountThreads();
    MakeProgram();
}

LifeCycleFixture::~LifeCycleFixture() {
    sut_.reset();
    Release();
    EXPECT_FALSE(HasChild());
    EXPECT_EQ(deviceStack_.GetEventHandler(), nullptr);
    EXPECT_TRUE(Eventually([this] { return CountThreads() == idleThreads_; })) << "a thread was left behind";
    // A sanitizer's check may open a pipe for a moment, on any thread.
    EXPECT_TRUE(Eventually([this] { return ProcessTestTools::CountDescriptors() <= idleDescriptors_; }))
        << "a descriptor was left behind";
}

void LifeCycleFixture::MakeProgram(const Zandrel::ConnectionTimes& times) {
    Zandrel::Environment environment;
    environment.clock = clock_;
    environment.clientFactory = deviceStack_.GetFactory();
    environment.connectionTimes = times;
    sut_ = std::make_unique<Zandrel::OrnKnxAppPrg>(log_.GetLogger(), environment);
}

void LifeCycleFixture::PrepareKnxStack() {
    stack_.DownloadApplication(AppName);
    auto& loadState = stack_.LoadState(FakeKnxStack::ApplicationObject);
    loadState.OnEnable([this, &loadState] {
        if (!isKnxStackSilent_) {
            stack_.Properties().WriteLoadEvent(1);
            stack_.Properties().WriteLoadEvent(2);
        }
        loadState.ServeFrom([this](KnxStack::BinaryData& data) {
            gate_.Pass(Stop::ApplicationLoadState);
            data = KnxStack::BinaryData({static_cast<std::uint8_t>(isLoaded_ ? 1 : 0)});
            return true;
        });
    });
    stack_.LoadState(1).ServeFrom([this](KnxStack::BinaryData& data) {
        gate_.Pass(Stop::ObjectLoadStates);
        data = KnxStack::BinaryData({1});
        return true;
    });
    stack_.Properties().Object(11).Property(76).ServeFrom([this](KnxStack::BinaryData& data) {
        gate_.Pass(Stop::Download);
        data = KnxStack::BinaryData({'H', 'a', 'l', 'l'});
        return true;
    });
}

void LifeCycleFixture::PrepareDeviceStack() {
    const unsigned long state = Mapping::GetAppHostAppControlStateObjModelId(1);
    AcceptDeviceConfig();
    // The app obeys the event that shuts it down, and a run state that is written is reported.
    deviceStack_.RunBefore(EventMembers(1), [this, state] {
        if (isAppAlive_) {
            deviceStack_.Report(state, "3.1:0");
        }
    });
    deviceStack_.RunBefore(StateMembers(0), [this, state] { deviceStack_.Report(state, "3.1:0"); });
}

void LifeCycleFixture::AcceptDeviceConfig() {
    deviceStack_.Accept("GetDeviceConfig", R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000a14ff0102"}}})");
}

void LifeCycleFixture::PrepareClock() {
    clock_->isAppStarting = &HasChild;
    clock_->whileCycleWaitsForApp = [this] {
        if (isAppAlive_ && HasChild()) {
            deviceStack_.Report(Mapping::GetAppHostAppControlStateObjModelId(1), "3.1:2");
        }
    };
    clock_->onJoin = [this] {
        if (isStopped_) {
            Release();
        }
    };
}

LifeCycleFixture::Call LifeCycleFixture::Measure(const std::function<int()>& call) {
    const std::size_t lines = log_.GetLines().size();
    const auto waits = clock_->GetHostWaits();
    Call measured{call(), {}, clock_->GetHostWaits() - waits};
    const auto all = log_.GetLines();
    for (std::size_t i = lines; i < all.size(); ++i) {
        if (all[i].thread == hostThread_) {
            measured.lines.push_back(Comparable(all[i]));
        }
    }
    return measured;
}

void LifeCycleFixture::StartCycle(Origin origin, Stop stop) {
    isKnxStackSilent_ = stop == Stop::LoadStateWait;
    if (origin == Origin::Init) {
        CloseGate(stop);
        ASSERT_EQ(sut_->Init(hub_), Started);
    } else {
        ASSERT_EQ(sut_->Init(hub_), Started);
        WaitForCycleEnd();
        CloseGate(stop);
        ASSERT_EQ(sut_->OnDeviceRestart(), Started);
    }
    if (stop == Stop::Over) {
        WaitForCycleEnd();
    } else {
        ASSERT_TRUE(IsRequest(stop) ? deviceStack_.WaitForRequest(GetRequestText(stop)) : gate_.WaitForArrival());
    }
    NoteStop();
}

void LifeCycleFixture::StartCycleUntilRequest(const std::string& text) {
    deviceStack_.Hold(text);
    ASSERT_EQ(sut_->Init(hub_), Started);
    ASSERT_TRUE(deviceStack_.WaitForRequest(text));
    deviceStack_.Accept(text);
    NoteStop();
}

void LifeCycleFixture::NoteStop() {
    linesAtStop_ = log_.GetLines().size();
    isStopped_ = true;
}

std::string LifeCycleFixture::GetRequestText(Stop stop) {
    using Zandrel::ParameterType;
    switch (stop) {
        case Stop::DeviceConfig:
            return "GetDeviceConfig";
        case Stop::ChangeBegin:
            return "configurationChangeBegin";
        case Stop::Devices:
            return "KIM-FriendlyName";
        case Stop::Cos:
            return "\"id\":" + std::to_string(*Mapping::GetCoChannelObjModelId(1, 1)) + ',';
        case Stop::IpParameters:
            return FirstParameter(ParameterType::Ip);
        case Stop::NumberParameters:
            return FirstParameter(ParameterType::Number);
        case Stop::TextParameters:
            return FirstParameter(ParameterType::Text);
        case Stop::ChangeEnd:
            return "configurationChangeEnd";
        case Stop::ConfigurationLoaded:
            return "configurationLoaded";
        default:
            return EventMembers(2);
    }
}

void LifeCycleFixture::CloseGate(Stop stop) {
    deviceStack_.TakeRequests();
    if (IsRequest(stop)) {
        deviceStack_.Hold(GetRequestText(stop));
    } else {
        gate_.Close(stop);
    }
}

void LifeCycleFixture::Release() {
    gate_.Open();
    deviceStack_.AnswerHeld();
}

void LifeCycleFixture::WaitForCycleEnd() {
    if (loadEvent_.joinable()) {
        EXPECT_TRUE(loadEvent_.try_join_for(boost::chrono::seconds(10))) << "the load event still waits";
    }
    // The io thread stays, for as long as the application program does.
    const std::ptrdiff_t others = sut_ ? 1 : 0;
    EXPECT_TRUE(Eventually([this, others] { return CountThreads() <= idleThreads_ + others; })) << "the cycle goes on";
}

void LifeCycleFixture::ExpectThatARestartWorks() {
    const std::size_t runStates = stack_.GetRunStates().size();
    EXPECT_EQ(sut_->OnDeviceRestart(), Started);
    Release();
    WaitForCycleEnd();
    const auto all = stack_.GetRunStates();
    EXPECT_EQ(std::vector<bool>(all.begin() + static_cast<std::ptrdiff_t>(runStates), all.end()),
              std::vector<bool>{true});
    EXPECT_TRUE(HasChild());
}

Lines LifeCycleFixture::GetCycleLines() const {
    Lines lines;
    const auto all = log_.GetLines();
    for (std::size_t i = linesAtStop_; i < all.size(); ++i) {
        const std::string line = Comparable(all[i]);
        if (all[i].thread != hostThread_ && IsOfACycle(line)) {
            lines.push_back(line);
        }
    }
    return lines;
}

void LifeCycleFixture::LoseConnection() {
    isAppAlive_ = false;  // as far as anybody can see
    deviceStack_.LoseConnection();
}

void LifeCycleFixture::Reconnect() {
    isAppAlive_ = true;
    deviceStack_.Reconnect();
}

void LifeCycleFixture::FallSilent() {
    isAppAlive_ = false;  // as far as anybody can see
    deviceStack_.Ignore("");
}

void LifeCycleFixture::AnswerAgain() {
    isAppAlive_ = true;
    deviceStack_.Accept("");
    AcceptDeviceConfig();
}

void LifeCycleFixture::LoseLoadState() {
    isLoaded_ = false;
    // On a thread of the stack: it waits for the end of the cycle.
    loadEvent_ = boost::thread([this] { stack_.Properties().WriteLoadEvent(4); });
}

void LifeCycleFixture::KillAppHost() {
    isAppAlive_ = false;
    const auto all = log_.GetLines();
    const auto launched = std::find_if(all.rbegin(), all.rend(),
                                       [](const LogLine& line) { return Contains(line.text, "Launched native app"); });
    ASSERT_NE(launched, all.rend());
    const std::string start = "pid: ";
    ASSERT_EQ(kill(std::stoi(launched->text.substr(launched->text.find(start) + start.size())), SIGKILL), 0);
}

bool LifeCycleFixture::HasChild() {
    siginfo_t info{};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

int LifeCycleFixture::CountLines(const std::string& text) const {
    const auto all = log_.GetLines();
    return static_cast<int>(
        std::count_if(all.begin(), all.end(), [&text](const LogLine& line) { return Contains(line.text, text); }));
}

}  // namespace LifeCycle

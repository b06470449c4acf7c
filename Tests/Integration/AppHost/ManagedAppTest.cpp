#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/thread_only.hpp>
#include <csignal>
#include <string>
#include <vector>

#include "AppHostFixture.h"
#include "Relay.h"
#include "ReportLimit.h"
#include "SoftDebugger.h"
#include "Stranger.h"

namespace {

using namespace IntegrationTest;
using TestSupport::ChildProcess;
using TestSupport::ExitStatus;
using Texts = std::vector<std::string>;
namespace fs = boost::filesystem;

/// Of what begins or ends a process, too.
constexpr ChildProcess::Milliseconds ProcessLimit{6000};

/// App host and connector host, with real mono, and a managed app that makes the trouble that a test wants.
class ManagedApp : public AppHostFixture {
protected:
    ~ManagedApp() override {
        boost::system::error_code ignored;
        fs::remove(portFile_, ignored);
    }

    void StartAppHost(const std::string& trouble) {
        SetUpDevice(trouble);
        Start(ORN_CONNECTOR_APP, {{"ORN_CONNECTOR_PORT_FILE", portFile_}});
        EXPECT_EQ(NextReport(), Starting);
    }
    void StartConnectorHost(const std::string& app = "TroubleManagedApp") {
        StartConnectorHostWith(ORN_MANAGED_APPS "/" + app + ".dll");
    }
    void StartConnectorHostWith(const std::string& file) { StartConnectorHostWith(file, portFile_); }
    void StartConnectorHostWith(const std::string& file, const std::string& portFile,
                                const std::string& runtimeOptions = "") {
        connectorHost_.emplace(
            "/usr/bin/mono", Texts{"--runtime=v4.0", ORN_CONNECTOR_HOST, file, "127.0.0.1"},
            ChildProcess::Environment{{"ORN_CONNECTOR_PORT_FILE", portFile}, {"MONO_ENV_OPTIONS", runtimeOptions}});
    }
    /// Where the running app host listens for a connector host.
    unsigned short GetConnectorPort() {
        EXPECT_TRUE(appHost->WaitForLine("Waiting for the connector host at port "));
        unsigned short port = 0;
        fs::ifstream(portFile_) >> port;
        return port;
    }
    /// The port file is an old one, whose port is a stranger's, until the app host starts.
    void MeetStrangerFirst(const std::string& text, std::chrono::milliseconds pause) {
        Stranger stranger(text, pause);
        fs::ofstream(portFile_) << stranger.GetPort() << '\n';
        StartConnectorHost();
        EXPECT_TRUE(stranger.AwaitClient());
        const auto begin = std::chrono::steady_clock::now();
        StartAppHost("echo");
        EXPECT_EQ(NextReport(), Running);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, ProcessLimit);
    }
    void StartBoth(const std::string& trouble) {
        StartAppHost(trouble);
        StartConnectorHost();
        EXPECT_EQ(NextReport(), Running);
    }
    /// Lets the running app make its trouble.
    void Call() { Write(Co1, "2.1:1"); }

    /// The next report comes within the time in which trouble is told of.
    void ExpectStoppedInTime(ChildProcess::Milliseconds limit = TestSupport::ReportLimit) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(NextReport(), Stopped);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, limit);
    }
    void ExpectLine(const std::string& level, const std::string& text) {
        const auto line = appHost->WaitForLine(text);
        ASSERT_TRUE(line) << text << "; there is " << testing::PrintToString(appHost->GetErrorLines());
        EXPECT_NE(line->find(level), std::string::npos) << *line;
    }
    void ExpectErrorLine(const std::string& text) { ExpectLine("ERROR", text); }
    /// An assembly whose app does not come to life is told of on both sides.
    void ExpectNoLife(const std::string& app, const std::string& exception, const std::string& message) {
        StartAppHost("none");
        StartConnectorHost(app);
        ExpectErrorLine("The managed app failed: " + exception + ": " + message);
        EXPECT_EQ(NextReport(), Stopped);
        EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
        EXPECT_EQ(connectorHost_->GetErrorLines(), Texts{"OrnAppConnectorHost: " + message});
    }
    /// An app host that greets and then says `line` is left with `message`.
    void ExpectLeft(const std::string& line, const std::string& message) {
        Stranger stranger("orn-connector 1\n" + line + "\n", std::chrono::milliseconds(10));
        fs::ofstream(portFile_) << stranger.GetPort() << '\n';
        StartConnectorHost();
        EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
        EXPECT_EQ(connectorHost_->GetErrorLines(), Texts{"OrnAppConnectorHost: " + message});
    }
    void ExpectNoStart(const ChildProcess::Environment& environment, const std::string& reason) {
        SetUpDevice();
        Start(ORN_CONNECTOR_APP, environment);
        EXPECT_EQ(NextReports(2), (Texts{Starting, Stopped}));
        ExpectErrorLine(reason);
        EXPECT_EQ(WaitForExit(), ExitStatus::Exited(1));
    }

    /// The memory of the app host that is in use, in bytes.
    std::size_t GetMemory() const {
        std::size_t totalPages = 0;
        std::size_t residentPages = 0;
        fs::ifstream("/proc/" + std::to_string(appHost->GetPid()) + "/statm") >> totalPages >> residentPages;
        return residentPages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    }

    const std::string portFile_ = (fs::temp_directory_path() / fs::unique_path("orn-port-%%%%%%%%%%%%")).string();
    std::optional<ChildProcess> connectorHost_;
};

TEST_F(ManagedApp, livesFromItsStartToItsEnd) {
    StartBoth("echo");
    Write(Event, CommunicationOn);
    EXPECT_EQ(NextReport(), Told("on"));
    for (const std::string& value : Texts{"2.1:1", "3.1:-42", "4.1:21.5", "5.1:a \\ text with Gr\u00fc\u00dfe"}) {
        Write(Co1, value);
        EXPECT_EQ(NextReport(), "1010021 " + value);
    }

    Write(Event, ShutDown);

    EXPECT_EQ(NextReports(3), (Texts{Stopping, Told("stopped"), Stopped}));
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(0));
    EXPECT_FALSE(fs::exists(portFile_));
}

TEST_F(ManagedApp, connectorHostMayBeThereFirst) {
    StartConnectorHost();
    StartAppHost("echo");
    EXPECT_EQ(NextReport(), Running);
}

TEST_F(ManagedApp, strangerAtAnOldPortWhoSaysLittleIsLeft) {
    MeetStrangerFirst("o", std::chrono::milliseconds(300));
}

TEST_F(ManagedApp, strangerAtAnOldPortWhoSaysOneLineWithoutEndIsLeft) {
    MeetStrangerFirst(std::string(1U << 20U, 'o'), std::chrono::milliseconds(0));
}

TEST_F(ManagedApp, throwsAndIsReported) {
    StartBoth("throw");
    Call();
    ExpectStoppedInTime();
    ExpectErrorLine("The managed app failed: System.InvalidOperationException: two");
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
}

TEST_F(ManagedApp, callStackOfItsExceptionIsLoggedLineByLine) {
    StartBoth("throw");
    Call();
    ASSERT_TRUE(appHost->WaitForLine("      at Orn.Program.Run "));
    const Texts lines = appHost->GetErrorLines();
    const auto first = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.find("The managed app failed: System.InvalidOperationException: two") != std::string::npos;
    });
    ASSERT_GE(std::distance(first, lines.end()), 3);
    EXPECT_EQ(first[1], "    lines");
    EXPECT_EQ(first[2].find("      at TroubleManagedApp.OnValue (System.Object value) "), 0U) << first[2];
}

TEST_F(ManagedApp, throwsAtItsEndAndIsReported) {
    StartBoth("throw-at-stop");
    Write(Event, ShutDown);
    EXPECT_EQ(NextReports(3), (Texts{Stopping, Told("stopped"), Stopped}));
    ExpectErrorLine("The managed app failed: System.InvalidOperationException: not ready");
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
}

TEST_F(ManagedApp, throwsOnAThreadOfItsOwnAndIsReported) {
    StartBoth("throw-elsewhere");
    Call();
    ExpectStoppedInTime();
    ExpectErrorLine("The managed app failed: System.InvalidOperationException: elsewhere");
    EXPECT_TRUE(connectorHost_->WaitForExit());
}

TEST_F(ManagedApp, throwsAtItsStartAndNeverRuns) {
    StartAppHost("throw-at-start");
    StartConnectorHost();
    ExpectErrorLine("The managed app failed: System.InvalidOperationException: not today");
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
    EXPECT_EQ(NextReport(), Stopped);
    EXPECT_EQ(CountHeartbeats(), 1U) << "with which the device's watchdog begins";
    Write(Event, ShutDown);
    EXPECT_EQ(NextReports(2), (Texts{Stopping, Stopped}));
}

TEST_F(ManagedApp, oneThatFailedAtItsStartIsReportedAgainAfterTheDeviceTookItForRunning) {
    StartAppHost("throw-at-start");
    StartConnectorHost();
    EXPECT_EQ(NextReport(), Stopped);
    connectorHost_->WaitForExit();
    Write(State, "3.1:2");  // as the device does at the end of the debug mode

    StartConnectorHost();

    EXPECT_EQ(NextReport(), Stopped);
}

TEST_F(ManagedApp, endsItsProcessAtItsStartAndIsReported) {
    StartAppHost("exit-at-start");
    StartConnectorHost();
    ExpectStoppedInTime(ProcessLimit);
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(3));
}

TEST_F(ManagedApp, setsValuesOfAllTypes) {
    StartBoth("values");
    Call();
    for (const std::string& value : Texts{"2.1:1", "5.1:text", "3.1:-1", "3.1:2", "3.1:-3", "3.1:4", "3.1:-5", "3.1:6",
                                          "3.1:-7", "3.1:8", "4.1:0.5", "4.1:-1.5", "4.1:2.5"}) {
        EXPECT_EQ(NextReport(), "1010021 " + value);
    }
}

TEST_F(ManagedApp, valuesThatAreNoneAreRefused) {
    StartBoth("odd-values");
    Call();
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(NextReport(), Told("System.ArgumentException: a value is a bool, a number or a string")) << i;
    }
    EXPECT_EQ(NextReport(), Told("System.OverflowException: Value was either too large or too small for an Int64."));
}

TEST_F(ManagedApp, cosAndSlotsOutOfRangeAreRefused) {
    StartBoth("out-of-range");
    Call();
    EXPECT_EQ(NextReport(), Told("slot slot slot co co co slot slot slot co co co "));
}

TEST_F(ManagedApp, valueThatIsNoneEndsIt) {
    StartBoth("bad-value");
    Call();
    ExpectStoppedInTime();
    ExpectErrorLine("a value is a bool, a number or a string");
}

TEST_F(ManagedApp, ofALineThatIsTooLongTheBeginningIsLogged) {
    StartBoth("long-line");
    Call();
    EXPECT_EQ(NextReport(), Told("logged"));
    ExpectLine("INFO", "\u20ac\u20ac [...]");
}

TEST_F(ManagedApp, valueThatIsTooLongEndsIt) {
    StartBoth("long-value");
    Call();
    ExpectStoppedInTime();
    ExpectErrorLine("The managed app failed: System.ArgumentException: a text has 16384 characters at most");
}

TEST_F(ManagedApp, overflowOfItsStackIsReported) {
    StartBoth("overflow");
    Call();
    ExpectStoppedInTime();
    ExpectErrorLine("The managed app failed: System.StackOverflowException");
}

TEST_F(ManagedApp, endsItsProcessAndIsReported) {
    StartBoth("exit");
    Call();
    ExpectStoppedInTime();
    // Where the runtime takes long to end it is first missed: "does not answer", not "is lost".
    ExpectErrorLine("The connect");
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(3));
}

TEST_F(ManagedApp, killedOneIsReportedAndAnotherTakesItsPlace) {
    StartBoth("echo");
    connectorHost_->Signal(SIGKILL);
    ExpectStoppedInTime();
    ExpectErrorLine("The connection to the connector host is lost");

    StartConnectorHost();

    EXPECT_EQ(NextReport(), Running);
    Write(Co1, "3.1:7");
    EXPECT_EQ(NextReport(), "1010021 3.1:7");
}

TEST_F(ManagedApp, disconnectedOneIsReportedAndAnotherTakesItsPlace) {
    StartAppHost("echo");
    TestSupport::Relay relay(GetConnectorPort());
    StartConnectorHostWith(ORN_MANAGED_APPS "/TroubleManagedApp.dll",
                           folder.Write("relay", std::to_string(relay.GetPort()) + "\n"));
    EXPECT_EQ(NextReport(), Running);

    relay.CutService();

    ExpectStoppedInTime();
    ExpectErrorLine("The connection to the connector host is lost");
    Write(Co1, "3.1:5");
    EXPECT_FALSE(connectorHost_->WaitForExit(ChildProcess::Milliseconds(0))) << "it lives, and has no say any more";
    const ChildProcess other(
        "/usr/bin/mono", {"--runtime=v4.0", ORN_CONNECTOR_HOST, ORN_MANAGED_APPS "/TroubleManagedApp.dll", "127.0.0.1"},
        {{"ORN_CONNECTOR_PORT_FILE", portFile_}});
    EXPECT_EQ(NextReport(), Running);
    Write(Co1, "3.1:7");
    EXPECT_EQ(NextReport(), "1010021 3.1:7");
}

TEST_F(ManagedApp, frozenOneIsReported) {
    StartBoth("echo");
    connectorHost_->Signal(SIGSTOP);
    ExpectStoppedInTime();
    ExpectErrorLine("The connector host does not answer");
    connectorHost_->Signal(SIGCONT);
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
}

TEST_F(ManagedApp, oneThatADebuggerHaltsIsNotSilent) {
    constexpr boost::chrono::seconds Pause{3};  // twice the silence of a host that counts as gone
    SoftDebugger debugger;
    StartAppHost("echo");
    StartConnectorHostWith(ORN_MANAGED_APPS "/TroubleManagedApp.dll", portFile_, debugger.GetOption());
    ASSERT_TRUE(debugger.Attach());
    EXPECT_EQ(NextReport(), Running);
    boost::this_thread::sleep_for(Pause);  // it is asked how it is, and tells of its debugger
    debugger.Halt();
    Write(Co1, "3.1:7");
    boost::this_thread::sleep_for(Pause);

    debugger.GoOn();

    EXPECT_EQ(NextReport(), "1010021 3.1:7");
}

TEST_F(ManagedApp, pauseOfTheAppHostIsNoSilenceOfTheApp) {
    StartBoth("echo");
    appHost->Signal(SIGSTOP);
    boost::this_thread::sleep_for(boost::chrono::seconds(3));  // twice the silence of a host that counts as gone
    appHost->Signal(SIGCONT);

    Write(Co1, "3.1:7");

    EXPECT_EQ(NextReport(), "1010021 3.1:7");
    boost::this_thread::sleep_for(boost::chrono::seconds(1));
    Write(Co1, "3.1:8");
    EXPECT_EQ(NextReport(), "1010021 3.1:8");
}

TEST_F(ManagedApp, oneThatSetsValuesWithoutEndIsSlowedDownAndStopsWhenAsked) {
    StartBoth("flood");
    Call();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(6);
    EXPECT_EQ(NextReport(), "1010021 2.1:1");
    [[maybe_unused]] const std::size_t before = GetMemory();
    while (std::chrono::steady_clock::now() < limit) {
        ASSERT_EQ(NextReport(), "1010021 2.1:1");
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which keep what was freed
    EXPECT_LT(GetMemory(), before + (std::size_t{6} << 20U));
#endif

    const auto begin = std::chrono::steady_clock::now();
    Write(Event, ShutDown);

    while (NextReport() != Stopped) {
        ASSERT_LT(std::chrono::steady_clock::now() - begin, ProcessLimit);
    }
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
}

TEST_F(ManagedApp, oneThatHangsIsReportedAndGoesOn) {
    StartBoth("hang");
    Call();
    ExpectLine("WARN", "The managed app hangs in a call: no heartbeat until it returns");
    EXPECT_EQ(NextReport(), Told("awake"));
    ExpectLine("INFO", "The managed app goes on");
}

TEST_F(ManagedApp, oneThatDoesNotStopIsGivenUp) {
    StartBoth("hang-at-stop");
    Write(Event, ShutDown);
    EXPECT_EQ(NextReports(3), (Texts{Stopping, Told("stopped"), Stopped}));
    ExpectLine("WARN", "The managed app does not stop");
    EXPECT_EQ(WaitForExit(), ExitStatus::Exited(0));
}

TEST_F(ManagedApp, connectorHostEndsWithTheAppHost) {
    StartBoth("echo");
    appHost->Signal(SIGKILL);
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
    EXPECT_EQ(connectorHost_->GetErrorLines(), Texts{"OrnAppConnectorHost: the connection to the app host is lost"});
}

TEST_F(ManagedApp, callThatDoesNotReturnKeepsNoConnectorHost) {
    StartBoth("hang-for-ever");
    Call();
    ExpectLine("WARN", "The managed app hangs in a call: no heartbeat until it returns");
    appHost->Signal(SIGKILL);
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
}

TEST_F(ManagedApp, threadOfItsOwnKeepsNoConnectorHost) {
    StartBoth("thread");
    Call();
    EXPECT_EQ(NextReport(), Told("started"));
    appHost->Signal(SIGKILL);
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
}

TEST_F(ManagedApp, assemblyWithoutAnAppIsNamed) {
    ExpectNoLife("NoManagedApp", "System.InvalidOperationException",
                 ORN_MANAGED_APPS "/NoManagedApp.dll has 0 public classes that implement Orn.IApp, expected one");
}

TEST_F(ManagedApp, assemblyWithTwoAppsIsNamed) {
    ExpectNoLife("TwoManagedApps", "System.InvalidOperationException",
                 ORN_MANAGED_APPS "/TwoManagedApps.dll has 2 public classes that implement Orn.IApp, expected one");
}

TEST_F(ManagedApp, appWithoutADefaultConstructorIsNamed) {
    ExpectNoLife("DemandingManagedApp", "System.MissingMethodException",
                 "Default constructor not found for type DemandingManagedApp");
}

TEST_F(ManagedApp, throwsAtItsConstructionAndNeverRuns) {
    ExpectNoLife("StillbornManagedApp", "System.InvalidOperationException", "not even today");
    EXPECT_TRUE(appHost->WaitForLine("  at StillbornManagedApp..ctor () "));
}

TEST_F(ManagedApp, connectorHostLeavesAnAppHostThatSaysNonsense) {
    ExpectLeft("value 1 colour red", "no value: colour red");
    ExpectLeft("value 1 integer x", "Input string was not in a correct format.");
    ExpectLeft("value x integer 1", "Input string was not in a correct format.");
}

TEST_F(ManagedApp, connectorHostThatFindsNoAppHostEnds) {
    connectorHost_.emplace("/usr/bin/mono",
                           Texts{"--runtime=v4.0", ORN_MANAGED_APPS "/ImpatientConnectorHost.exe", portFile_});
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
    EXPECT_EQ(connectorHost_->GetErrorLines(), Texts{"there is no app host to be found by " + portFile_});
}

TEST_F(ManagedApp, appThatIsMissingIsNamed) {
    ExpectNoLife("Missing", "System.InvalidOperationException", "there is no " ORN_MANAGED_APPS "/Missing.dll");
}

TEST_F(ManagedApp, fileThatIsNoAssemblyIsNamed) {
    const std::string file = folder.Write("Text.dll", "no assembly");
    StartAppHost("none");
    StartConnectorHostWith(file);
    ExpectErrorLine(file + " is no assembly");
    EXPECT_EQ(NextReport(), Stopped);
    EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(1));
    EXPECT_EQ(connectorHost_->GetErrorLines(), Texts{"OrnAppConnectorHost: " + file + " is no assembly"});
}

constexpr const char* NoPortFile =
    "ORN_CONNECTOR_PORT_FILE is not set: app host and connector host need the same file, in which one finds the other";

TEST_F(ManagedApp, appHostWithoutAPortFileDoesNotStart) {
    ExpectNoStart({}, NoPortFile);
}

TEST_F(ManagedApp, appHostWhosePortFileHasNoNameDoesNotStart) {
    ExpectNoStart({{"ORN_CONNECTOR_PORT_FILE", ""}}, NoPortFile);
}

TEST_F(ManagedApp, appHostWhosePortFileCannotBeWrittenDoesNotStart) {
    ExpectNoStart({{"ORN_CONNECTOR_PORT_FILE", "/nowhere/port"}},
                  "Cannot wait for a connector host: /nowhere/port.new: cannot be written");
}

TEST_F(ManagedApp, appHostWhosePortFileIsAFolderDoesNotStart) {
    fs::create_directory(folder.At("port"));
    const std::string file = folder.At("port");
    ExpectNoStart({{"ORN_CONNECTOR_PORT_FILE", file}},
                  "Cannot wait for a connector host: boost::filesystem::rename: Is a directory: \"" + file +
                      ".new\", \"" + file + "\"");
}

TEST_F(ManagedApp, connectorHostThatIsCalledWronglySaysHowToCallIt) {
    const ChildProcess::Environment portFile{{"ORN_CONNECTOR_PORT_FILE", portFile_}};
    const ChildProcess::Environment noPortFile{{"ORN_CONNECTOR_PORT_FILE", ""}};
    for (const auto& [words, environment] : {std::pair{Texts{}, portFile}, std::pair{Texts{"app.dll"}, portFile},
                                             std::pair{Texts{"app.dll", "127.0.0.1", "more"}, portFile},
                                             std::pair{Texts{"app.dll", "127.0.0.1"}, ChildProcess::Environment{}},
                                             std::pair{Texts{"app.dll", "127.0.0.1"}, noPortFile}}) {
        Texts arguments{"--runtime=v4.0", ORN_CONNECTOR_HOST};
        arguments.insert(arguments.end(), words.begin(), words.end());
        connectorHost_.emplace("/usr/bin/mono", arguments, environment);
        EXPECT_EQ(connectorHost_->WaitForExit(), ExitStatus::Exited(2));
        EXPECT_EQ(
            connectorHost_->GetErrorLines(),
            Texts{"usage: OrnAppConnectorHost.exe APP.dll HOST (with ORN_CONNECTOR_PORT_FILE naming the file in which "
                  "the app host leaves its port)"});
    }
}

}  // namespace

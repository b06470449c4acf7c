#include <gmock/gmock.h>

#include <boost/filesystem/fstream.hpp>
#include <boost/filesystem/operations.hpp>

#include "Children.h"
#include "OwnAppFolder.h"

namespace {

using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::OwnAppFolder;
using EndToEnd::ThermostatSerialNumber;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using TestSupport::ExitStatus;
using Texts = std::vector<std::string>;
namespace fs = boost::filesystem;

/// The thermostat's package, changed after it was signed, on a device with everything real.
class TamperedPackage : public testing::Test {
protected:
    void SetUp() override {
        if (!OwnAppFolder::IsPossible()) {
            GTEST_SKIP() << "this machine lets nobody mount a folder of his own";
        }
    }

    void Start() {
        Host::Options options{EndToEnd::SampleDevice("thermostat"), deviceStack_.GetAddress()};
        options.runner = appFolder_.GetRunner();
        options.environment = {{"ORN_CONNECTOR_PORT_FILE", folder_.At("port")}};
        host_.emplace(options);
    }
    /// The app is not started, and the errors of the log are `errors` and those that follow from them.
    void ExpectRefusal(Texts errors) {
        Start();
        ASSERT_TRUE(host_->WaitForRunState("error"));
        errors.insert(errors.end(), {"Starting managed connectorAppHost failed.", "Set runstate to error"});
        Texts found;
        for (const std::string& line : host_->GetLog()) {
            EXPECT_THAT(line, Not(HasSubstr("Launching")));
            const auto separator = line.find(" - ");  // the platform's own lines have none
            if (separator != std::string::npos && (line.rfind("ERROR", 0) == 0 || line.rfind("FATAL", 0) == 0)) {
                found.push_back(line.substr(separator + 3));
            }
        }
        EXPECT_EQ(found, errors);
        EXPECT_TRUE(TestSupport::GetChildren(host_->GetProcess().GetPid()).empty());
        EXPECT_FALSE(fs::exists(folder_.At("port")));
        EXPECT_TRUE(host_->Stop());
    }

    /// The error lines of a local device that plays the demo of a device and fails.
    Texts PlayDemo(const std::string& device) {
        Texts words = appFolder_.GetRunner();
        words.insert(words.end(), {ORN_LOCALDEVICE_PROGRAM, "--once", "--device", device});
        const std::string program = words.front();
        words.erase(words.begin());
        EndToEnd::ChildProcess localDevice(program, words, {{"TMPDIR", folder_.GetPath().string()}});
        EXPECT_EQ(localDevice.WaitForExit(EndToEnd::Limit), ExitStatus::Exited(1));
        return localDevice.GetErrorLines();
    }

    static constexpr const char* Additional =
        "The application is considered corrupt due to additional files that are not in the signed file list";

    EndToEnd::TemporaryFolder folder_;
    OwnAppFolder appFolder_;
    DeviceStack deviceStack_{{ThermostatSerialNumber}};
    std::optional<Host> host_;
};

TEST_F(TamperedPackage, WithOneByteChangedIsRefused) {
    const fs::path dll = appFolder_.GetApp() / "Thermostat.dll";
    fs::fstream file(dll, std::ios::in | std::ios::out | std::ios::binary);
    file.seekg(1000);
    const char byte = static_cast<char>(file.get());
    file.seekp(1000);
    file.put(static_cast<char>(byte ^ 1));
    file.close();

    ExpectRefusal({"The SHA256 sum does not match: " + OwnAppFolder::GetAppAsSeen() + "/Thermostat.dll"});
}

TEST_F(TamperedPackage, WithAFileAddedIsRefused) {
    fs::ofstream(appFolder_.GetApp() / "x.txt") << "x";

    ExpectRefusal({"Found unexpected file x.txt", Additional});
}

TEST_F(TamperedPackage, IsToldOfByALocalDeviceThatPlaysItsDemo) {
    fs::ofstream(appFolder_.GetApp() / "x.txt") << "x";

    EXPECT_THAT(PlayDemo("thermostat"),
                ElementsAre(StartsWith("localdevice: device 1 cannot run: Found unexpected file x.txt | " +
                                       std::string(Additional) +
                                       " | Starting managed connectorAppHost failed. | Set runstate to error")));
}

/// Signed as it should be, with an app that fails.
TEST_F(TamperedPackage, WhoseAppThrowsAtItsStartIsToldOfToo) {
    fs::copy_file(ORN_TROUBLE_MANAGED_APP, appFolder_.GetApp() / "TroubleManagedApp.dll");
    const fs::path keys = ORN_BUILD_FOLDER "/LocalDevice/Apps/keys";
    EndToEnd::ChildProcess sign(
        ORN_PACKAGE_PROGRAM, {"sign", appFolder_.GetApp().string(), "--key", (keys / "developer.key").string(),
                              "--certificate", (keys / "developer.crt").string(), "--ca", (keys / "ca.crt").string()});
    ASSERT_EQ(sign.WaitForExit(), ExitStatus::Exited(0));
    folder_.Write("my.json", R"({"name": "Trouble", "serialNumber": "000000010009", "individualAddress": "1.1.10",
        "appId": "TroubleManagedApp", "appType": "managed", "parameters": {"text": {"1": "throw-at-start"}},
        "communicationObjects": []})");
    folder_.Write("my.demo.json", R"({"title": "None", "steps": []})");

    EXPECT_THAT(PlayDemo(folder_.At("my.json")),
                ElementsAre(StartsWith("localdevice: device 1 cannot run: The managed app failed: "
                                       "System.InvalidOperationException: not today; the logs stay in ")));
}

TEST_F(TamperedPackage, ThatIsRepairedStartsAfterARestart) {
    fs::ofstream(appFolder_.GetApp() / "x.txt") << "x";
    Start();
    ASSERT_TRUE(host_->WaitForRunState("error"));
    fs::remove(appFolder_.GetApp() / "x.txt");

    ASSERT_TRUE(host_->RestartAndWait());

    EXPECT_TRUE(host_->WaitForRunState("running"));
    EXPECT_TRUE(host_->Stop());
}

}  // namespace

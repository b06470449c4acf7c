#include <gmock/gmock.h>

#include <algorithm>

#include "AppHostProcessFixture.h"
#include "AppLauncher.h"
#include "AppPackage.h"
#include "FileHasher.h"

namespace {

using AppSideTools::AppHost;
using AppSideTools::AppHostControlState;
using AppSideTools::ConnectorHost;
using AppSideTools::ConnectorLibrary;
using AppSideTools::LineHook;
using AppSideTools::Lines;
using AppSideTools::operator+;
using AppSideTools::Report;
using AppSideTools::SecondDevice;
using AppSideTools::WorkingDirectory;
using boost::filesystem::path;
using Zandrel::AppIdentity;
using Zandrel::AppLauncher;
using Zandrel::ThreadControl;
using Zandrel::VerificationResult;

constexpr const char* Dll = "device/opt/userdata/ornApp/1/MyApp.dll";

const Lines Found{{"INFO",
                   "[MyApp] GetAppConnectorHost - Try to find app connector host "
                   "device/opt/ostra/bin/OrnAppConnectorHost.exe"},
                  {"DEBUG", "[MyApp] GetManagedAppDll - Found app at: device/opt/userdata/ornApp/1/MyApp.dll"}};
const Lines ConnectorHostLaunched{{"INFO",
                                   "LaunchManagedApp - Launching app connector host (Command Line = /usr/bin/mono "
                                   "--runtime=v4.0 device/opt/ostra/bin/OrnAppConnectorHost.exe "
                                   "device/opt/userdata/ornApp/1/MyApp.dll 127.0.0.1)."},
                                  {"INFO", "operator() - Launched managed app (pid: N)"}};
const Lines AppHostLaunched{
    {"INFO", "[MyApp] GetAppHost - Try to find app host device/opt/ostra/bin/ornapphost"},
    {"DEBUG", "[MyApp] GetNativeAppLib - Found app at: device/opt/ostra/lib/libornconnectorapp.so"},
    {"INFO",
     "LaunchNativeApp - Launching app host (Command Line = device/opt/ostra/bin/ornapphost "
     "device/opt/ostra/lib/libornconnectorapp.so 2)."},
    {"INFO", "operator() - Launched native app (pid: N)"},
    {"DEBUG", "[MyApp] LaunchApp - Waiting for app host and connector app host to have started."}};
const Lines ConnectorHostFailed{{"FATAL", "[MyApp] LaunchApp - Starting managed connectorAppHost failed."}};
const Lines CheckInterrupted{{"INFO", "[MyApp] LaunchManagedApp - Interruption signaled."}};
const Lines Duration{{"DEBUG", "~MeasureDuration - Starting app host and connector app host took"}};

class ManagedAppLauncher : public AppHostProcessFixture {
protected:
    ManagedAppLauncher() {
        identity_->SetAppId("MyApp");
        identity_->SetLogicalDeviceId(SecondDevice);
        identity_->SetAppType(1);
        WorkingDirectory::MakeLink(TEST_CHILD, AppHost);
        for (const char* file : {ConnectorHost, ConnectorLibrary, Dll}) {
            WorkingDirectory::MakeFile(file);
        }
        clock_->onSleep = [this] { Report(*sut_, AppHostControlState::Running); };
    }

    bool LaunchApp() { return launcher_.LaunchApp(control_); }
    bool LaunchManagedApp() { return launcher_.LaunchManagedApp(control_); }

    /// Acts at the log line that contains `text`.
    LineHook At(const char* text, std::function<void()> action) { return {log_.GetLogger(), text, std::move(action)}; }
    void Interrupt() { control_.running = false; }
    /// Launches the app of a package, which is checked as on the device.
    bool LaunchChecked(const TestSupport::AppPackage& package) {
        boost::filesystem::remove_all(path(Dll).parent_path());
        WorkingDirectory::MakeLink(package.Directory(), path(Dll).parent_path());
        WorkingDirectory::MakeLink(package.CaFile(), "device/opt/ostra/etc/programmable/ca.crt");
        AppLauncher sut(Zandrel::PrefixedLogger(log_.GetLogger(), identity_), identity_, *sut_);
        return sut.LaunchApp(control_);
    }

    WorkingDirectory folder_;
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    VerificationResult packageResult_ = VerificationResult::SignatureOk;
    std::vector<std::pair<path, path>> checkedPackages_;  ///< file list and certificate of each
    AppLauncher launcher_{Zandrel::PrefixedLogger(log_.GetLogger(), identity_), identity_, *sut_,
                          [this](const path& fileList, const path& caCertificate, const ThreadControl&) {
                              checkedPackages_.emplace_back(fileList, caCertificate);
                              return packageResult_;
                          }};
};

TEST_F(ManagedAppLauncher, LaunchStartsTheConnectorHostAndTheAppHost) {
    EXPECT_TRUE(LaunchApp());

    ExpectLines(Found + ConnectorHostLaunched + AppHostLaunched +
                Lines{{"INFO", "[MyApp] LaunchApp - Done: app host and connector app host running."}} + Duration);
    EXPECT_EQ(GetChildren().size(), 2U);
}

TEST_F(ManagedAppLauncher, PackageIsCheckedInTheFolderOfTheApp) {
    EXPECT_TRUE(LaunchManagedApp());

    EXPECT_EQ(checkedPackages_, (std::vector<std::pair<path, path>>{{"device/opt/userdata/ornApp/1/appfiles.xml",
                                                                     "device/opt/ostra/etc/programmable/ca.crt"}}));
}

TEST_F(ManagedAppLauncher, PackageThatIsNotAsSignedStartsNothing) {
    for (const auto result : {VerificationResult::Corrupt, VerificationResult::Unverifiable}) {
        packageResult_ = result;

        EXPECT_FALSE(LaunchApp());

        ExpectLines(Found + ConnectorHostFailed + Duration);
        EXPECT_TRUE(GetChildren().empty());
    }
}

TEST_F(ManagedAppLauncher, AppWithoutAPackageStartsNothing) {
    AppLauncher sut(Zandrel::PrefixedLogger(log_.GetLogger(), identity_), identity_, *sut_);

    EXPECT_FALSE(sut.LaunchManagedApp(control_));

    EXPECT_EQ(AppSideTools::Comparable(log_.GetLines()).back(),
              (LogLine{"ERROR", "VerifyAppPackage (SOURCE) - Could not read the app list file"}));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ManagedAppLauncher, PackageOfAnotherKindOfAppIsNotChecked) {
    for (const auto& kind :
         {std::optional<std::uint8_t>(), std::optional<std::uint8_t>(0), std::optional<std::uint8_t>(2)}) {
        const auto identity = std::make_shared<AppIdentity>();
        identity->SetAppId("MyApp");
        if (kind) {
            identity->SetAppType(*kind);
        }
        AppLauncher sut(Zandrel::PrefixedLogger(log_.GetLogger(), identity), identity, *sut_,
                        [](const path&, const path&, const ThreadControl&) {
                            ADD_FAILURE() << "the package was checked";
                            return VerificationResult::Corrupt;
                        });

        EXPECT_TRUE(sut.LaunchManagedApp(control_));
    }
}

TEST_F(ManagedAppLauncher, MissingConnectorHostLeavesTheAppHostUnstarted) {
    boost::filesystem::remove(ConnectorHost);

    EXPECT_FALSE(LaunchApp());

    ExpectLines(Lines{Found[0], {"FATAL", "[MyApp] LaunchManagedApp - Failed to find managed connectorAppHost."}} +
                ConnectorHostFailed + Duration);
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ManagedAppLauncher, MissingAppIsReported) {
    boost::filesystem::remove(Dll);

    EXPECT_FALSE(LaunchApp());

    ExpectLines(
        Lines{Found[0],
              {"DEBUG", "[MyApp] GetManagedAppDll - Failed to find app at: device/opt/userdata/ornApp/1/MyApp.dll"},
              {"DEBUG", "[MyApp] GetManagedAppDll - Failed to find app at: device/opt/ostra/bin/MyApp.dll"},
              {"FATAL", "[MyApp] LaunchManagedApp - Failed to find managed app: MyApp.dll"}} +
        ConnectorHostFailed + Duration);
    EXPECT_TRUE(checkedPackages_.empty());
}

TEST_F(ManagedAppLauncher, EmptyAppIdFindsNoManagedApp) {
    identity_->SetAppId("");

    EXPECT_FALSE(LaunchManagedApp());

    const auto lines = log_.GetLines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1].text.rfind("GetManagedAppDll - No App Id specified! [", 0), 0U) << lines[1];
    EXPECT_EQ(lines[2].text.rfind("LaunchManagedApp - Failed to find managed app: .dll [", 0), 0U) << lines[2];
}

TEST_F(ManagedAppLauncher, MissingMonoIsReported) {
    SystemFaults::mono = "/missing/mono";

    EXPECT_FALSE(LaunchApp());

    ExpectLines(Found +
                Lines{ConnectorHostLaunched[0],
                      {"FATAL",
                       "operator() - Failed to create connector app host process "
                       "(device/opt/ostra/bin/OrnAppConnectorHost.exe), error: No such file or directory (system:2)"}} +
                ConnectorHostFailed + Duration);
}

TEST_F(ManagedAppLauncher, MissingConnectorLibraryLeavesTheConnectorHostRunning) {
    boost::filesystem::remove(ConnectorLibrary);

    EXPECT_FALSE(LaunchApp());

    ExpectLines(
        Found + ConnectorHostLaunched +
        Lines{AppHostLaunched[0],
              {"DEBUG", "[MyApp] GetNativeAppLib - Failed to find app at: device/opt/ostra/lib/libornconnectorapp.so"},
              {"ERROR", "[MyApp] LaunchNativeApp - Failed to find native app: ConnectorApp"},
              {"FATAL", "[MyApp] LaunchApp - Starting app host failed."}} +
        Duration);
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ManagedAppLauncher, DisabledConnectorHostStartsOnlyTheAppHost) {
    sut_->GetConfiguration().SetAppConnectorHostStartupDisabled(true);

    EXPECT_TRUE(LaunchApp());

    ExpectLines(AppHostLaunched +
                Lines{{"INFO", "[MyApp] LaunchApp - Done: app host and connector app host running."}} + Duration);
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ManagedAppLauncher, InterruptionDuringTheCheckStartsNothing) {
    const LineHook hook = At("Found app at", [this] { Interrupt(); });

    EXPECT_FALSE(LaunchApp());

    ExpectLines(Found + CheckInterrupted + ConnectorHostFailed + Duration);
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ManagedAppLauncher, InterruptionEndsTheCheckOfALargePackage) {
    const TestSupport::AppPackage package;
    package.Seal(TestSupport::FileListOf(TestSupport::FileElement("large", std::string(64, '0')) + package.Entries()));
    package.Write("large", "");
    boost::filesystem::resize_file(package.File("large"), Zandrel::FileHasher::PackageLimit);
    const LineHook hook = At("Found app at", [this] { Interrupt(); });

    EXPECT_FALSE(LaunchChecked(package));

    ExpectLines(Found + CheckInterrupted + ConnectorHostFailed + Duration);
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ManagedAppLauncher, InterruptionEndsTheLookAtManyAdditionalFiles) {
    const TestSupport::AppPackage package;
    for (int i = 0; i < 10; ++i) {
        package.Write("extra" + std::to_string(i), "");
    }
    const LineHook hook = At("Found unexpected file", [this] { Interrupt(); });

    EXPECT_FALSE(LaunchChecked(package));

    const Lines lines = log_.GetLines();
    EXPECT_EQ(
        std::count_if(lines.begin(), lines.end(),
                      [](const LogLine& line) { return line.text.find("Found unexpected") != std::string::npos; }),
        1);
    EXPECT_THAT(lines, testing::Contains(CheckInterrupted.front()));
    EXPECT_TRUE(GetChildren().empty());
}

TEST_F(ManagedAppLauncher, InterruptionAfterTheConnectorHostLeavesTheAppHostUnstarted) {
    const LineHook hook = At("Launched managed app", [this] { Interrupt(); });

    EXPECT_FALSE(LaunchApp());

    ExpectLines(Found + ConnectorHostLaunched + Lines{{"INFO", "[MyApp] LaunchApp - Interruption signaled."}} +
                Duration);
    EXPECT_EQ(GetChildren().size(), 1U);
}

TEST_F(ManagedAppLauncher, AppThatDoesNotRunInTimeIsReported) {
    clock_->onSleep = [] {};

    EXPECT_FALSE(LaunchApp());

    ExpectLines(Found + ConnectorHostLaunched + AppHostLaunched +
                Lines{{"FATAL", "[MyApp] LaunchApp - Time-out waiting for running app host and connector app host."}} +
                Duration);
}

TEST_F(ManagedAppLauncher, AppThatDropsOutAtOnceFailsTheLaunch) {
    const LineHook hook = At("Done: app host", [this] { Report(*sut_, AppHostControlState::Stopping); });

    EXPECT_FALSE(LaunchApp());

    ExpectLines(Found + ConnectorHostLaunched + AppHostLaunched +
                Lines{{"INFO", "[MyApp] LaunchApp - Done: app host and connector app host running."},
                      {"FATAL", "[MyApp] LaunchApp - Failure: app host and connector app host not running"}} +
                Duration);
}

}  // namespace

#include "AppLocator.h"

#include <gtest/gtest.h>

#include <memory>

#include "AppSideTools.h"
#include "ScopedEnvironment.h"

namespace {

using AppSideTools::AppHost;
using AppSideTools::ConnectorHost;
using AppSideTools::ConnectorLibrary;
using AppSideTools::LogLine;
using AppSideTools::WorkingDirectory;
using TestSupport::ScopedEnvironment;
using Zandrel::AppHostConfiguration;
using Zandrel::AppIdentity;
using Zandrel::AppLocator;
using Zandrel::PrefixedLogger;

constexpr const char* UserApp = "device/opt/userdata/orn/libornmyapp.so";
constexpr const char* SystemApp = "device/opt/ostra/lib/libornmyapp.so";
constexpr const char* UserDll = "device/opt/userdata/ornApp/1/MyApp.dll";
constexpr const char* SystemDll = "device/opt/ostra/bin/MyApp.dll";

class AppLocatorTest : public testing::Test {
protected:
    AppLocatorTest() { identity_->SetAppId("A"); }

    WorkingDirectory folder_;
    TestSupport::LogCapture log_;
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    const ScopedEnvironment appHostRoot_{"ORN_ROOT_PATH_APP_HOST", "debug/bin"};
    const ScopedEnvironment connectorHostRoot_{"ORN_ROOT_PATH_APP_CONNECTOR_HOST", "debug/connector"};
    const ScopedEnvironment managedAppRoot_{"ORN_ROOT_PATH_MANAGED_APP", "debug/managed"};
    const ScopedEnvironment nativeAppRoot_{"ORN_ROOT_PATH_NATIVE_APP", "debug/lib"};
    AppHostConfiguration configuration_;
    AppLocator sut_{PrefixedLogger(log_.GetLogger(), identity_), identity_, configuration_};
};

TEST_F(AppLocatorTest, FindsTheAppHost) {
    WorkingDirectory::MakeFile(AppHost);

    EXPECT_EQ(sut_.GetAppHost(), AppHost);
    EXPECT_EQ(
        log_.GetLines(),
        (std::vector<LogLine>{{"INFO", "[A] GetAppHost - Try to find app host device/opt/ostra/bin/ornapphost"}}));
}

TEST_F(AppLocatorTest, FindsNoAppHostWithoutAFurtherLine) {
    EXPECT_FALSE(sut_.GetAppHost());
    EXPECT_EQ(log_.GetLines().size(), 1U);
}

TEST_F(AppLocatorTest, DirectoryNamedLikeTheProgramIsNoAppHost) {
    boost::filesystem::create_directories(AppHost);

    EXPECT_FALSE(sut_.GetAppHost());
}

TEST_F(AppLocatorTest, DebugModeReplacesTheFolderOfTheAppHost) {
    WorkingDirectory::MakeFile(AppHost);
    WorkingDirectory::MakeFile("debug/bin/ornapphost");
    configuration_.ReplaceAppDebugMode(true);

    EXPECT_EQ(sut_.GetAppHost(), "debug/bin/ornapphost");
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{{"INFO", "[A] GetAppHost - Try to find app host debug/bin/ornapphost"}}));
}

TEST_F(AppLocatorTest, RootPathsCountInDebugModeOnly) {
    WorkingDirectory::MakeFile("debug/bin/ornapphost");
    WorkingDirectory::MakeFile("debug/lib/libornmyapp.so");
    WorkingDirectory::MakeFile("debug/connector/OrnAppConnectorHost.exe");
    WorkingDirectory::MakeFile("debug/managed/MyApp.dll");

    EXPECT_FALSE(sut_.GetAppHost());
    EXPECT_FALSE(sut_.GetNativeAppLib("MyApp"));
    EXPECT_FALSE(sut_.GetAppConnectorHost());
    EXPECT_FALSE(sut_.GetManagedAppDll("MyApp"));
}

TEST_F(AppLocatorTest, DebugModeWithoutRootPathsKeepsTheStandardFolders) {
    unsetenv("ORN_ROOT_PATH_APP_HOST");
    unsetenv("ORN_ROOT_PATH_NATIVE_APP");
    unsetenv("ORN_ROOT_PATH_APP_CONNECTOR_HOST");
    setenv("ORN_ROOT_PATH_MANAGED_APP", "", 1);
    for (const char* file : {AppHost, SystemApp, ConnectorHost, SystemDll}) {
        WorkingDirectory::MakeFile(file);
    }
    AppHostConfiguration configuration;
    configuration.ReplaceAppDebugMode(true);
    const AppLocator sut(PrefixedLogger(log_.GetLogger(), identity_), identity_, configuration);

    EXPECT_EQ(sut.GetAppHost(), AppHost);
    EXPECT_EQ(sut.GetNativeAppLib("MyApp"), SystemApp);
    EXPECT_EQ(sut.GetAppConnectorHost(), ConnectorHost);
    EXPECT_EQ(sut.GetManagedAppDll("MyApp"), SystemDll);
}

TEST_F(AppLocatorTest, RootPathsThatLeadNowhereFindNothing) {
    for (const char* file : {AppHost, SystemApp, ConnectorHost, SystemDll}) {
        WorkingDirectory::MakeFile(file);
    }
    configuration_.ReplaceAppDebugMode(true);

    EXPECT_FALSE(sut_.GetAppHost());
    EXPECT_FALSE(sut_.GetNativeAppLib("MyApp"));
    EXPECT_FALSE(sut_.GetAppConnectorHost());
    EXPECT_FALSE(sut_.GetManagedAppDll("MyApp"));
}

TEST_F(AppLocatorTest, FindsTheConnectorHost) {
    WorkingDirectory::MakeFile(ConnectorHost);

    EXPECT_EQ(sut_.GetAppConnectorHost(), ConnectorHost);
    EXPECT_EQ(log_.GetLines(), (std::vector<LogLine>{{"INFO",
                                                      "[A] GetAppConnectorHost - Try to find app connector host "
                                                      "device/opt/ostra/bin/OrnAppConnectorHost.exe"}}));
}

TEST_F(AppLocatorTest, FindsNoConnectorHostWithoutAFurtherLine) {
    EXPECT_FALSE(sut_.GetAppConnectorHost());
    EXPECT_EQ(log_.GetLines().size(), 1U);
}

TEST_F(AppLocatorTest, DirectoryNamedLikeTheConnectorHostIsNone) {
    boost::filesystem::create_directories(ConnectorHost);

    EXPECT_FALSE(sut_.GetAppConnectorHost());
}

TEST_F(AppLocatorTest, DebugModeReplacesTheFolderOfTheConnectorHost) {
    WorkingDirectory::MakeFile(ConnectorHost);
    WorkingDirectory::MakeFile("debug/connector/OrnAppConnectorHost.exe");
    configuration_.ReplaceAppDebugMode(true);

    EXPECT_EQ(sut_.GetAppConnectorHost(), "debug/connector/OrnAppConnectorHost.exe");
}

TEST_F(AppLocatorTest, EmptyAppIdFindsNoManagedApp) {
    EXPECT_FALSE(sut_.GetManagedAppDll(""));
    EXPECT_EQ(log_.GetLines(), (std::vector<LogLine>{{"ERROR", "[A] GetManagedAppDll - No App Id specified!"}}));
}

TEST_F(AppLocatorTest, PrefersTheUsersManagedApp) {
    WorkingDirectory::MakeFile(UserDll);
    WorkingDirectory::MakeFile(SystemDll);

    EXPECT_EQ(sut_.GetManagedAppDll("MyApp"), UserDll);
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "[A] GetManagedAppDll - Found app at: device/opt/userdata/ornApp/1/MyApp.dll"}}));
}

TEST_F(AppLocatorTest, FallsBackToTheSystemsManagedApp) {
    boost::filesystem::create_directories(UserDll);
    WorkingDirectory::MakeFile(SystemDll);

    EXPECT_EQ(sut_.GetManagedAppDll("MyApp"), SystemDll);
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{{"DEBUG", "[A] GetManagedAppDll - Found app at: device/opt/ostra/bin/MyApp.dll"}}));
}

TEST_F(AppLocatorTest, NamesEachCandidateWhenThereIsNoManagedApp) {
    EXPECT_FALSE(sut_.GetManagedAppDll("MyApp"));
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "[A] GetManagedAppDll - Failed to find app at: device/opt/userdata/ornApp/1/MyApp.dll"},
                  {"DEBUG", "[A] GetManagedAppDll - Failed to find app at: device/opt/ostra/bin/MyApp.dll"}}));
}

TEST_F(AppLocatorTest, AppIdWithADotLosesItsLastPart) {
    WorkingDirectory::MakeFile("device/opt/userdata/ornApp/1/My.App.dll");
    EXPECT_FALSE(sut_.GetManagedAppDll("My.App"));

    WorkingDirectory::MakeFile("device/opt/userdata/ornApp/1/My.dll");
    EXPECT_EQ(sut_.GetManagedAppDll("My.App"), "device/opt/userdata/ornApp/1/My.dll");
}

TEST_F(AppLocatorTest, DebugModeReplacesTheFolderOfTheSystemsManagedAppOnly) {
    WorkingDirectory::MakeFile(SystemDll);
    WorkingDirectory::MakeFile("debug/managed/MyApp.dll");
    configuration_.ReplaceAppDebugMode(true);

    EXPECT_EQ(sut_.GetManagedAppDll("MyApp"), "debug/managed/MyApp.dll");

    WorkingDirectory::MakeFile(UserDll);
    EXPECT_EQ(sut_.GetManagedAppDll("MyApp"), UserDll);

    log_.TakeLines();
    EXPECT_FALSE(sut_.GetManagedAppDll("Other"));
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "[A] GetManagedAppDll - Failed to find app at: device/opt/userdata/ornApp/1/Other.dll"},
                  {"DEBUG", "[A] GetManagedAppDll - Failed to find app at: debug/managed/Other.dll"}}));
}

TEST_F(AppLocatorTest, LibraryOfAManagedAppIsTheSystemsOwn) {
    identity_->SetAppType(1);
    configuration_.ReplaceAppDebugMode(true);
    WorkingDirectory::MakeFile("device/opt/userdata/orn/libornconnectorapp.so");
    WorkingDirectory::MakeFile("debug/lib/libornconnectorapp.so");

    EXPECT_FALSE(sut_.GetNativeAppLib("ConnectorApp"));
    EXPECT_EQ(log_.TakeLines(), (std::vector<LogLine>{{"DEBUG",
                                                       "[A] GetNativeAppLib - Failed to find app at: "
                                                       "device/opt/ostra/lib/libornconnectorapp.so"}}));

    WorkingDirectory::MakeFile(ConnectorLibrary);
    EXPECT_EQ(sut_.GetNativeAppLib("ConnectorApp"), ConnectorLibrary);
    EXPECT_EQ(log_.GetLines(), (std::vector<LogLine>{{"DEBUG",
                                                      "[A] GetNativeAppLib - Found app at: "
                                                      "device/opt/ostra/lib/libornconnectorapp.so"}}));
}

TEST_F(AppLocatorTest, AppOfKindZeroIsNative) {
    identity_->SetAppType(0);
    WorkingDirectory::MakeFile(UserApp);

    EXPECT_EQ(sut_.GetNativeAppLib("MyApp"), UserApp);
}

TEST_F(AppLocatorTest, EmptyAppIdFindsNoLibrary) {
    EXPECT_FALSE(sut_.GetNativeAppLib(""));
    EXPECT_EQ(log_.GetLines(), (std::vector<LogLine>{{"ERROR", "[A] GetNativeAppLib - No App Id specified!"}}));
}

TEST_F(AppLocatorTest, PrefersTheUsersLibrary) {
    WorkingDirectory::MakeFile(UserApp);
    WorkingDirectory::MakeFile(SystemApp);

    EXPECT_EQ(sut_.GetNativeAppLib("MyApp"), UserApp);
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "[A] GetNativeAppLib - Found app at: device/opt/userdata/orn/libornmyapp.so"}}));
}

TEST_F(AppLocatorTest, FallsBackToTheSystemsLibrary) {
    WorkingDirectory::MakeFile(SystemApp);

    EXPECT_EQ(sut_.GetNativeAppLib("MyApp"), SystemApp);
    EXPECT_EQ(
        log_.GetLines(),
        (std::vector<LogLine>{{"DEBUG", "[A] GetNativeAppLib - Found app at: device/opt/ostra/lib/libornmyapp.so"}}));
}

TEST_F(AppLocatorTest, NamesEachCandidateWhenThereIsNoLibrary) {
    EXPECT_FALSE(sut_.GetNativeAppLib("My.App"));
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "[A] GetNativeAppLib - Failed to find app at: device/opt/userdata/orn/libornmy.app.so"},
                  {"DEBUG", "[A] GetNativeAppLib - Failed to find app at: device/opt/ostra/lib/libornmy.app.so"}}));
}

TEST_F(AppLocatorTest, DirectoryNamedLikeTheLibraryIsNoLibrary) {
    boost::filesystem::create_directories(UserApp);
    WorkingDirectory::MakeFile(SystemApp);

    EXPECT_EQ(sut_.GetNativeAppLib("MyApp"), SystemApp);
}

TEST_F(AppLocatorTest, DebugModeReplacesTheFolderOfTheSystemsLibraryOnly) {
    WorkingDirectory::MakeFile("debug/lib/libornmyapp.so");
    configuration_.ReplaceAppDebugMode(true);

    EXPECT_EQ(sut_.GetNativeAppLib("MyApp"), "debug/lib/libornmyapp.so");

    WorkingDirectory::MakeFile(UserApp);
    EXPECT_EQ(sut_.GetNativeAppLib("MyApp"), UserApp);

    log_.TakeLines();
    EXPECT_FALSE(sut_.GetNativeAppLib("Other"));
    EXPECT_EQ(log_.GetLines(),
              (std::vector<LogLine>{
                  {"DEBUG", "[A] GetNativeAppLib - Failed to find app at: device/opt/userdata/orn/libornother.so"},
                  {"DEBUG", "[A] GetNativeAppLib - Failed to find app at: debug/lib/libornother.so"}}));
}

}  // namespace

#include "AppLocator.h"

#include <gtest/gtest.h>

#include <memory>

#include "AppSideTools.h"

namespace {

using AppSideTools::EnvironmentVariable;
using AppSideTools::LogLine;
using AppSideTools::WorkingDirectory;
using Zandrel::AppHostConfiguration;
using Zandrel::AppIdentity;
using Zandrel::AppLocator;
using Zandrel::PrefixedLogger;

constexpr const char* AppHost = "device/opt/ostra/bin/ornapphost";
constexpr const char* UserApp = "device/opt/userdata/orn/libornmyapp.so";
constexpr const char* SystemApp = "device/opt/ostra/lib/libornmyapp.so";

class AppLocatorTest : public testing::Test {
protected:
    AppLocatorTest() { identity_->SetAppId("A"); }

    WorkingDirectory folder_;
    TestSupport::LogCapture log_;
    std::shared_ptr<AppIdentity> identity_ = std::make_shared<AppIdentity>();
    const EnvironmentVariable appHostRoot_{"ORN_ROOT_PATH_APP_HOST", "debug/bin"};
    const EnvironmentVariable nativeAppRoot_{"ORN_ROOT_PATH_NATIVE_APP", "debug/lib"};
    AppHostConfiguration configuration_;
    AppLocator sut_{PrefixedLogger(log_.GetLogger(), identity_), configuration_};
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

    EXPECT_FALSE(sut_.GetAppHost());
    EXPECT_FALSE(sut_.GetNativeAppLib("MyApp"));
}

TEST_F(AppLocatorTest, DebugModeWithoutRootPathsKeepsTheStandardFolders) {
    unsetenv("ORN_ROOT_PATH_APP_HOST");
    unsetenv("ORN_ROOT_PATH_NATIVE_APP");
    WorkingDirectory::MakeFile(AppHost);
    WorkingDirectory::MakeFile(SystemApp);
    AppHostConfiguration configuration;
    configuration.ReplaceAppDebugMode(true);
    const AppLocator sut(PrefixedLogger(log_.GetLogger(), identity_), configuration);

    EXPECT_EQ(sut.GetAppHost(), AppHost);
    EXPECT_EQ(sut.GetNativeAppLib("MyApp"), SystemApp);
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

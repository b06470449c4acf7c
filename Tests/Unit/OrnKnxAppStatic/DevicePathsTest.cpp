#include "DevicePaths.h"

#include <gtest/gtest.h>

#include <memory>

#include "AppLocator.h"
#include "CapturingAppender.h"

namespace {

using TestSupport::LogLine;
namespace DevicePaths = Zandrel::DevicePaths;

TEST(DevicePaths, AreThoseOfTheDeviceWithoutARoot) {
    EXPECT_EQ(DevicePaths::AppHostDirectory(), "/opt/ostra/bin/");
    EXPECT_EQ(DevicePaths::UserManagedAppDirectory(), "/opt/userdata/ornApp/1");
    EXPECT_EQ(DevicePaths::SystemManagedAppDirectory(), "/opt/ostra/bin");
    EXPECT_EQ(DevicePaths::UserNativeAppDirectory(), "/opt/userdata/orn/");
    EXPECT_EQ(DevicePaths::SystemNativeAppDirectory(), "/opt/ostra/lib");
    EXPECT_EQ(DevicePaths::CaCertificate(), "/opt/ostra/etc/programmable/ca.crt");
}

TEST(DevicePaths, LeadToTheFilesOfTheDevice) {
    TestSupport::LogCapture capture;
    const auto identity = std::make_shared<Zandrel::AppIdentity>();
    identity->SetAppId("MyApp");
    const Zandrel::AppHostConfiguration configuration;
    const Zandrel::AppLocator sut(Zandrel::PrefixedLogger(capture.GetLogger(), identity), identity, configuration);

    sut.GetAppHost();
    sut.GetAppConnectorHost();
    EXPECT_FALSE(sut.GetManagedAppDll("App.That.Nobody.Has"));
    EXPECT_FALSE(sut.GetNativeAppLib("App.That.Nobody.Has"));

    EXPECT_EQ(
        capture.GetLines(),
        (std::vector<LogLine>{
            {"INFO", "[MyApp] GetAppHost - Try to find app host /opt/ostra/bin/ornapphost"},
            {"INFO",
             "[MyApp] GetAppConnectorHost - Try to find app connector host /opt/ostra/bin/OrnAppConnectorHost.exe"},
            {"DEBUG", "[MyApp] GetManagedAppDll - Failed to find app at: /opt/userdata/ornApp/1/App.That.Nobody.dll"},
            {"DEBUG", "[MyApp] GetManagedAppDll - Failed to find app at: /opt/ostra/bin/App.That.Nobody.dll"},
            {"DEBUG",
             "[MyApp] GetNativeAppLib - Failed to find app at: /opt/userdata/orn/libornapp.that.nobody.has.so"},
            {"DEBUG", "[MyApp] GetNativeAppLib - Failed to find app at: /opt/ostra/lib/libornapp.that.nobody.has.so"},
        }));
}

}  // namespace

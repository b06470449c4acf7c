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
    EXPECT_EQ(DevicePaths::UserNativeAppDirectory(), "/opt/userdata/orn/");
    EXPECT_EQ(DevicePaths::SystemNativeAppDirectory(), "/opt/ostra/lib");
}

TEST(DevicePaths, LeadToTheFilesOfTheDevice) {
    TestSupport::LogCapture capture;
    const auto identity = std::make_shared<Zandrel::AppIdentity>();
    identity->SetAppId("MyApp");
    const Zandrel::AppHostConfiguration configuration;
    const Zandrel::AppLocator sut(Zandrel::PrefixedLogger(capture.GetLogger(), identity), configuration);

    sut.GetAppHost();
    EXPECT_FALSE(sut.GetNativeAppLib("App.That.Nobody.Has"));

    EXPECT_EQ(
        capture.GetLines(),
        (std::vector<LogLine>{
            {"INFO", "[MyApp] GetAppHost - Try to find app host /opt/ostra/bin/ornapphost"},
            {"DEBUG",
             "[MyApp] GetNativeAppLib - Failed to find app at: /opt/userdata/orn/libornapp.that.nobody.has.so"},
            {"DEBUG", "[MyApp] GetNativeAppLib - Failed to find app at: /opt/ostra/lib/libornapp.that.nobody.has.so"},
        }));
}

}  // namespace

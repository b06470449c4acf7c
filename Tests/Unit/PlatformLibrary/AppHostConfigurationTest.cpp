#include "Zandrel/AppHostConfiguration.h"

#include <gtest/gtest.h>

#include "ScopedEnvironment.h"

namespace {

using TestSupport::ScopedEnvironment;
using Zandrel::AppHostConfiguration;

TEST(AppHostConfiguration, HasNoOverrideWithoutEnvironment) {
    const AppHostConfiguration sut;
    EXPECT_FALSE(sut.IsInAppDebugMode());
    EXPECT_FALSE(sut.IsAppHostStartupDisabled());
    EXPECT_FALSE(sut.IsAppConnectorHostStartupDisabled());
    EXPECT_EQ(sut.GetRootPathAppHost(), std::nullopt);
    EXPECT_EQ(sut.GetRootPathAppConnectorHost(), std::nullopt);
    EXPECT_EQ(sut.GetRootPathNativeApp(), std::nullopt);
    EXPECT_EQ(sut.GetRootPathManagedApp(), std::nullopt);
}

TEST(AppHostConfiguration, TakesEachRootPathFromItsVariable) {
    const ScopedEnvironment appHost("ORN_ROOT_PATH_APP_HOST", "/a");
    const ScopedEnvironment connectorHost("ORN_ROOT_PATH_APP_CONNECTOR_HOST", "/b");
    const ScopedEnvironment nativeApp("ORN_ROOT_PATH_NATIVE_APP", "/c");
    const ScopedEnvironment managedApp("ORN_ROOT_PATH_MANAGED_APP", "/d");
    const AppHostConfiguration sut;
    EXPECT_EQ(sut.GetRootPathAppHost(), "/a");
    EXPECT_EQ(sut.GetRootPathAppConnectorHost(), "/b");
    EXPECT_EQ(sut.GetRootPathNativeApp(), "/c");
    EXPECT_EQ(sut.GetRootPathManagedApp(), "/d");
}

TEST(AppHostConfiguration, EmptyVariableIsNoOverride) {
    const ScopedEnvironment nativeApp("ORN_ROOT_PATH_NATIVE_APP", "");
    EXPECT_EQ(AppHostConfiguration().GetRootPathNativeApp(), std::nullopt);
}

TEST(AppHostConfiguration, ReadsTheEnvironmentOnce) {
    const AppHostConfiguration sut;
    const ScopedEnvironment disabled("ORN_APP_HOST_STARTUP_DISABLED", "1");
    const ScopedEnvironment nativeApp("ORN_ROOT_PATH_NATIVE_APP", "/c");
    EXPECT_FALSE(sut.IsAppHostStartupDisabled());
    EXPECT_EQ(sut.GetRootPathNativeApp(), std::nullopt);
}

TEST(AppHostConfiguration, OnlyOneDisablesAppHostStartup) {
    for (const char* const value : {"0", "", "true", "11"}) {
        const ScopedEnvironment disabled("ORN_APP_HOST_STARTUP_DISABLED", value);
        EXPECT_FALSE(AppHostConfiguration().IsAppHostStartupDisabled()) << value;
    }
    const ScopedEnvironment disabled("ORN_APP_HOST_STARTUP_DISABLED", "1");
    const AppHostConfiguration sut;
    EXPECT_TRUE(sut.IsAppHostStartupDisabled());
    EXPECT_FALSE(sut.IsAppConnectorHostStartupDisabled());
}

TEST(AppHostConfiguration, DisabledConnectorHostDisablesAppHostToo) {
    AppHostConfiguration sut;
    EXPECT_FALSE(sut.SetAppConnectorHostStartupDisabled(true));
    EXPECT_TRUE(sut.IsAppHostStartupDisabled());
    EXPECT_TRUE(sut.IsAppConnectorHostStartupDisabled());
    EXPECT_TRUE(sut.SetAppConnectorHostStartupDisabled(false));
    EXPECT_FALSE(sut.IsAppHostStartupDisabled());
}

TEST(AppHostConfiguration, ReplacingDebugModeReturnsTheOneBefore) {
    AppHostConfiguration sut;
    EXPECT_FALSE(sut.ReplaceAppDebugMode(true));
    EXPECT_TRUE(sut.IsInAppDebugMode());
    EXPECT_TRUE(sut.ReplaceAppDebugMode(true));
    EXPECT_TRUE(sut.ReplaceAppDebugMode(false));
    EXPECT_FALSE(sut.IsInAppDebugMode());
}

}  // namespace

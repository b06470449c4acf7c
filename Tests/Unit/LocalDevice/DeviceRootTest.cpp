#include "DeviceRoot.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>

#include "TemporaryFolder.h"

namespace {

using LocalDevice::FindDeviceRoot;

TEST(DeviceRoot, OfABuildLiesBesideItsPrograms) {
    const TestSupport::TemporaryFolder folder;
    boost::filesystem::create_directory(folder.GetPath() / "root");

    EXPECT_EQ(FindDeviceRoot(folder.GetPath() / "bin"), folder.GetPath() / "root");
}

TEST(DeviceRoot, OfInstalledProgramsIsThatOfTheMachine) {
    const TestSupport::TemporaryFolder folder;

    EXPECT_EQ(FindDeviceRoot(folder.GetPath() / "bin"), "/");
}

TEST(DeviceRoot, IsNoFile) {
    const TestSupport::TemporaryFolder folder;
    folder.Write("root", "");

    EXPECT_EQ(FindDeviceRoot(folder.GetPath() / "bin"), "/");
}

}  // namespace

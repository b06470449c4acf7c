#include "FolderLock.h"

#include <gtest/gtest.h>

#include <string>

#include "PackageError.h"
#include "TemporaryFolder.h"

namespace {

using LocalDevice::FolderLock;

std::string FailToLock(const std::string& folder, FolderLock::Kind kind) {
    try {
        const FolderLock sut(folder, kind);
    } catch (const LocalDevice::PackageError& error) {
        return error.what();
    }
    return "";
}

TEST(FolderLock, FolderThatIsNotThereIsNamed) {
    EXPECT_EQ(FailToLock("/nowhere", FolderLock::Kind::Shared), "cannot open /nowhere: No such file or directory");
}

TEST(FolderLock, ManyShareAFolderOrOneHasIt) {
    const TestSupport::TemporaryFolder folder;
    const std::string path = folder.GetPath().string();
    const std::string refusal = "another ornpackage is at work in " + path;
    {
        const FolderLock first(path, FolderLock::Kind::Shared);
        EXPECT_EQ(FailToLock(path, FolderLock::Kind::Shared), "");
        EXPECT_EQ(FailToLock(path, FolderLock::Kind::Exclusive), refusal);
    }
    const FolderLock only(path, FolderLock::Kind::Exclusive);
    EXPECT_EQ(FailToLock(path, FolderLock::Kind::Shared), refusal);
    EXPECT_EQ(FailToLock(path, FolderLock::Kind::Exclusive), refusal);
}

}  // namespace

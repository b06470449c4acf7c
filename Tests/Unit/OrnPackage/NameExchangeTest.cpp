#include "NameExchange.h"

#include <gmock/gmock.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdio>
#include <string>

#include "AppPackage.h"
#include "PackageError.h"
#include "TemporaryFolder.h"

namespace {

/// What renameat2(2) fails with; 0 where it works.
int fault = 0;  // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

}  // namespace

// Comes before the C library's.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the C library's names are other ones
extern "C" int renameat2(int oldFolder, const char* from, int newFolder, const char* to, unsigned int flags) noexcept {
    if (fault == 0) {
        return static_cast<int>(syscall(SYS_renameat2, oldFolder, from, newFolder, to, flags));
    }
    errno = fault;
    return -1;
}

namespace {

namespace filesystem = boost::filesystem;
using LocalDevice::ExchangeNames;
using LocalDevice::PackageError;
using TestSupport::ReadFile;

class NameExchangeTest : public testing::TestWithParam<int> {
protected:
    NameExchangeTest() { fault = GetParam(); }
    ~NameExchangeTest() override { fault = 0; }

    filesystem::path MakeFolder(const std::string& name) const {
        filesystem::create_directory(folder_.At(name));
        TestSupport::WriteFile(folder_.At(name) + "/file", "of " + name);
        return folder_.At(name);
    }
    /// What a name stands for.
    std::string ContentOf(const std::string& name) const { return ReadFile(folder_.At(name) + "/file"); }

    const TestSupport::TemporaryFolder folder_;
};

TEST_P(NameExchangeTest, EachNameStandsForTheOther) {
    const filesystem::path a = MakeFolder("a");
    const filesystem::path b = MakeFolder("b");
    MakeFolder("a.old");

    ExchangeNames(a, b);

    EXPECT_EQ(ContentOf("a"), "of b");
    EXPECT_EQ(ContentOf("b"), "of a");
}

TEST_P(NameExchangeTest, OneThatStandsForNothingIsTaken) {
    const filesystem::path b = MakeFolder("b");
    ExchangeNames(folder_.At("a"), b);
    EXPECT_EQ(ContentOf("a"), "of b");
    EXPECT_FALSE(filesystem::exists(b));

    ExchangeNames(folder_.At("a"), b);
    EXPECT_EQ(ContentOf("b"), "of b");
    EXPECT_FALSE(filesystem::exists(folder_.At("a")));
}

TEST_P(NameExchangeTest, LinkIsExchangedAndNotWhatItPointsTo) {
    filesystem::create_directory_symlink(MakeFolder("real"), folder_.At("a"));
    const filesystem::path b = MakeFolder("b");

    ExchangeNames(folder_.At("a"), b);

    EXPECT_TRUE(filesystem::is_symlink(b));
    EXPECT_EQ(ContentOf("a"), "of b");
}

TEST_P(NameExchangeTest, FailureLeavesTheFirstNameAsItIs) {
    const filesystem::path a = MakeFolder("a");
    const filesystem::path inside = MakeFolder("a/b");  // which no name above it can be exchanged with

    EXPECT_THROW(ExchangeNames(a, inside), PackageError);

    EXPECT_EQ(ContentOf("a"), "of a");
    EXPECT_EQ(ContentOf("a/b"), "of a/b");
}

INSTANTIATE_TEST_SUITE_P(Errors, NameExchangeTest, testing::Values(0, EINVAL, ENOSYS),
                         [](const auto& tested) { return "Number" + std::to_string(tested.param); });

using FailedNameExchangeTest = NameExchangeTest;

TEST_P(FailedNameExchangeTest, ReasonIsToldAndNothingChanged) {
    const filesystem::path a = MakeFolder("a");
    const filesystem::path b = MakeFolder("b");
    try {
        ExchangeNames(a, b);
        FAIL() << "no error";
    } catch (const PackageError& error) {
        EXPECT_EQ(error.what(), "cannot write " + a.string() + ": Permission denied");
    }
    EXPECT_EQ(ContentOf("a"), "of a");
    EXPECT_EQ(ContentOf("b"), "of b");
}

INSTANTIATE_TEST_SUITE_P(Errors, FailedNameExchangeTest, testing::Values(EACCES));

}  // namespace

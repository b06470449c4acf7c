#include "LogFollower.h"

#include <gtest/gtest.h>

#include <boost/filesystem/operations.hpp>
#include <fstream>

namespace {

using EndToEnd::LogFollower;
using EndToEnd::TemporaryFolder;
using Lines = std::vector<std::string>;

class LogFollowerTest : public testing::Test {
protected:
    void Write(const std::string& text) { log_ << text << std::flush; }
    void Roll() {
        log_.close();
        boost::filesystem::rename(folder_.At("log"), folder_.At("log.1"));
        Open();
    }
    void Open() { log_.open(folder_.At("log")); }

    const TemporaryFolder folder_;
    std::ofstream log_;
    LogFollower sut_{folder_.At("log")};
};

TEST_F(LogFollowerTest, FileThatIsNotThereYetHasNoLines) {
    EXPECT_EQ(sut_.TakeNew(), Lines{});
    Open();
    Write("one\n");
    EXPECT_EQ(sut_.TakeNew(), Lines{"one"});
}

TEST_F(LogFollowerTest, LineCountsOnceItHasEnded) {
    Open();
    Write("one\ntw");
    EXPECT_EQ(sut_.TakeNew(), Lines{"one"});
    Write("o\n");
    EXPECT_EQ(sut_.TakeNew(), Lines{"two"});
}

TEST_F(LogFollowerTest, LinesOnBothSidesOfARollAreRead) {
    Open();
    Write("one\n");
    EXPECT_EQ(sut_.TakeNew(), Lines{"one"});
    Write("two\n");
    Roll();
    Write("three\n");
    EXPECT_EQ(sut_.TakeNew(), (Lines{"two", "three"}));
    Roll();
    EXPECT_EQ(sut_.TakeNew(), Lines{});
    Write("four\n");
    EXPECT_TRUE(sut_.WaitFor("four"));
}

}  // namespace

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FakeHost.h"

namespace {

using namespace AppHostTests;
using Texts = std::vector<std::string>;

constexpr std::uint16_t PushButton = 1;
constexpr std::uint16_t Brightness = 3;

const Texts LampOn{"2 = boolean 1"};
const Texts LampOff{"2 = boolean 0"};
const Texts Nothing{};

/// A stair light with a run time of 3 s that takes it for dark below 50 lx, without greeting.
class StairLightTest : public testing::Test {
protected:
    StairLightTest() {
        host.numbers[1] = 3;
        host.numbers[2] = 50;
    }
    ~StairLightTest() override {
        if (started_) {
            host.Stop();
        }
    }

    void Start() {
        ASSERT_EQ(host.Start(), ORN_OK);
        started_ = true;
    }
    void Press(bool on = true) { host.Send(PushButton, Boolean(on)); }

    FakeHost host;

private:
    bool started_ = false;
};

TEST_F(StairLightTest, switchesOnWhenTheBrightnessIsUnknown) {
    Start();
    Press();
    EXPECT_EQ(host.TakeWritten(), LampOn);
}

TEST_F(StairLightTest, switchesOnWhenItIsDark) {
    Start();
    host.Send(Brightness, Number(49.99));
    Press();
    EXPECT_EQ(host.TakeWritten(), LampOn);
}

TEST_F(StairLightTest, staysOffWhenItIsBright) {
    Start();
    for (const double lux : {50.0, 50.01, 670433.28}) {
        host.Send(Brightness, Number(lux));
        Press();
        EXPECT_EQ(host.TakeWritten(), Nothing) << lux;
    }
    EXPECT_EQ(host.CountTimers(), 0U);
}

TEST_F(StairLightTest, knowsTheBrightnessFromBeforeItsStart) {
    host.values[Brightness] = Number(100);
    Start();
    Press();
    EXPECT_EQ(host.TakeWritten(), Nothing);
}

TEST_F(StairLightTest, takesAWholeNumberAsBrightness) {
    Start();
    host.Send(Brightness, Integer(100));
    Press();
    EXPECT_EQ(host.TakeWritten(), Nothing);
}

TEST_F(StairLightTest, switchesOffAfterTheRunTime) {
    Start();
    Press();
    host.Advance(3 * FakeHost::Second - 1);
    EXPECT_EQ(host.TakeWritten(), LampOn);
    host.Advance(1);
    EXPECT_EQ(host.TakeWritten(), LampOff);
    host.Advance(60 * FakeHost::Second);
    EXPECT_EQ(host.TakeWritten(), Nothing);
}

TEST_F(StairLightTest, beginsTheRunTimeAnewWithEveryPress) {
    Start();
    Press();
    host.Advance(2 * FakeHost::Second);
    Press();
    host.Advance(2 * FakeHost::Second);
    Press();
    host.Advance(3 * FakeHost::Second - 1);
    EXPECT_EQ(host.TakeWritten(), LampOn);
    EXPECT_EQ(host.CountTimers(), 1U);
    host.Advance(1);
    EXPECT_EQ(host.TakeWritten(), LampOff);
}

TEST_F(StairLightTest, beginsTheRunTimeAnewInTheLightOfItsOwnLamp) {
    Start();
    Press();
    host.Send(Brightness, Number(300));
    host.Advance(2 * FakeHost::Second);
    Press();
    host.Advance(2 * FakeHost::Second);
    EXPECT_EQ(host.TakeWritten(), LampOn);
    host.Advance(1 * FakeHost::Second);
    EXPECT_EQ(host.TakeWritten(), LampOff);
}

TEST_F(StairLightTest, switchesOnAgainAfterTheRunTime) {
    Start();
    Press();
    host.Advance(3 * FakeHost::Second);
    host.TakeWritten();
    Press();
    EXPECT_EQ(host.TakeWritten(), LampOn);
}

TEST_F(StairLightTest, switchesOffAtOnceWithTheButton) {
    Start();
    Press();
    host.TakeWritten();
    Press(false);
    EXPECT_EQ(host.TakeWritten(), LampOff);
    host.Advance(60 * FakeHost::Second);
    EXPECT_EQ(host.TakeWritten(), Nothing);
}

TEST_F(StairLightTest, switchesALampOffThatItDidNotSwitchOn) {
    Start();
    Press(false);
    EXPECT_EQ(host.TakeWritten(), LampOff);
}

TEST_F(StairLightTest, staysOnWithoutEndWhenTheRunTimeIsZero) {
    host.numbers[1] = 0;
    Start();
    Press();
    host.Advance(1000000 * FakeHost::Second);
    EXPECT_EQ(host.TakeWritten(), LampOn);
    Press(false);
    EXPECT_EQ(host.TakeWritten(), LampOff);
}

TEST_F(StairLightTest, keepsTheLongestRunTime) {
    host.numbers[1] = 4294967295;
    Start();
    Press();
    host.Advance(4294967295 * FakeHost::Second - 1);
    EXPECT_EQ(host.TakeWritten(), LampOn);
    host.Advance(1);
    EXPECT_EQ(host.TakeWritten(), LampOff);
}

TEST_F(StairLightTest, isNeverDarkWithAThresholdOfZero) {
    host.numbers[2] = 0;
    Start();
    host.Send(Brightness, Number(0));
    Press();
    EXPECT_EQ(host.TakeWritten(), Nothing);
}

TEST_F(StairLightTest, greetsAtItsStart) {
    host.texts[1] = "Welcome home, mind the step";
    Start();
    EXPECT_EQ(host.TakeWritten(), Texts{"4 = text Welcome home, mind the step"});
}

TEST_F(StairLightTest, greetsNobodyWithoutAText) {
    Start();
    EXPECT_EQ(host.TakeWritten(), Nothing);
}

TEST_F(StairLightTest, saysWhenTheGreetingIsLost) {
    host.texts[1] = "Welcome";
    host.setResult = ORN_NO_SUCH_CO;
    Start();
    EXPECT_EQ(host.lines, Texts{"3 The display did not get the greeting."});
}

TEST_F(StairLightTest, saysWhenTheLampIsNotReached) {
    Start();
    host.setResult = ORN_NOT_CONNECTED;
    Press();
    EXPECT_EQ(host.lines, Texts{"3 The lamp was not switched."});
}

TEST_F(StairLightTest, ignoresValuesOfAWrongType) {
    Start();
    host.Send(PushButton, Integer(1));
    host.Send(PushButton, Text("on"));
    host.Send(Brightness, Boolean(true));
    EXPECT_EQ(host.TakeWritten(), Nothing);
    EXPECT_EQ(host.lines, (Texts{"3 The push button sent a value that is no boolean.",
                                 "3 The push button sent a value that is no boolean.",
                                 "3 The brightness sensor sent a value that is no number."}));
}

TEST_F(StairLightTest, leavesNoLampOnWhoseEndItCannotForesee) {
    Start();
    host.timerResult = ORN_FAILED;
    Press();
    EXPECT_EQ(host.TakeWritten(), (Texts{"2 = boolean 1", "2 = boolean 0"}));
    EXPECT_EQ(host.lines, Texts{"3 The run time could not begin: the lamp goes off at once."});
}

TEST_F(StairLightTest, doesNotStartWithoutItsParametersAndCos) {
    host.numberResult = ORN_FAILED;
    EXPECT_EQ(host.Start(), ORN_FAILED);
    host.numberResult = ORN_OK;
    host.listenResult = ORN_NO_SUCH_CO;
    EXPECT_EQ(host.Start(), ORN_NO_SUCH_CO);
}

TEST(StairLightLibrary, isBuiltForThisInterface) {
    EXPECT_EQ(orn_app_interface_version(), ORN_APP_INTERFACE_VERSION);
}

}  // namespace

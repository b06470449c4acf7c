#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "CapturingAppender.h"
#include "FakeDeviceStack.h"
#include "FakeKnxStack.h"
#include "PluginLibrary.h"

namespace {

using TestSupport::FakeDeviceStack;
using TestSupport::LogLine;
using TestSupport::MakeGroupValue;

using Call = int (*)(void* object);
using Init = int (*)(void* object, KnxStack::IApiHub& hub);
using OnValueChanged = bool (*)(void* object, unsigned long id, const std::string& text, const std::string& value);
using OnConfigurationChanged = bool (*)(void* object, unsigned long id);
using OnEventEmitted = bool (*)(void* object, const std::string& eventType);
using OnConnectionChanged = bool (*)(void* object, bool connected);
using IsAlive = bool (*)(void* object);
using Destructor = void (*)(void* object);

/// The virtual table that `object` points to.
const std::ptrdiff_t* TableOf(const void* object) {
    return *static_cast<const std::ptrdiff_t* const*>(object);
}

template <typename Function>
Function Slot(const void* object, std::size_t index) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a slot is an address behind numbers
    return reinterpret_cast<Function>(TableOf(object)[index]);
}

/// The slots as a host calls them that was built with other headers: by their numbers.
class VirtualTable : public testing::Test {
protected:
    VirtualTable() : sut_(library_.Create()) { log_.TakeLines(); }
    ~VirtualTable() override {
        if (sut_ != nullptr) {
            Slot<Destructor>(sut_, 1)(sut_);
        }
    }

    /// The object as the device-stack client knows it.
    void* Secondary() const { return static_cast<char*>(sut_) + sizeof(void*); }

    PluginLibrary library_;
    TestSupport::GlobalLogCapture log_;
    TestSupport::FakeKnxStack stack_;
    void* sut_;
};

TEST_F(VirtualTable, SlotTwoIsInit) {
    stack_.RemoveGroupValueService();

    EXPECT_EQ(Slot<Init>(sut_, 2)(sut_, stack_), 0);

    EXPECT_EQ(log_.GetLines(), (std::vector<LogLine>{{"DEBUG", "Init - Failed to initialize knxhandler."}}));
}

TEST_F(VirtualTable, SlotThreeIsOnDeviceRestart) {
    EXPECT_EQ(Slot<Call>(sut_, 3)(sut_), 0);

    EXPECT_EQ(log_.GetLines().back(), (LogLine{"DEBUG", "OnDeviceRestart - IApiHub is nullptr!"}));
}

TEST_F(VirtualTable, SlotFourIsExit) {
    EXPECT_EQ(Slot<Call>(sut_, 4)(sut_), 1);
}

TEST_F(VirtualTable, SlotsTwoAndThreeReturnTwoWhereTheyStartACycle) {
    FakeDeviceStack deviceStack;
    deviceStack.SetReply([](const std::string& frame) { return FakeDeviceStack::AnswerTo(frame, "{}"); });
    setenv("ORN_DEVICE_STACK", deviceStack.GetAddress().c_str(), 1);

    EXPECT_EQ(Slot<Init>(sut_, 2)(sut_, stack_), 2);
    EXPECT_EQ(Slot<Call>(sut_, 3)(sut_), 2);
    EXPECT_EQ(Slot<Call>(sut_, 4)(sut_), 1);
    unsetenv("ORN_DEVICE_STACK");
}

const std::vector<LogLine> LinesOfAnUnhandledValue{{"DEBUG", "OnValueChanged - 7: valueChanged, 3.1:2"},
                                                   {"DEBUG", "OnValueChanged - Invalid Logical device ID."}};

TEST_F(VirtualTable, SlotFiveIsOnValueChanged) {
    EXPECT_FALSE(Slot<OnValueChanged>(sut_, 5)(sut_, 7, "valueChanged", "3.1:2"));

    EXPECT_EQ(log_.GetLines(), LinesOfAnUnhandledValue);
}

TEST_F(VirtualTable, SlotsSixAndSevenDoNothingAndAreTrue) {
    EXPECT_TRUE(Slot<IsAlive>(sut_, 6)(sut_));
    EXPECT_TRUE(Slot<OnConnectionChanged>(sut_, 7)(sut_, false));
    EXPECT_TRUE(Slot<OnConnectionChanged>(sut_, 7)(sut_, true));

    EXPECT_EQ(log_.GetLines(), std::vector<LogLine>{});
}

TEST_F(VirtualTable, SecondaryBaseLiesBehindThePrimaryAndKnowsTheFullObject) {
    EXPECT_EQ(TableOf(sut_)[-2], 0) << "offset to the full object";
    EXPECT_EQ(TableOf(Secondary())[-2], -static_cast<std::ptrdiff_t>(sizeof(void*)));
}

TEST_F(VirtualTable, FirstSecondarySlotIsOnValueChangedOfTheFullObject) {
    EXPECT_FALSE(Slot<OnValueChanged>(Secondary(), 0)(Secondary(), 7, "valueChanged", "3.1:2"));

    EXPECT_EQ(log_.GetLines(), LinesOfAnUnhandledValue);
}

TEST_F(VirtualTable, OtherSecondarySlotsDoNothingAndAreTrue) {
    EXPECT_TRUE(Slot<OnConfigurationChanged>(Secondary(), 1)(Secondary(), 7));
    EXPECT_TRUE(Slot<OnEventEmitted>(Secondary(), 2)(Secondary(), "configurationLoaded"));
    EXPECT_TRUE(Slot<OnConnectionChanged>(Secondary(), 3)(Secondary(), true));

    EXPECT_EQ(log_.GetLines(), std::vector<LogLine>{});
}

TEST_F(VirtualTable, SlotZeroDestroysAndLeavesTheMemory) {
    stack_.RemovePropertyService();
    Slot<Init>(sut_, 2)(sut_, stack_);
    ASSERT_TRUE(stack_.GroupValues().SendWrite(1, MakeGroupValue({1})));

    Slot<Destructor>(sut_, 0)(sut_);

    EXPECT_FALSE(stack_.GroupValues().SendWrite(1, MakeGroupValue({1}))) << "still the user of the stack";
    ::operator delete(std::exchange(sut_, nullptr));
}

TEST_F(VirtualTable, SlotOneDestroys) {
    stack_.RemovePropertyService();
    Slot<Init>(sut_, 2)(sut_, stack_);

    void* const object = std::exchange(sut_, nullptr);
    Slot<Destructor>(object, 1)(object);

    EXPECT_FALSE(stack_.GroupValues().SendWrite(1, MakeGroupValue({1}))) << "still the user of the stack";
}

}  // namespace

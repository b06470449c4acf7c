#include <atomic>
#include <boost/thread/thread.hpp>
#include <functional>
#include <stdexcept>

#include "KnxHandlerFixture.h"

namespace {

using KnxStack::BinaryData;
using TestSupport::FakeKnxStack;
using TestSupport::Lock;
using TestSupport::MakeGroupValue;
using TestSupport::SpinUntil;
using Zandrel::KnxConfiguration;
using Zandrel::KnxHandler;
using Zandrel::LoadState;
using Zandrel::ZANVALUE;

constexpr std::uint16_t LoadStateControl = 5;

class KnxHandlerTest : public TestSupport::KnxHandlerFixture {};

// Init

TEST_F(KnxHandlerTest, InitRegistersWithBothServices) {
    EXPECT_TRUE(sut_->Init(stack_));

    EXPECT_TRUE(stack_.GroupValues().IsRegistered(*sut_));
    EXPECT_TRUE(stack_.Properties().IsRegistered(*sut_));
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(KnxHandlerTest, InitCreatesThePropertiesInOrderAndEnablesThem) {
    EXPECT_TRUE(sut_->Init(stack_));

    EXPECT_EQ(stack_.Application().GetCreated(),
              (std::vector<std::string>{"5", "64: 9, 520, 0, 1", "68: 9, 64, 0, 1", "69: 8, 64, 0, 1",
                                        "66: 9, 520, 0, 1", "71: 2, 3, 0, 1", "72: 1, 64, 0, 1"}));
    for (const int id : {5, 64, 66, 68, 69, 71, 72}) {
        EXPECT_TRUE(stack_.Application().Property(static_cast<std::uint16_t>(id)).IsEnabled()) << id;
    }
}

TEST_F(KnxHandlerTest, InitTakesTheLoadEventsThatTheStackReplays) {
    EXPECT_TRUE(sut_->Init(stack_));

    EXPECT_EQ(sut_->GetLoadState().GetState(), LoadState::Loaded);
    Lock lock(sut_->GetLoadState().GetMutex());
    EXPECT_TRUE(sut_->GetLoadState().WaitForChange(lock, *clock_, clock_->Now()));
}

TEST_F(KnxHandlerTest, InitForgetsEarlierLoadEvents) {
    sut_->GetLoadState().OnEvent(1);
    stack_.LoadState(Application).OnEnable(nullptr);

    EXPECT_TRUE(sut_->Init(stack_));

    Lock lock(sut_->GetLoadState().GetMutex());
    EXPECT_FALSE(sut_->GetLoadState().WaitForChange(lock, *clock_, clock_->Now()));
}

TEST_F(KnxHandlerTest, InitReadsTheSerialNumberAsTwelveLowerCaseDigitsAndTheHardwareType) {
    stack_.Properties().Object(0).Property(11).SetElements({{0x00, 0x0A, 0x14, 0xFF, 0x01, 0x02}});
    stack_.Properties().Object(0).Property(78).SetElements({{0x01, 0x02, 0x03, 0xFF, 0x00, 0x10}});

    EXPECT_TRUE(sut_->Init(stack_));

    EXPECT_EQ(sut_->GetSerialNumber(), "000a14ff0102");
    EXPECT_EQ(sut_->GetHardwareType().first, 0x010203U);
    EXPECT_EQ(sut_->GetHardwareType().second, 0xFF0010U);
}

TEST_F(KnxHandlerTest, InitWithoutGroupValueServiceFailsSilently) {
    stack_.RemoveGroupValueService();

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), Lines{});
    EXPECT_TRUE(stack_.Application().GetCreated().empty());
}

TEST_F(KnxHandlerTest, InitWithoutPropertyServiceFailsSilentlyAfterRegistering) {
    stack_.RemovePropertyService();

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_TRUE(stack_.GroupValues().IsRegistered(*sut_));
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(KnxHandlerTest, InitWithoutApplicationObjectFails) {
    stack_.Properties().Remove(Application);

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), InitError("The stack has no interface object of type 40960"));
}

TEST_F(KnxHandlerTest, InitFailsAtThePropertyThatCannotBeCreated) {
    for (const int id : {5, 64, 66, 68, 69, 71, 72}) {
        FakeKnxStack stack;
        stack.Application().RefuseToCreate(static_cast<std::uint16_t>(id));
        KnxHandler sut(log_.GetLogger(), identity_, clock_);
        log_.TakeLines();

        EXPECT_FALSE(sut.Init(stack));

        EXPECT_EQ(log_.TakeLines(), InitError("Failed to create property " + std::to_string(id)));
        EXPECT_EQ(sut.GetSerialNumber(), "");
    }
}

TEST_F(KnxHandlerTest, MissingSerialNumberFailsInit) {
    stack_.Properties().Object(0).Remove(11);

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), InitError("Failed to retrieve serial number: Property missing"));
}

TEST_F(KnxHandlerTest, SerialNumberThatCannotBeReadFailsInit) {
    stack_.Properties().Object(0).Property(11).FailReadOf(0);

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), InitError("Failed to retrieve serial number: GetValue"));
}

TEST_F(KnxHandlerTest, SerialNumberOfTooFewBytesFailsInit) {
    stack_.Properties().Object(0).Property(11).SetElements({{1, 2, 3, 4, 5}});

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), InitError("Failed to retrieve serial number: GetValue"));
}

TEST_F(KnxHandlerTest, MissingHardwareTypeFailsInit) {
    stack_.Properties().Object(0).Remove(78);

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), InitError("Failed to retrieve hardware type: Property missing"));
    EXPECT_EQ(sut_->GetSerialNumber(), "000a14ff0102");
}

TEST_F(KnxHandlerTest, HardwareTypeThatCannotBeReadFailsInit) {
    stack_.Properties().Object(0).Property(78).FailReadOf(0);

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), InitError("Failed to retrieve hardware type: GetValue"));
}

TEST_F(KnxHandlerTest, ExceptionOfTheStackFailsInitInOneLine) {
    stack_.LoadState(Application).OnEnable([] { throw std::runtime_error("stack is on fire"); });

    EXPECT_FALSE(sut_->Init(stack_));

    EXPECT_EQ(log_.GetLines(), InitError("Unexpected failure: stack is on fire"));
}

// The application's memory

TEST_F(KnxHandlerTest, SecondCallForTheMemoryFailsAndKeepsTheFirst) {
    ASSERT_TRUE(sut_->Init(stack_));
    EXPECT_TRUE(sut_->InitApplicationProgram1Memory(stack_));

    EXPECT_FALSE(sut_->InitApplicationProgram1Memory(stack_));

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"ERROR", "[app] InitApplicationProgram1Memory - ApplicationPrg1 memory already initialzed."}}));
    KnxConfiguration configuration;
    EXPECT_TRUE(sut_->InitObjectModel(Device, configuration));
}

TEST_F(KnxHandlerTest, MissingMemoryIsFatal) {
    ASSERT_TRUE(sut_->Init(stack_));
    stack_.RemoveMemory();

    EXPECT_FALSE(sut_->InitApplicationProgram1Memory(stack_));

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"FATAL", "[app] InitApplicationProgram1Memory - Retrieving ApplicationPrg1 memory failed."}}));
}

TEST_F(KnxHandlerTest, EveryCycleCanPassTheMemory) {
    ASSERT_TRUE(sut_->Init(stack_));

    EXPECT_TRUE(RunCycle());
    EXPECT_TRUE(RunCycle());
}

// Load states

TEST_F(KnxHandlerTest, LoadStatesAreCheckedInOrderUpToTheFirstThatIsNotLoaded) {
    ASSERT_TRUE(sut_->Init(stack_));
    EXPECT_TRUE(sut_->IsLoadStateMachineLoaded());
    stack_.LoadState(3).SetUInt8Elements({2});

    EXPECT_FALSE(sut_->IsLoadStateMachineLoaded());

    EXPECT_EQ(stack_.LoadState(2).GetReads().size(), 2U);
    EXPECT_EQ(stack_.LoadState(3).GetReads().size(), 2U);
    EXPECT_EQ(stack_.LoadState(9).GetReads().size(), 1U);
    EXPECT_TRUE(sut_->IsLoadStateMachineLoaded(Application));
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(KnxHandlerTest, EveryLoadStateCounts) {
    ASSERT_TRUE(sut_->Init(stack_));
    for (const int type : {1, 2, 3, 9}) {
        auto& loadState = stack_.LoadState(static_cast<std::uint16_t>(type));
        loadState.SetUInt8Elements({0});
        EXPECT_FALSE(sut_->IsLoadStateMachineLoaded()) << type;
        loadState.SetUInt8Elements({1});
    }
    stack_.Properties().WriteLoadEvent(4);
    EXPECT_FALSE(sut_->IsLoadStateMachineLoaded());
}

TEST_F(KnxHandlerTest, MissingObjectOrLoadStateIsNotLoadedWithoutAMessage) {
    ASSERT_TRUE(sut_->Init(stack_));
    stack_.Properties().Remove(1);
    stack_.Properties().Object(2).Remove(5);
    stack_.LoadState(3).FailReadOf(0);
    stack_.LoadState(9).DeliverNothing();

    for (const int type : {1, 2, 3, 9, 42}) {
        EXPECT_FALSE(sut_->IsLoadStateMachineLoaded(static_cast<std::uint16_t>(type))) << type;
    }
    EXPECT_FALSE(sut_->IsLoadStateMachineLoaded());

    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(KnxHandlerTest, WithoutPropertyServiceNothingIsLoaded) {
    EXPECT_FALSE(sut_->IsLoadStateMachineLoaded());
    EXPECT_FALSE(sut_->IsLoadStateMachineLoaded(Application));

    const TestSupport::LogLine line{"ERROR",
                                    "[app] IsLoadStateMachineLoaded - Property service to knxstack not initialized!"};
    EXPECT_EQ(log_.GetLines(), (Lines{line, line}));
}

TEST_F(KnxHandlerTest, LoadStateIsServedToTheBus) {
    ASSERT_TRUE(sut_->Init(stack_));
    const auto read = [this] {
        BinaryData data;
        EXPECT_TRUE(stack_.Properties().Read(Application, LoadStateControl, data));
        EXPECT_EQ(data.GetSize(), 1U);
        return data.GetUInt8Value(0);
    };
    EXPECT_EQ(read(), 1);
    EXPECT_TRUE(stack_.Properties().WriteLoadEvent(4));
    EXPECT_EQ(read(), 0);
    EXPECT_TRUE(stack_.Properties().WriteLoadEvent(1));
    EXPECT_EQ(read(), 2);
    EXPECT_TRUE(stack_.Properties().WriteLoadEvent(99));
    EXPECT_EQ(read(), 2);
}

TEST_F(KnxHandlerTest, OtherPropertiesAreLeftToTheStack) {
    BinaryData data({4});

    EXPECT_FALSE(sut_->OnPropertyRead(3, LoadStateControl, data));
    EXPECT_FALSE(sut_->OnPropertyRead(Application, 72, data));
    EXPECT_FALSE(sut_->OnPropertyWrite(3, LoadStateControl, data));
    EXPECT_FALSE(sut_->OnPropertyWrite(Application, 72, data));

    EXPECT_EQ(data.GetBytes(), (std::vector<std::uint8_t>{4}));
    Lock lock(sut_->GetLoadState().GetMutex());
    EXPECT_FALSE(sut_->GetLoadState().WaitForChange(lock, *clock_, clock_->Now()));
}

TEST_F(KnxHandlerTest, WriteWithoutAnEventIsAcceptedAndChangesNothing) {
    EXPECT_TRUE(sut_->OnPropertyWrite(Application, LoadStateControl, BinaryData()));

    EXPECT_EQ(log_.GetLines(),
              (Lines{{"ERROR", "[app] OnPropertyWrite - Ignoring a load event without an event code"}}));
    Lock lock(sut_->GetLoadState().GetMutex());
    EXPECT_FALSE(sut_->GetLoadState().WaitForChange(lock, *clock_, clock_->Now()));
}

TEST_F(KnxHandlerTest, LoadStatesAreReadWhileTheCycleHoldsTheMutex) {
    ASSERT_TRUE(sut_->Init(stack_));
    const Lock lock(sut_->GetLoadState().GetMutex());

    EXPECT_TRUE(sut_->IsLoadStateMachineLoaded());
}

TEST_F(KnxHandlerTest, LoadEventMovesTheStateWhileTheCycleHoldsTheMutex) {
    ASSERT_TRUE(sut_->Init(stack_));
    Lock lock(sut_->GetLoadState().GetMutex());
    boost::thread bus([this] { stack_.Properties().WriteLoadEvent(4); });

    SpinUntil([this] { return sut_->GetLoadState().GetState() == LoadState::Unloaded; });
    EXPECT_FALSE(sut_->IsLoadStateMachineLoaded());

    lock.unlock();
    bus.join();
}

TEST_F(KnxHandlerTest, ValuesTravelWhileTheCycleHoldsTheMutex) {
    Start();
    const Lock lock(sut_->GetLoadState().GetMutex());

    EXPECT_TRUE(stack_.GroupValues().SendWrite(5, MakeGroupValue({1})));
    EXPECT_TRUE(Write(5, ZANVALUE::FromBoolean(false)));

    EXPECT_EQ(stack_.GroupValues().GetWrites().size(), 1U);
}

}  // namespace

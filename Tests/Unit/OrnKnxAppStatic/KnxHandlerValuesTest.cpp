#include <atomic>
#include <boost/thread/thread.hpp>
#include <functional>
#include <stdexcept>

#include "DeviceStackConnection.h"
#include "KnxHandlerFixture.h"
#include "ScriptedDeviceStack.h"

namespace {

using KnxStack::BinaryData;
using TestSupport::Lock;
using TestSupport::MakeGroupValue;
using TestSupport::SpinUntil;
using Zandrel::KnxConfiguration;
using Zandrel::KnxHandler;
using Zandrel::LoadState;
using Zandrel::ZANVALUE;

namespace KnxOdsMapping = Zandrel::KnxOdsMapping;

class KnxHandlerValuesTest : public TestSupport::KnxHandlerFixture {};

// Group values

TEST_F(KnxHandlerValuesTest, GroupValuesGoToTheDeviceStack) {
    Start();
    std::vector<bool> responses;
    sut_->SetMessengers(
        [&responses](unsigned long, const ZANVALUE&, bool isResponse) {
            responses.push_back(isResponse);
            return true;
        },
        nullptr);

    EXPECT_TRUE(stack_.GroupValues().SendWrite(5, MakeGroupValue({1})));
    EXPECT_TRUE(stack_.GroupValues().SendResponse(5, MakeGroupValue({1})));
    EXPECT_TRUE(stack_.GroupValues().SendWrite(0x10005, MakeGroupValue({1}))) << "only the lower 16 bits count";

    EXPECT_EQ(responses, (std::vector<bool>{false, true, false}));
}

TEST_F(KnxHandlerValuesTest, ResponseReachesTheCoOfItsLowerSixteenBits) {
    Start();
    std::vector<unsigned long> ids;
    sut_->SetMessengers(
        [&ids](unsigned long id, const ZANVALUE&, bool) {
            ids.push_back(id);
            return true;
        },
        nullptr);

    EXPECT_TRUE(stack_.GroupValues().SendResponse(0x10005, MakeGroupValue({1})));

    EXPECT_EQ(ids, std::vector<unsigned long>{*KnxOdsMapping::GetCoValueObjModelId(5, 1)});
}

TEST_F(KnxHandlerValuesTest, ReadIsAnsweredForTheCoOfItsLowerSixteenBits) {
    Start();
    TestSupport::ScriptedDeviceStack deviceStack;
    deviceStack.Accept("GetValue", R"({"value":"2.1:1"})");
    TestSupport::LogCapture connectionLog{"Connection"};
    Zandrel::DeviceStackConnection connection{
        {connectionLog.GetLogger(), identity_}, std::make_shared<Zandrel::Clock>(), deviceStack.GetFactory()};
    ASSERT_TRUE(connection.ConnectDeviceStack());
    std::vector<unsigned long> ids;
    sut_->SetMessengers(nullptr, [&](unsigned long id, bool useStoredValue) {
        ids.push_back(id);
        return connection.GetValue(id, useStoredValue).value();
    });
    KnxStack::GroupValue value;

    EXPECT_TRUE(stack_.GroupValues().SendRead(0x10005, value));

    EXPECT_EQ(value, MakeGroupValue({1}));
    EXPECT_EQ(ids, std::vector<unsigned long>{*KnxOdsMapping::GetCoValueObjModelId(5, 1)});
    EXPECT_EQ(log_.GetLines(), Lines{});
    sut_->SetMessengers({}, {});
}

TEST_F(KnxHandlerValuesTest, FailuresOfTheBridgeAreThoseOfTheCallbacks) {
    Start();
    sut_->SetMessengers({}, {});
    KnxStack::GroupValue value;

    EXPECT_FALSE(stack_.GroupValues().SendWrite(5, MakeGroupValue({1})));
    EXPECT_FALSE(stack_.GroupValues().SendResponse(5, MakeGroupValue({1})));
    EXPECT_FALSE(stack_.GroupValues().SendRead(5, value));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR", "[app] UpdateCoValue - No messenger available to set value"},
                                      {"ERROR", "[app] UpdateCoValue - No messenger available to set value"},
                                      {"ERROR", "[app] OnGroupValueRead - No messenger available to request value"}}));
}

TEST_F(KnxHandlerValuesTest, ExceptionEndsACallbackInOneLine) {
    Start();
    sut_->SetMessengers(
        [](unsigned long, const ZANVALUE&, bool) -> bool { throw std::runtime_error("set is on fire"); },
        [](unsigned long, bool) -> Zandrel::Docket { throw std::bad_alloc(); });
    KnxStack::GroupValue value;

    EXPECT_FALSE(stack_.GroupValues().SendResponse(5, MakeGroupValue({1})));
    EXPECT_FALSE(stack_.GroupValues().SendRead(5, value));

    EXPECT_EQ(log_.GetLines(), (Lines{{"ERROR", "[app] OnGroupValueResponse - Unexpected failure: set is on fire"},
                                      {"ERROR", "[app] OnGroupValueRead - Unexpected failure: std::bad_alloc"}}));
}

TEST_F(KnxHandlerValuesTest, ValueOfTheDeviceStackGoesToTheBus) {
    Start();

    EXPECT_TRUE(Write(5, ZANVALUE::FromBoolean(true)));
    EXPECT_TRUE(Write(6, ZANVALUE::FromText("ABCDEFGHIJKLMNOP")));
    clock_->Advance(boost::chrono::seconds(4));

    ASSERT_TRUE(stack_.GroupValues().WaitForWrites(3));
    EXPECT_EQ(stack_.GroupValues().GetWrittenTexts(), (std::vector<std::string>{"\x01", "ABCDEFGHIJKLMN", "OP"}));
}

/// The stack calls through the slots, in their order.
TEST_F(KnxHandlerValuesTest, SlotsStandInTheOrderOfTheirBases) {
    Start();
    const auto slot = [](const void* object, std::size_t index) {
        return (*static_cast<void* const* const*>(object))[index];
    };
    const KnxStack::GroupValue on = MakeGroupValue({1});
    KnxStack::IGroupValueUser* const groupValueUser = sut_.get();
    KnxStack::IInterfaceObjectSimplePropertyUser* const propertyUser = sut_.get();
    ASSERT_EQ(static_cast<const void*>(groupValueUser), static_cast<const void*>(sut_.get()));
    using OnValue = bool (*)(void*, std::uint32_t, const KnxStack::GroupValue&);
    using OnRead = bool (*)(void*, std::uint16_t, std::uint16_t, BinaryData&);
    using OnWrite = bool (*)(void*, std::uint16_t, std::uint16_t, const BinaryData&);
    std::vector<bool> responses;
    sut_->SetMessengers(
        [&responses](unsigned long, const ZANVALUE&, bool isResponse) {
            responses.push_back(isResponse);
            return true;
        },
        nullptr);

    reinterpret_cast<OnValue>(slot(groupValueUser, 2))(groupValueUser, 5, on);
    reinterpret_cast<OnValue>(slot(groupValueUser, 3))(groupValueUser, 5, on);
    EXPECT_EQ(responses, (std::vector<bool>{false, true}));
    BinaryData data;
    EXPECT_TRUE(reinterpret_cast<OnRead>(slot(groupValueUser, 5))(groupValueUser, Application, 5, data));
    EXPECT_EQ(data.GetUInt8Value(0), 1);
    EXPECT_TRUE(reinterpret_cast<OnWrite>(slot(groupValueUser, 6))(groupValueUser, Application, 5, BinaryData({4})));
    EXPECT_TRUE(reinterpret_cast<OnRead>(slot(propertyUser, 2))(propertyUser, Application, 5, data));
    EXPECT_EQ(data.GetUInt8Value(0), 0);
    EXPECT_TRUE(reinterpret_cast<OnWrite>(slot(propertyUser, 3))(propertyUser, Application, 5, BinaryData({1})));
    EXPECT_EQ(sut_->GetLoadState().GetState(), LoadState::Loading);
}

// Stopping

TEST_F(KnxHandlerValuesTest, TextsAreRefusedFromTheStopOfTheTickersUntilTheNextOpening) {
    Start();
    Write(6, ZANVALUE::FromText("ABCDEFGHIJKLMNOP"));

    sut_->StopTickers();
    EXPECT_FALSE(Write(6, ZANVALUE::FromText("ABCDEFGHIJKLMNOP")));
    EXPECT_TRUE(Write(5, ZANVALUE::FromBoolean(true)));
    sut_->Open();
    EXPECT_TRUE(Write(6, ZANVALUE::FromText("Short")));

    EXPECT_EQ(stack_.GroupValues().GetWrittenTexts(), (std::vector<std::string>{"ABCDEFGHIJKLMN", "\x01", "Short"}));
}

TEST_F(KnxHandlerValuesTest, StopOfTheTickersIsLoggedBeforeTheyHaveStopped) {
    Start();
    Write(6, ZANVALUE::FromText("ABCDEFGHIJKLMNOP"));
    log_.TakeLines();
    // The ticker does not end its step before there is a line.
    stack_.GroupValues().OnWrite([this] { SpinUntil([this] { return !log_.GetLines().empty(); }); });
    clock_->Advance(boost::chrono::seconds(10));
    ASSERT_TRUE(stack_.GroupValues().WaitForWrites(2));

    sut_->StopTickers();

    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", "Terminate - Stopping all ticker threads."}}));
}

TEST_F(KnxHandlerValuesTest, ValuesAreRefusedFromClosingUntilTheNextOpening) {
    Start();

    sut_->Close();
    EXPECT_FALSE(Write(5, ZANVALUE::FromBoolean(true)));
    EXPECT_FALSE(Write(6, ZANVALUE::FromText("ABCDEFGHIJKLMNOP")));
    EXPECT_TRUE(RunCycle()) << "a cycle that goes on does not open it again";
    EXPECT_FALSE(Write(6, ZANVALUE::FromText("ABCDEFGHIJKLMNOP")));
    EXPECT_TRUE(stack_.GroupValues().GetWrites().empty());
    sut_->Open();

    EXPECT_TRUE(Write(5, ZANVALUE::FromBoolean(true)));
    EXPECT_TRUE(Write(6, ZANVALUE::FromText("Short")));
}

// Detaching

TEST_F(KnxHandlerValuesTest, DetachUnregistersFromBothServicesOnce) {
    ASSERT_TRUE(sut_->Init(stack_));

    sut_->Detach();
    EXPECT_FALSE(stack_.GroupValues().IsRegistered(*sut_));
    EXPECT_FALSE(stack_.Properties().IsRegistered(*sut_));
    const int touches = stack_.CountTouches();
    sut_->Detach();
    sut_.reset();

    EXPECT_EQ(stack_.CountTouches(), touches);
    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", "Terminate - Stopping all ticker threads."}}));
}

TEST_F(KnxHandlerValuesTest, DestructionDetaches) {
    ASSERT_TRUE(sut_->Init(stack_));
    const KnxStack::IGroupValueUser* const groupValueUser = sut_.get();
    const KnxStack::IInterfaceObjectSimplePropertyUser* const propertyUser = sut_.get();

    sut_.reset();

    EXPECT_FALSE(stack_.GroupValues().IsRegistered(*groupValueUser));
    EXPECT_FALSE(stack_.Properties().IsRegistered(*propertyUser));
}

TEST_F(KnxHandlerValuesTest, DestructionWithoutInitTouchesNothing) {
    sut_.reset();

    EXPECT_EQ(stack_.CountTouches(), 0);
    EXPECT_EQ(log_.GetLines(), (Lines{{"DEBUG", "Terminate - Stopping all ticker threads."}}));
}

TEST_F(KnxHandlerValuesTest, PropertyServiceThatDoesNotKnowTheHandlerIsAWarning) {
    stack_.Application().RefuseToCreate(5);
    ASSERT_FALSE(sut_->Init(stack_));
    log_.TakeLines();

    sut_->Detach();

    EXPECT_EQ(log_.GetLines(), (Lines{{"WARN", "[app] ~KnxHandler - Failed to unregister from property service."}}));
    EXPECT_FALSE(stack_.GroupValues().IsRegistered(*sut_));
}

TEST_F(KnxHandlerValuesTest, DetachedHandlerDoesNotTouchTheStack) {
    Start();
    Write(6, ZANVALUE::FromText("ABCDEFGHIJKLMNOP"));
    sut_->Detach();
    const int touches = stack_.CountTouches();

    EXPECT_FALSE(RunCycle());
    KnxConfiguration configuration;
    EXPECT_FALSE(sut_->InitApplicationProgram1Memory(stack_));
    EXPECT_FALSE(sut_->InitObjectModel(Device, configuration));
    EXPECT_FALSE(Write(5, ZANVALUE::FromBoolean(true)));
    EXPECT_FALSE(Write(6, ZANVALUE::FromText("Short")));
    clock_->Advance(boost::chrono::hours(1));
    sut_.reset();

    EXPECT_EQ(stack_.CountTouches(), touches);
}

TEST_F(KnxHandlerValuesTest, InterruptedThreadCanDetach) {
    ASSERT_TRUE(sut_->Init(stack_));
    boost::thread detaching([this] {
        SpinUntil([] { return boost::this_thread::interruption_requested(); });
        sut_->Detach();
    });
    detaching.interrupt();
    detaching.join();

    EXPECT_FALSE(stack_.GroupValues().IsRegistered(*sut_));
    EXPECT_EQ(log_.GetLines(), Lines{});
}

TEST_F(KnxHandlerValuesTest, DetachWaitsForTheCallbacksThatRun) {
    Start();
    std::atomic<bool> called{false};
    std::atomic<bool> release{false};
    std::atomic<bool> done{false};
    sut_->SetMessengers(
        [&](unsigned long, const ZANVALUE&, bool) {
            called = true;
            SpinUntil([&release] { return release.load(); });
            done = true;
            return true;
        },
        nullptr);
    boost::thread bus([this] { stack_.GroupValues().SendWrite(5, MakeGroupValue({1})); });
    SpinUntil([&called] { return called.load(); });
    bool doneBeforeDetached = false;
    boost::thread host([&] {
        sut_->Detach();
        doneBeforeDetached = done;
    });

    SpinUntil([this] { return !stack_.GroupValues().IsRegistered(*sut_); });
    release = true;
    host.join();
    bus.join();

    EXPECT_TRUE(doneBeforeDetached);
}

TEST_F(KnxHandlerValuesTest, DetachWaitsForALoadEventUntilTheCycleLetsItThrough) {
    Start();
    Lock lock(sut_->GetLoadState().GetMutex());
    boost::thread bus([this] { stack_.Properties().WriteLoadEvent(4); });
    SpinUntil([this] { return sut_->GetLoadState().GetState() == LoadState::Unloaded; });
    boost::thread host([this] { sut_->Detach(); });
    SpinUntil([this] { return !stack_.Properties().IsRegistered(*sut_); });

    // The cycle goes on meanwhile and finds the stack gone.
    EXPECT_FALSE(sut_->IsLoadStateMachineLoaded());
    lock.unlock();
    bus.join();
    host.join();

    EXPECT_FALSE(stack_.GroupValues().IsRegistered(*sut_));
}

TEST_F(KnxHandlerValuesTest, EverythingAtOnceEndsWithDetach) {
    log_.GetLogger().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    Start();
    std::atomic<bool> running{true};
    boost::thread_group threads;
    const auto repeat = [&threads, &running](const std::function<void(int)>& action) {
        threads.create_thread([&running, action] {
            for (int i = 0; running; ++i) {
                action(i);
            }
        });
    };
    repeat([this](int) { RunCycle(); });
    repeat([this](int i) { stack_.GroupValues().SendWrite(5, MakeGroupValue({static_cast<std::uint8_t>(i % 2)})); });
    repeat([this](int) {
        KnxStack::GroupValue value;
        stack_.GroupValues().SendRead(5, value);
    });
    repeat([this](int i) { stack_.Properties().WriteLoadEvent(static_cast<std::uint8_t>(i % 5)); });
    repeat([this](int i) { Write(5, ZANVALUE::FromBoolean(i % 2 == 0)); });
    repeat([this](int i) { Write(6, ZANVALUE::FromText(std::string(static_cast<std::size_t>(10 + i % 10), 'x'))); });
    repeat([this](int) { clock_->Advance(boost::chrono::seconds(1)); });
    repeat([this](int i) {
        sut_->SetMessengers([i](unsigned long, const ZANVALUE&, bool) { return i % 2 == 0; }, nullptr);
    });
    ASSERT_TRUE(stack_.GroupValues().WaitForWrites(200));

    sut_->StopTickers();
    sut_->Open();
    sut_->Close();
    sut_->Detach();
    const int touches = stack_.CountTouches();
    for (int i = 0; i < 100; ++i) {
        RunCycle();
        boost::this_thread::yield();
    }

    EXPECT_EQ(stack_.CountTouches(), touches);
    running = false;
    threads.join_all();
}

}  // namespace

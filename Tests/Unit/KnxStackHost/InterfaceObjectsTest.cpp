#include "InterfaceObjects/InterfaceObjects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/thread/future.hpp>
#include <boost/thread/thread.hpp>
#include <limits>
#include <vector>

namespace LocalDevice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t Maximum = std::numeric_limits<std::uint32_t>::max();

/// Serves the load state control as a plug-in does.
class LoadControlUser : public KnxStack::IInterfaceObjectSimplePropertyUser {
public:
    bool OnPropertyRead(std::uint16_t objectType, std::uint16_t propertyId, KnxStack::BinaryData& data) override {
        lastObject = objectType;
        if (propertyId != LoadStateControlProperty || !isServing) {
            return false;
        }
        data = KnxStack::BinaryData({state});
        return true;
    }
    bool OnPropertyWrite(std::uint16_t, std::uint16_t, const KnxStack::BinaryData& data) override {
        written.push_back(data.GetBytes());
        thread = boost::this_thread::get_id();
        return true;
    }

    std::uint8_t state = 3;
    bool isServing = true;
    std::uint16_t lastObject = 0;
    std::vector<Bytes> written;
    boost::thread::id thread;
};

class PropertyTest : public testing::Test {
protected:
    Bytes Read(std::uint32_t start, std::uint32_t count) {
        KnxStack::BinaryData data;
        EXPECT_TRUE(sut.ReadElements(start, count, data)) << start << ", " << count;
        return data.GetBytes();
    }
    bool Fails(std::uint32_t start, std::uint32_t count) {
        KnxStack::BinaryData data;
        return !sut.ReadElements(start, count, data);
    }

    Property sut{PropertyDescription{40960, 68, 4, 3, false, true}};
    const Bytes twoElements{0, 0, 0, 1, 0, 0, 0, 2};
};

TEST_F(PropertyTest, IsEmptyAtFirst) {
    std::uint32_t count = 7;
    ASSERT_TRUE(sut.GetElementCount(count));
    EXPECT_EQ(count, 0U);
    EXPECT_THAT(Read(0, 0), IsEmpty());
    EXPECT_TRUE(Fails(0, 1));
}

TEST_F(PropertyTest, ReadsElementsCountedFromZero) {
    ASSERT_TRUE(sut.SetContent(twoElements));
    std::uint32_t count = 0;
    ASSERT_TRUE(sut.GetElementCount(count));
    EXPECT_EQ(count, 2U);
    EXPECT_THAT(Read(0, 1), ElementsAre(0, 0, 0, 1));
    EXPECT_THAT(Read(1, 1), ElementsAre(0, 0, 0, 2));
    EXPECT_EQ(Read(0, 2), twoElements);
    EXPECT_THAT(Read(2, 0), IsEmpty());
}

TEST_F(PropertyTest, RefusesElementsThatDoNotExist) {
    ASSERT_TRUE(sut.SetContent(twoElements));
    EXPECT_TRUE(Fails(2, 1));
    EXPECT_TRUE(Fails(0, 3));
    EXPECT_TRUE(Fails(3, 0));
    EXPECT_TRUE(Fails(Maximum, 1));
    EXPECT_TRUE(Fails(1, Maximum));
    EXPECT_TRUE(Fails(Maximum, Maximum));
}

TEST_F(PropertyTest, KeepsItsContentWhenAnotherDoesNotFit) {
    ASSERT_TRUE(sut.SetContent(twoElements));
    EXPECT_FALSE(sut.SetContent(Bytes(16, 0)));
    EXPECT_FALSE(sut.SetContent(Bytes(3, 0)));
    EXPECT_EQ(Read(0, 2), twoElements);
    EXPECT_TRUE(sut.SetContent(Bytes(12, 0)));
    EXPECT_TRUE(sut.SetContent({}));
}

TEST_F(PropertyTest, TheBusCountsElementsFromOne) {
    ASSERT_TRUE(sut.SetContent(twoElements));
    sut.Enable(1);
    EXPECT_THAT(sut.ReadFromBus(0, 1), ElementsAre(0, 2));
    EXPECT_THAT(sut.ReadFromBus(1, 1), ElementsAre(0, 0, 0, 1));
    EXPECT_EQ(sut.ReadFromBus(1, 2), twoElements);
}

TEST_F(PropertyTest, TheBusReadsNothingOutOfRange) {
    ASSERT_TRUE(sut.SetContent(twoElements));
    sut.Enable(1);
    EXPECT_THAT(sut.ReadFromBus(0, 2), IsEmpty());
    EXPECT_THAT(sut.ReadFromBus(3, 1), IsEmpty());
    EXPECT_THAT(sut.ReadFromBus(2, 2), IsEmpty());
    EXPECT_THAT(sut.ReadFromBus(65535, 65535), IsEmpty());
}

TEST_F(PropertyTest, TheBusReadsNothingOfAHiddenProperty) {
    ASSERT_TRUE(sut.SetContent(twoElements));
    EXPECT_THAT(sut.ReadFromBus(1, 1), IsEmpty());
    sut.Enable(1);
    sut.Enable(0);
    EXPECT_THAT(sut.ReadFromBus(1, 1), IsEmpty());
    Property unreadable(PropertyDescription{40960, 68, 4, 3, false, false});
    ASSERT_TRUE(unreadable.SetContent(twoElements));
    unreadable.Enable(1);
    EXPECT_THAT(unreadable.ReadFromBus(1, 1), IsEmpty());
}

class InterfaceObjectsTest : public testing::Test {
protected:
    Bytes ReadState() {
        KnxStack::BinaryData data;
        EXPECT_TRUE(application->GetProperty(LoadStateControlProperty)->ReadElements(0, 1, data));
        return data.GetBytes();
    }

    InterfaceObjects sut;
    InterfaceObject* const application = sut.Find(ObjectType::Application);
    LoadControlUser user;
};

TEST_F(InterfaceObjectsTest, ThereIsOneObjectOfEachType) {
    for (const std::uint16_t type : std::vector<std::uint16_t>{0, 1, 2, 3, 9, 11, 40960}) {
        EXPECT_NE(sut.GetInterfaceObject(type, -1), nullptr) << type;
        EXPECT_EQ(sut.GetInterfaceObject(type, 0), sut.GetInterfaceObject(type, -1)) << type;
        EXPECT_EQ(sut.GetInterfaceObject(type, 1), nullptr) << type;
    }
    EXPECT_EQ(sut.GetInterfaceObject(4, -1), nullptr);
    EXPECT_EQ(sut.GetInterfaceObject(0, -2), nullptr);
}

TEST_F(InterfaceObjectsTest, StoredPropertiesAreFoundByObjectAndId) {
    EXPECT_NE(sut.Find(ObjectType::Device)->GetProperty(78), nullptr);
    EXPECT_EQ(sut.Find(ObjectType::IpParameters)->GetProperty(78), nullptr);
    EXPECT_EQ(sut.Find(ObjectType::Device)->GetProperty(LoadStateControlProperty), nullptr);
    EXPECT_EQ(application->GetProperty(64), nullptr);
}

TEST_F(InterfaceObjectsTest, AnAdditionalAddressHas32Bits) {
    ASSERT_TRUE(sut.Find(ObjectType::IpParameters)->SetContent(53, {0, 0, 0x11, 0x0B, 0, 0, 0x11, 0x0C}));
    KnxStack::BinaryData data;
    ASSERT_TRUE(sut.Find(ObjectType::IpParameters)->GetProperty(53)->ReadElements(1, 1, data));
    EXPECT_EQ(data.GetUInt32Value(0), 0x110CU);
}

TEST_F(InterfaceObjectsTest, ACreatedPropertyHoldsWhatWasDownloadedBefore) {
    ASSERT_TRUE(application->SetContent(71, {2, 1, 0}));
    auto* const property = application->CreateProperty(71, 2, 3, 0, 1);
    ASSERT_NE(property, nullptr);
    KnxStack::BinaryData data;
    ASSERT_TRUE(property->ReadElements(2, 1, data));
    EXPECT_EQ(data.GetUInt8Value(0), 0);
    EXPECT_EQ(application->GetProperty(71), property);
}

TEST_F(InterfaceObjectsTest, APropertyThatIsThereIsNotCreatedAnew) {
    auto* const property = application->CreateProperty(64, 9, 520, 0, 1);
    ASSERT_TRUE(application->SetContent(64, Bytes(2080, 1)));
    EXPECT_EQ(application->CreateProperty(64, 2, 3, 0, 1), property);
    KnxStack::BinaryData data;
    EXPECT_TRUE(property->ReadElements(519, 1, data));
    EXPECT_FALSE(property->ReadElements(520, 1, data));
}

TEST_F(InterfaceObjectsTest, APropertyThatCannotBeIsNotCreated) {
    EXPECT_EQ(application->CreateProperty(64, 99, 520, 0, 1), nullptr);
    EXPECT_EQ(application->CreateProperty(64, -1, 520, 0, 1), nullptr);
    EXPECT_EQ(application->CreateProperty(64, 9, 0, 0, 1), nullptr);
    ASSERT_TRUE(application->SetContent(72, Bytes(65, 'a')));
    EXPECT_EQ(application->CreateProperty(72, 1, 64, 0, 1), nullptr);
    EXPECT_EQ(application->GetProperty(72), nullptr);
}

TEST_F(InterfaceObjectsTest, ALoadStateIsAPropertyOfOneElement) {
    EXPECT_THAT(ReadState(), ElementsAre(0));
    EXPECT_EQ(application->WriteLoadEvent(LoadEvent::StartLoading), LoadState::Loading);
    EXPECT_THAT(ReadState(), ElementsAre(2));
    KnxStack::BinaryData data;
    EXPECT_FALSE(application->GetProperty(LoadStateControlProperty)->ReadElements(1, 1, data));
}

TEST_F(InterfaceObjectsTest, TheUserServesTheLoadState) {
    auto* const property = application->CreateUserProperty(LoadStateControlProperty, user);
    ASSERT_NE(property, nullptr);
    EXPECT_THAT(ReadState(), ElementsAre(3));
    EXPECT_EQ(user.lastObject, ObjectType::Application);
    application->WriteLoadEvent(LoadEvent::Unload);
    EXPECT_THAT(user.written, ElementsAre(ToOctets(LoadEvent::Unload)));
}

TEST_F(InterfaceObjectsTest, WhatTheUserLeavesToTheStackIsTheStacks) {
    application->CreateUserProperty(LoadStateControlProperty, user);
    user.isServing = false;
    application->WriteLoadEvent(LoadEvent::StartLoading);
    EXPECT_THAT(ReadState(), ElementsAre(2));
}

TEST_F(InterfaceObjectsTest, EnablingReplaysTheEventsOfALoadedObjectOnTheCallingThread) {
    application->WriteLoadEvent(LoadEvent::StartLoading);
    application->WriteLoadEvent(LoadEvent::LoadCompleted);
    application->CreateUserProperty(LoadStateControlProperty, user)->Enable(1);
    EXPECT_THAT(user.written, ElementsAre(ToOctets(LoadEvent::StartLoading), ToOctets(LoadEvent::LoadCompleted)));
    EXPECT_EQ(user.thread, boost::this_thread::get_id());
}

TEST_F(InterfaceObjectsTest, EnablingReplaysNothingOfAnUnloadedObject) {
    application->CreateUserProperty(LoadStateControlProperty, user)->Enable(1);
    EXPECT_THAT(user.written, IsEmpty());
}

TEST_F(InterfaceObjectsTest, HidingReplaysNothing) {
    application->WriteLoadEvent(LoadEvent::StartLoading);
    application->CreateUserProperty(LoadStateControlProperty, user)->Enable(0);
    EXPECT_THAT(user.written, IsEmpty());
}

TEST_F(InterfaceObjectsTest, AnUnregisteredUserIsNotCalledAnyMore) {
    application->CreateUserProperty(LoadStateControlProperty, user);
    EXPECT_TRUE(sut.UnregisterUser(user));
    EXPECT_FALSE(sut.UnregisterUser(user));
    application->WriteLoadEvent(LoadEvent::StartLoading);
    EXPECT_THAT(user.written, IsEmpty());
    EXPECT_THAT(ReadState(), ElementsAre(2));
}

/// Stays inside a call until it is let go.
class SlowUser : public LoadControlUser {
public:
    bool OnPropertyWrite(std::uint16_t, std::uint16_t, const KnxStack::BinaryData&) override {
        entered.set_value();
        release.get_future().wait();
        isDone = true;
        return true;
    }

    boost::promise<void> entered;
    boost::promise<void> release;
    std::atomic<bool> isDone{false};
};

TEST_F(InterfaceObjectsTest, UnregisteringWaitsForTheCallThatIsRunning) {
    SlowUser slow;
    application->CreateUserProperty(LoadStateControlProperty, slow);
    boost::thread writer([&] { application->WriteLoadEvent(LoadEvent::StartLoading); });
    slow.entered.get_future().wait();
    boost::thread releaser([&] { slow.release.set_value(); });
    EXPECT_TRUE(sut.UnregisterUser(slow));
    EXPECT_TRUE(slow.isDone);
    writer.join();
    releaser.join();
}

TEST_F(InterfaceObjectsTest, PropertiesCanBeReadWhileTheUserIsBusy) {
    SlowUser slow;
    application->CreateUserProperty(LoadStateControlProperty, slow);
    boost::thread writer([&] { application->WriteLoadEvent(LoadEvent::StartLoading); });
    slow.entered.get_future().wait();
    EXPECT_THAT(ReadState(), ElementsAre(3));
    EXPECT_NE(application->CreateProperty(64, 9, 520, 0, 1), nullptr);
    slow.release.set_value();
    writer.join();
}

TEST_F(InterfaceObjectsTest, AllAreLoadedOnlyWhenEachOneIs) {
    for (const std::uint16_t type : LoadableObjects) {
        EXPECT_FALSE(sut.AreAllLoaded());
        sut.Find(type)->WriteLoadEvent(LoadEvent::StartLoading);
        EXPECT_FALSE(sut.AreAllLoaded());
        sut.Find(type)->WriteLoadEvent(LoadEvent::LoadCompleted);
    }
    EXPECT_TRUE(sut.AreAllLoaded());
}

TEST_F(InterfaceObjectsTest, AnObjectWithoutLoadStateTakesNoEvent) {
    EXPECT_EQ(sut.Find(ObjectType::Device)->WriteLoadEvent(LoadEvent::StartLoading), LoadState::Unloaded);
}

}  // namespace
}  // namespace LocalDevice

#include "Application/Downloader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/thread/thread.hpp>

#include "EventRecorder.h"
#include "TestDevice.h"

namespace LocalDevice {
namespace {

using TestDevice::Dpt;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

/// Notes what it is told about load states, as the application's object does.
class RecordingLoadControl : public KnxStack::IInterfaceObjectSimplePropertyUser {
public:
    bool OnPropertyRead(std::uint16_t, std::uint16_t, KnxStack::BinaryData&) override { return false; }
    bool OnPropertyWrite(std::uint16_t, std::uint16_t, const KnxStack::BinaryData& data) override {
        steps.push_back("event " + std::to_string(data.GetUInt8Value(0)));
        return true;
    }

    std::vector<std::string> steps;
};

class DownloaderTest : public testing::Test {
protected:
    void LoadApplicationProperties() {
        InterfaceObject& application = *objects.Find(ObjectType::Application);
        application.CreateProperty(64, 9, 520, 0, 1)->Enable(1);
        application.CreateProperty(66, 9, 520, 0, 1)->Enable(1);
        application.CreateProperty(68, 9, 64, 0, 1)->Enable(1);
        application.CreateProperty(69, 8, 64, 0, 1)->Enable(1);
        application.CreateProperty(71, 2, 3, 0, 1)->Enable(1);
        application.CreateProperty(72, 1, 64, 0, 1)->Enable(1);
    }
    KnxStack::BinaryData ReadAll(std::uint16_t objectType, std::uint16_t propertyId) {
        KnxStack::BinaryData data;
        KnxStack::IProperty* const property = objects.Find(objectType)->GetProperty(propertyId);
        std::uint32_t count = 0;
        EXPECT_NE(property, nullptr) << propertyId;
        EXPECT_TRUE(property->GetElementCount(count));
        EXPECT_TRUE(property->ReadElements(0, count, data));
        return data;
    }
    std::vector<std::string> GetStateChanges() {
        std::vector<std::string> changes;
        for (const auto& event : recorder.Get<LoadStateEvent>()) {
            changes.push_back(std::to_string(event.objectType) + " " + ToText(event.state));
        }
        return changes;
    }
    LoadState StateOf(std::uint16_t type) { return objects.Find(type)->GetLoadState(); }

    const DeviceDescription device = TestDevice::Make({
        TestDevice::Object(1, Dpt(1, 1), "CW", {100}),
        TestDevice::Object(520, Dpt(9, 1), "T", {101}),
    });
    HostEvents events;
    EventRecorder recorder{events};
    InterfaceObjects objects;
    ApplicationMemory memory;
    GroupObjectService groupObjects{events};
    ApiHub hub{objects, memory, groupObjects, events};
    RecordingLoadControl user;
    LoadObserver observer{
        [this] { user.steps.emplace_back("unloading"); },
        [this] { user.steps.emplace_back("unloaded"); },
        [this](std::uint64_t cycles) { user.steps.push_back("loaded after cycle " + std::to_string(cycles)); },
    };
    Downloader sut{objects, memory, groupObjects, hub, events, observer, std::chrono::milliseconds(0)};
};

TEST_F(DownloaderTest, NothingIsLoadedAtFirst) {
    EXPECT_EQ(hub.GetApplicationPrg1Memory(), nullptr);
    EXPECT_FALSE(objects.AreAllLoaded());
}

TEST_F(DownloaderTest, PowerUpLoadsEverythingAndTellsNobody) {
    sut.PowerUp(device);
    EXPECT_TRUE(objects.AreAllLoaded());
    EXPECT_EQ(hub.GetApplicationPrg1Memory(), &memory);
    EXPECT_EQ(groupObjects.GetObjectCount(), 2U);
    EXPECT_THAT(user.steps, IsEmpty());
    EXPECT_THAT(GetStateChanges(), IsEmpty());
}

TEST_F(DownloaderTest, PowerUpGivesTheDeviceItsIdentity) {
    sut.PowerUp(device);
    EXPECT_THAT(ReadAll(ObjectType::Device, 11).GetBytes(), ElementsAre(0x00, 0x0A, 0x14, 0xFF, 0x01, 0x02));
    EXPECT_THAT(ReadAll(ObjectType::Device, 78).GetBytes(), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(ReadAll(ObjectType::IpParameters, 52).GetUInt16Value(0), 0x110A);
    const auto name = ReadAll(ObjectType::IpParameters, 76);
    EXPECT_EQ(name.GetSize(), 30U);
    EXPECT_EQ(name.GetStringValue(0), "Thirty characters fill it all!");
    const auto additional = ReadAll(ObjectType::IpParameters, 53);
    EXPECT_EQ(additional.GetSize(), 8U);
    EXPECT_EQ(additional.GetUInt32Value(0), 0x110BU);
    EXPECT_EQ(additional.GetUInt32Value(4), 0x110CU);
}

TEST_F(DownloaderTest, TheApplicationsPropertiesHoldWhatWasDownloaded) {
    sut.PowerUp(device);
    LoadApplicationProperties();
    const auto types = ReadAll(ObjectType::Application, 64);
    EXPECT_EQ(types.GetSize(), 520UL * 4);
    EXPECT_EQ(types.GetUInt32Value(0), Dpt(1, 1));
    EXPECT_EQ(types.GetUInt32Value(4), 0U);
    EXPECT_EQ(types.GetUInt32Value(519UL * 4), Dpt(9, 1));
    const auto communication = ReadAll(ObjectType::Application, 66);
    EXPECT_EQ(communication.GetUInt32Value(0), 1U);
    EXPECT_EQ(communication.GetUInt32Value(519UL * 4), 0U);
    const auto ipParameters = ReadAll(ObjectType::Application, 68);
    EXPECT_EQ(ipParameters.GetSize(), 12U);
    EXPECT_EQ(ipParameters.GetUInt32Value(0), 0xC0A8010AU);
    EXPECT_EQ(ipParameters.GetUInt32Value(4), 0U);
    EXPECT_EQ(ipParameters.GetUInt32Value(8), 0x0A000001U);
    const auto numbers = ReadAll(ObjectType::Application, 69);
    EXPECT_EQ(numbers.GetSize(), 8U);
    EXPECT_EQ(numbers.GetUInt32Value(4), 42U);
    EXPECT_THAT(ReadAll(ObjectType::Application, 71).GetBytes(), ElementsAre(2, 1, 1));
    EXPECT_EQ(ReadAll(ObjectType::Application, 72).GetStringValue(0), "TestApp");
}

TEST_F(DownloaderTest, TextParametersStandInBlocksOf128Bytes) {
    sut.PowerUp(device);
    const auto content = memory.GetContent();
    EXPECT_EQ(content.GetSize(), 6400U);
    EXPECT_EQ(content.GetStringValue(0), "first");
    EXPECT_EQ(content.GetStringValue(128), "");
    EXPECT_EQ(content.GetStringValue(std::size_t{49} * 128), "last");
}

TEST_F(DownloaderTest, ADownloadWalksOneObjectAfterTheOther) {
    sut.PowerUp(device);
    EXPECT_EQ(sut.Download(device, {}), std::nullopt);
    EXPECT_THAT(GetStateChanges(),
                ElementsAre("1 unloaded", "1 loading", "1 loaded", "2 unloaded", "2 loading", "2 loaded", "3 unloaded",
                            "3 loading", "3 loaded", "9 unloaded", "9 loading", "9 loaded", "40960 unloaded",
                            "40960 loading", "40960 loaded"));
}

TEST_F(DownloaderTest, TheApplicationIsToldAroundTheUnloadingOfItsObjectAndAfterTheLast) {
    sut.PowerUp(device);
    objects.Find(ObjectType::Application)->CreateUserProperty(LoadStateControlProperty, user);
    hub.GetApplicationPrg1Memory();
    EXPECT_EQ(sut.Download(device, {}), std::nullopt);
    EXPECT_THAT(user.steps,
                ElementsAre("unloading", "event 4", "unloaded", "event 1", "event 2", "loaded after cycle 1"));
    objects.UnregisterUser(user);
}

TEST_F(DownloaderTest, ADownloadReplacesWhatWasThere) {
    sut.PowerUp(device);
    LoadApplicationProperties();
    auto other = TestDevice::Make({TestDevice::Object(2, Dpt(5, 1), "CR", {200})});
    other.appId = "Other";
    other.textParameters = {{2, "second"}};
    other.friendlyName = "";
    EXPECT_EQ(sut.Download(other, {}), std::nullopt);
    EXPECT_EQ(ReadAll(ObjectType::Application, 72).GetStringValue(0), "Other");
    EXPECT_EQ(ReadAll(ObjectType::IpParameters, 76).GetSize(), 0U);
    EXPECT_EQ(memory.GetContent().GetStringValue(0), "");
    EXPECT_EQ(memory.GetContent().GetStringValue(128), "second");
    EXPECT_EQ(groupObjects.GetGroupObject(1), nullptr);
    EXPECT_NE(groupObjects.GetGroupObject(2), nullptr);
    EXPECT_EQ(groupObjects.CountListeners(100), 0U);
    EXPECT_EQ(groupObjects.CountListeners(200), 1U);
}

TEST_F(DownloaderTest, APartialDownloadTouchesOnlyItsObjects) {
    sut.PowerUp(device);
    objects.Find(ObjectType::Application)->CreateUserProperty(LoadStateControlProperty, user);
    auto other = TestDevice::Make({TestDevice::Object(2, Dpt(5, 1), "CR", {200})});
    other.friendlyName = "Other";
    DownloadRequest request;
    request.objects = {ObjectType::GroupObjectTable, ObjectType::ApplicationProgram};
    EXPECT_EQ(sut.Download(other, request), std::nullopt);
    EXPECT_THAT(GetStateChanges(),
                ElementsAre("3 unloaded", "3 loading", "3 loaded", "9 unloaded", "9 loading", "9 loaded"));
    EXPECT_EQ(groupObjects.CountListeners(100), 1U);
    EXPECT_NE(groupObjects.GetGroupObject(2), nullptr);
    EXPECT_EQ(ReadAll(ObjectType::IpParameters, 76).GetSize(), 30U);
    EXPECT_THAT(user.steps, ElementsAre("loaded after cycle 0"));
    objects.UnregisterUser(user);
}

TEST_F(DownloaderTest, AnAbortedDownloadLeavesItsObjectLoading) {
    sut.PowerUp(device);
    DownloadRequest request;
    request.abortAfter = ObjectType::ApplicationProgram;
    EXPECT_EQ(sut.Download(device, request), std::nullopt);
    EXPECT_EQ(StateOf(ObjectType::AssociationTable), LoadState::Loaded);
    EXPECT_EQ(StateOf(ObjectType::ApplicationProgram), LoadState::Loading);
    EXPECT_EQ(StateOf(ObjectType::GroupObjectTable), LoadState::Loaded);
    EXPECT_THAT(user.steps, IsEmpty());
}

TEST_F(DownloaderTest, ADownloadAfterAnAbortedOneLoadsEverything) {
    sut.PowerUp(device);
    DownloadRequest request;
    request.abortAfter = ObjectType::Application;
    EXPECT_EQ(sut.Download(device, request), std::nullopt);
    EXPECT_EQ(StateOf(ObjectType::Application), LoadState::Loading);
    EXPECT_EQ(sut.Download(device, {}), std::nullopt);
    EXPECT_TRUE(objects.AreAllLoaded());
    EXPECT_THAT(user.steps, ElementsAre("unloading", "unloaded", "loaded after cycle 0"));
}

TEST_F(DownloaderTest, APartialDownloadOfAnUnloadedDeviceDoesNotEndLoaded) {
    DownloadRequest request;
    request.objects = {ObjectType::Application};
    EXPECT_EQ(sut.Download(device, request), std::nullopt);
    EXPECT_EQ(StateOf(ObjectType::Application), LoadState::Loaded);
    EXPECT_THAT(user.steps, IsEmpty());
    EXPECT_EQ(hub.GetApplicationPrg1Memory(), nullptr);
}

TEST_F(DownloaderTest, UnloadingEmptiesEverything) {
    sut.PowerUp(device);
    LoadApplicationProperties();
    EXPECT_EQ(sut.Unload(), std::nullopt);
    EXPECT_THAT(GetStateChanges(),
                ElementsAre("1 unloaded", "2 unloaded", "3 unloaded", "9 unloaded", "40960 unloaded"));
    EXPECT_EQ(ReadAll(ObjectType::Application, 72).GetSize(), 0U);
    EXPECT_EQ(groupObjects.GetObjectCount(), 0U);
    EXPECT_EQ(groupObjects.CountListeners(100), 0U);
    EXPECT_EQ(memory.GetContent().GetStringValue(0), "");
    EXPECT_EQ(hub.GetApplicationPrg1Memory(), &memory);
    EXPECT_THAT(user.steps, ElementsAre("unloading", "unloaded"));
}

TEST_F(DownloaderTest, TheRunStateIsUnknownAgainWhenTheApplicationIsUnloaded) {
    sut.PowerUp(device);
    hub.SetRunState(true);
    EXPECT_EQ(hub.GetRunState(), RunState::Running);
    EXPECT_EQ(sut.Unload(), std::nullopt);
    EXPECT_EQ(hub.GetRunState(), RunState::Unknown);
}

TEST_F(DownloaderTest, DownloadsOfSeveralThreadsRunOneAfterTheOther) {
    sut.PowerUp(device);
    boost::thread_group threads;
    for (int i = 0; i < 4; ++i) {
        threads.create_thread([this] { EXPECT_EQ(sut.Download(device, {}), std::nullopt); });
    }
    threads.join_all();
    const auto changes = GetStateChanges();
    ASSERT_EQ(changes.size(), 60U);
    for (std::size_t i = 15; i < changes.size(); ++i) {
        EXPECT_EQ(changes[i], changes[i - 15]) << i;
    }
}

TEST_F(DownloaderTest, AStoppedHostDownloadsNothing) {
    sut.PowerUp(device);
    sut.Stop();
    EXPECT_EQ(sut.Download(device, {}), "the host is ending");
    EXPECT_EQ(sut.Unload(), "the host is ending");
    EXPECT_TRUE(objects.AreAllLoaded());
}

TEST_F(DownloaderTest, StoppingEndsADownloadBetweenTwoSteps) {
    Downloader slow(objects, memory, groupObjects, hub, events, observer, std::chrono::minutes(10));
    boost::thread stopper([&slow] { slow.Stop(); });
    EXPECT_EQ(slow.Download(device, {}), "the host is ending");
    stopper.join();
}

TEST_F(DownloaderTest, ContentThatDoesNotFitIsReported) {
    sut.PowerUp(device);
    LoadApplicationProperties();
    auto tooLong = device;
    tooLong.appId = std::string(65, 'x');
    EXPECT_EQ(sut.Download(tooLong, {}), std::nullopt);
    const auto messages = recorder.Get<MessageEvent>();
    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].text, "property 72 of the application object cannot hold 65 bytes");
    EXPECT_TRUE(messages[0].isProblem);
}

TEST_F(DownloaderTest, TheRunStateIsUnknownFromTheBeginningOfACycle) {
    sut.PowerUp(device);
    hub.SetRunState(false);
    EXPECT_EQ(hub.GetRunState(), RunState::Error);
    EXPECT_EQ(hub.GetCycleCount(), 0U);
    hub.GetApplicationPrg1Memory();
    EXPECT_EQ(hub.GetRunState(), RunState::Unknown);
    EXPECT_EQ(hub.GetCycleCount(), 1U);
    EXPECT_EQ(hub.GetRunStateCount(), 1U);
}

}  // namespace
}  // namespace LocalDevice

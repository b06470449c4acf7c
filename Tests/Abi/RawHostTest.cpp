// A host that was built with headers of its own: its objects are tables of functions, found by their numbers.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <boost/chrono/duration.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "CapturingAppender.h"
#include "FakeDeviceStack.h"
#include "FakeKnxStack.h"
#include "PluginLibrary.h"
#include "ScopedEnvironment.h"
#include "Zandrel/KnxOdsMapping.h"

namespace {

using TestSupport::FakeDeviceStack;
using TestSupport::FakeKnxStack;
using TestSupport::ScopedEnvironment;
using Calls = std::vector<std::string>;

/// What was called, with its arguments. One program uses one host at a time.
class Journal {
public:
    void Add(std::string call) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        calls_.push_back(std::move(call));
        added_.notify_all();
    }

    /// What was called since the last time.
    Calls Take() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return std::exchange(calls_, {});
    }

    /// False when there is no such call within 20 s.
    bool WaitFor(const std::string& call) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        return added_.wait_for(lock, boost::chrono::seconds(20),
                               [&] { return std::find(calls_.begin(), calls_.end(), call) != calls_.end(); });
    }

private:
    boost::mutex mutex_;
    boost::condition_variable added_;
    Calls calls_;
};

Journal& TheJournal() {
    static Journal journal;
    return journal;
}

template <typename... Arguments>
void Note(std::string line, Arguments... arguments) {
    ((line += " " + std::to_string(arguments)), ...);
    TheJournal().Add(line);
}

/// An object as its user sees it: a pointer to its table. What follows is the host's own: what answers for it.
struct RawObject {
    const void* table;
    void* source;
};

/// The raw object for which `source` answers, always the same one; null for null.
template <typename Interface, std::size_t Slots>
RawObject* Raw(Interface* source, const std::array<const void*, Slots>& table) {
    static boost::mutex mutex;
    static std::map<Interface*, RawObject> objects;
    const boost::lock_guard<boost::mutex> lock(mutex);
    return source == nullptr ? nullptr : &objects.try_emplace(source, RawObject{table.data(), source}).first->second;
}

template <typename Interface>
Interface& Source(const RawObject* object) {
    return *static_cast<Interface*>(object->source);
}

template <typename Function>
const void* Entry(Function function) {
    return reinterpret_cast<const void*>(function);
}

template <typename Function>
Function* Slot(const void* object, std::size_t index) {
    return reinterpret_cast<Function*>((*static_cast<void* const* const*>(object))[index]);
}

bool GetElementCount(RawObject* object, std::uint32_t* count) {
    Note("GetElementCount");
    return Source<KnxStack::IProperty>(object).GetElementCount(*count);
}

bool ReadElements(RawObject* object, std::uint32_t start, std::uint32_t count, KnxStack::BinaryData* data) {
    Note("ReadElements", start, count);
    return Source<KnxStack::IProperty>(object).ReadElements(start, count, *data);
}

void Enable(RawObject* object, int enabled) {
    Note("Enable", enabled);
    Source<KnxStack::IProperty>(object).Enable(enabled);
}

const std::array<const void*, 3> propertyTable{Entry(GetElementCount), Entry(ReadElements), Entry(Enable)};

RawObject* GetProperty(RawObject* object, std::uint16_t id) {
    Note("GetProperty", id);
    return Raw(Source<KnxStack::IInterfaceObject>(object).GetProperty(id), propertyTable);
}

KnxStack::IInterfaceObjectSimplePropertyUser* propertyUser = nullptr;

RawObject* CreateUserProperty(RawObject* object, std::uint16_t id, KnxStack::IInterfaceObjectSimplePropertyUser* user) {
    Note("CreateUserProperty", id);
    propertyUser = user;
    return Raw(Source<KnxStack::IInterfaceObject>(object).CreateUserProperty(id, *user), propertyTable);
}

RawObject* CreateProperty(RawObject* object, std::uint16_t id, int dataType, int maxElements, int writeEnable,
                          int readEnable) {
    Note("CreateProperty", id, dataType, maxElements, writeEnable, readEnable);
    return Raw(
        Source<KnxStack::IInterfaceObject>(object).CreateProperty(id, dataType, maxElements, writeEnable, readEnable),
        propertyTable);
}

const std::array<const void*, 3> interfaceObjectTable{Entry(GetProperty), Entry(CreateUserProperty),
                                                      Entry(CreateProperty)};

RawObject* GetInterfaceObject(RawObject* object, std::uint16_t type, int instance) {
    Note("GetInterfaceObject", type, instance);
    return Raw(Source<KnxStack::IPropertyService>(object).GetInterfaceObject(type, instance), interfaceObjectTable);
}

bool UnregisterPropertyUser(RawObject* object, KnxStack::IInterfaceObjectSimplePropertyUser* user) {
    Note("UnregisterPropertyUser", user == propertyUser);
    return Source<KnxStack::IPropertyService>(object).UnregisterUser(*user);
}

const std::array<const void*, 2> propertyServiceTable{Entry(GetInterfaceObject), Entry(UnregisterPropertyUser)};

bool MayBeWritten(RawObject* object) {
    Note("MayBeWritten");
    return Source<KnxStack::IGroupObject>(object).MayBeWritten();
}

const std::array<const void*, 1> groupObjectTable{Entry(MayBeWritten)};

RawObject* GetGroupObject(RawObject* object, std::uint16_t number) {
    Note("GetGroupObject", number);
    return Raw(Source<KnxStack::IGroupValueService>(object).GetGroupObject(number), groupObjectTable);
}

KnxStack::IGroupValueUser* groupValueUser = nullptr;

void RegisterGroupValueUser(RawObject* object, KnxStack::IGroupValueUser* user) {
    Note("RegisterGroupValueUser");
    groupValueUser = user;
    Source<KnxStack::IGroupValueService>(object).RegisterUser(*user);
}

bool UnregisterGroupValueUser(RawObject* object, KnxStack::IGroupValueUser* user) {
    Note("UnregisterGroupValueUser", user == groupValueUser);
    return Source<KnxStack::IGroupValueService>(object).UnregisterUser(*user);
}

bool WriteValue(RawObject* object, std::uint16_t number, const KnxStack::GroupValue* value, unsigned options) {
    Note("WriteValue", number, value->GetBytes().at(0), options);
    return Source<KnxStack::IGroupValueService>(object).WriteValue(number, *value, options);
}

const std::array<const void*, 4> groupValueServiceTable{Entry(GetGroupObject), Entry(RegisterGroupValueUser),
                                                        Entry(UnregisterGroupValueUser), Entry(WriteValue)};

KnxStack::BinaryData GetContent(RawObject* object) {
    Note("GetContent");
    return Source<KnxStack::IMemory>(object).GetContent();
}

const std::array<const void*, 1> memoryTable{Entry(GetContent)};

RawObject* GetGroupValueService(RawObject* object) {
    Note("GetGroupValueService");
    return Raw(Source<KnxStack::IApiHub>(object).GetGroupValueService(), groupValueServiceTable);
}

RawObject* GetPropertyService(RawObject* object) {
    Note("GetPropertyService");
    return Raw(Source<KnxStack::IApiHub>(object).GetPropertyService(), propertyServiceTable);
}

RawObject* GetApplicationPrg1Memory(RawObject* object) {
    Note("GetApplicationPrg1Memory");
    return Raw(Source<KnxStack::IApiHub>(object).GetApplicationPrg1Memory(), memoryTable);
}

void SetRunState(RawObject* object, bool running) {
    Note("SetRunState", running);
    Source<KnxStack::IApiHub>(object).SetRunState(running);
}

const std::array<const void*, 4> hubTable{Entry(GetGroupValueService), Entry(GetPropertyService),
                                          Entry(GetApplicationPrg1Memory), Entry(SetRunState)};

/// A host and a program, whose app nobody starts.
class RawHost : public testing::Test {
protected:
    RawHost() : sut_(library_.Create()) { TheJournal().Take(); }
    ~RawHost() override { library_.Delete(sut_); }

    int Init() {
        KnxStack::IApiHub* const hub = &stack_;
        return Slot<int(void*, RawObject&)>(sut_, 2)(sut_, *Raw(hub, hubTable));
    }

    const ScopedEnvironment noApp_{"ORN_APP_HOST_STARTUP_DISABLED", "1"};
    FakeKnxStack stack_;
    PluginLibrary library_;
    const TestSupport::GlobalLogCapture log_;
    KnxStack::IApplicationProgram* sut_;
};

/// The host's first calls of a program that it has just made.
class RawHostAtSetUp : public RawHost {
protected:
    RawHostAtSetUp() {
        // The set-up ends at the first property of the program's own, which this host does not make.
        stack_.Application().RefuseToCreate(64);
        stack_.LoadState(FakeKnxStack::ApplicationObject).OnEnable([] {});
        result_ = Init();
    }

    int result_;
};

TEST_F(RawHostAtSetUp, IsAskedForItsServicesAndPropertiesByTheirSlots) {
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(TheJournal().Take(),
              (Calls{"GetGroupValueService", "GetPropertyService", "RegisterGroupValueUser",
                     "GetInterfaceObject 40960 0", "CreateUserProperty 5", "Enable 1", "CreateProperty 64 9 520 0 1"}));
}

TEST_F(RawHostAtSetUp, PassesValuesAndReadsThroughSlotsTwoToFourOfTheirUser) {
    using OnValue = bool(void*, std::uint32_t, const KnxStack::GroupValue&);
    using OnRead = bool(void*, std::uint32_t, KnxStack::GroupValue&, bool);
    KnxStack::GroupValue value({1});

    EXPECT_TRUE(Slot<OnValue>(groupValueUser, 2)(groupValueUser, 7, value));
    EXPECT_TRUE(Slot<OnValue>(groupValueUser, 3)(groupValueUser, 7, value));
    EXPECT_FALSE(Slot<OnRead>(groupValueUser, 4)(groupValueUser, 7, value, true)) << "nothing is downloaded yet";
}

TEST_F(RawHostAtSetUp, ReadsAndWritesTheLoadStateThroughSlotsTwoAndThreeOfItsUser) {
    using OnRead = bool(void*, std::uint16_t, std::uint16_t, KnxStack::BinaryData&);
    using OnWrite = bool(void*, std::uint16_t, std::uint16_t, const KnxStack::BinaryData&);
    KnxStack::BinaryData state;

    EXPECT_TRUE(Slot<OnRead>(propertyUser, 2)(propertyUser, 40960, 5, state));
    EXPECT_EQ(state.GetBytes(), (std::vector<std::uint8_t>{0}));
    EXPECT_FALSE(Slot<OnRead>(propertyUser, 2)(propertyUser, 40960, 6, state));

    EXPECT_TRUE(Slot<OnWrite>(propertyUser, 3)(propertyUser, 40960, 5, KnxStack::BinaryData({1})));
    EXPECT_TRUE(Slot<OnRead>(propertyUser, 2)(propertyUser, 40960, 5, state));
    EXPECT_EQ(state.GetBytes(), (std::vector<std::uint8_t>{2})) << "loading";
}

TEST_F(RawHostAtSetUp, IsLeftByBothUsersWhenTheObjectGoes) {
    TheJournal().Take();

    library_.Delete(std::exchange(sut_, nullptr));

    EXPECT_EQ(TheJournal().Take(), (Calls{"UnregisterPropertyUser 1", "UnregisterGroupValueUser 1"}));
}

/// A whole cycle at a device stack: what the stack is asked for, and what becomes of its answers.
class RawHostInACycle : public RawHost {
protected:
    RawHostInACycle() {
        deviceStack_.SetReply([](const std::string& frame) {
            const bool isConfig = frame.find("GetDeviceConfig") != std::string::npos;
            return FakeDeviceStack::AnswerTo(
                frame, isConfig ? R"({"deviceConfig":{"ipc":{"KnxSerialNumber1":"000a14ff0102"}}})" : "{}");
        });
        stack_.DownloadApplication("MyApp");
        stack_.DownloadCo(520, 0x10001);
        stack_.Memory().SetText(0, "Greeting");
        EXPECT_EQ(Init(), 2);
        EXPECT_TRUE(TheJournal().WaitFor("SetRunState 1"));
    }
    ~RawHostInACycle() override { EXPECT_EQ(Slot<int(void*)>(sut_, 4)(sut_), 1); }

    /// The calls that nobody made.
    static Calls Missing(const Calls& expected) {
        const Calls made = TheJournal().Take();
        Calls missing;
        std::copy_if(expected.begin(), expected.end(), std::back_inserter(missing),
                     [&](const auto& call) { return std::find(made.begin(), made.end(), call) == made.end(); });
        return missing;
    }

    /// Whether the device stack was told `text`. Forgets what it was told before that.
    bool HasPublished(const std::string& text) {
        std::string frame;
        do {
            frame = deviceStack_.NextFrame();
        } while (!frame.empty() && frame.find(text) == std::string::npos);
        return !frame.empty();
    }

    FakeDeviceStack deviceStack_;
    const ScopedEnvironment address_{"ORN_DEVICE_STACK", deviceStack_.GetAddress().c_str()};
};

TEST_F(RawHostInACycle, IsReadThroughTheSlotsOfItsPropertiesMemoryAndGroupObjects) {
    EXPECT_EQ(Missing({"GetInterfaceObject 11 -1", "GetProperty 76", "GetElementCount", "ReadElements 0 11",
                       "GetApplicationPrg1Memory", "GetContent", "GetGroupObject 1", "GetGroupObject 520",
                       "MayBeWritten", "ReadElements 519 1"}),
              Calls{});
}

TEST_F(RawHostInACycle, HasWhatItAnsweredPublished) {
    EXPECT_TRUE(HasPublished("Test device"));
    EXPECT_TRUE(HasPublished("Greeting"));
}

TEST_F(RawHostInACycle, GetsValuesThroughSlotThreeOfItsGroupValueService) {
    using OnValueChanged = bool(void*, unsigned long, const std::string&, const std::string&);
    const unsigned long id = Zandrel::KnxOdsMapping::GetCoValueObjModelId(520, 1).value();
    TheJournal().Take();

    EXPECT_TRUE(Slot<OnValueChanged>(sut_, 5)(sut_, id, "valueChanged", "2.1:1"));

    EXPECT_EQ(TheJournal().Take(), (Calls{"GetGroupObject 520", "MayBeWritten", "WriteValue 520 1 0"}));
}

}  // namespace

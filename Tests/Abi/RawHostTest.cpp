// A host that was built with headers of its own: its objects are tables of functions, found by their numbers.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "CapturingAppender.h"
#include "KnxStack/BinaryData.h"
#include "KnxStack/GroupValue.h"
#include "PluginLibrary.h"

namespace {

using Calls = std::vector<std::string>;

/// What was called, with its arguments. One program uses one host at a time.
Calls& Journal() {
    static Calls calls;
    return calls;
}

template <typename... Arguments>
void Note(const std::string& function, Arguments... arguments) {
    std::string line = function;
    ((line += " " + std::to_string(arguments)), ...);
    Journal().push_back(line);
}

/// An object as its user sees it: a pointer to its table.
struct RawObject {
    const void* table;
};

template <typename Function>
const void* Entry(Function function) {
    return reinterpret_cast<const void*>(function);
}

template <typename Function>
Function* Slot(const void* object, std::size_t index) {
    return reinterpret_cast<Function*>((*static_cast<const void* const* const*>(object))[index]);
}

void Enable(RawObject* /*object*/, int enabled) {
    Note("Enable", enabled);
}

bool GetElementCount(RawObject* /*object*/, std::uint32_t* count) {
    *count = 1;
    Note("GetElementCount");
    return true;
}

bool ReadElements(RawObject* /*object*/, std::uint32_t start, std::uint32_t count, void* /*data*/) {
    Note("ReadElements", start, count);
    return false;
}

const std::array<const void*, 3> propertyTable{Entry(GetElementCount), Entry(ReadElements), Entry(Enable)};
RawObject property{propertyTable.data()};

RawObject* GetProperty(RawObject* /*object*/, std::uint16_t id) {
    Note("GetProperty", id);
    return &property;
}

void* propertyUser = nullptr;

RawObject* CreateUserProperty(RawObject* /*object*/, std::uint16_t id, void* user) {
    Note("CreateUserProperty", id);
    propertyUser = user;
    return &property;
}

RawObject* CreateProperty(RawObject* /*object*/, std::uint16_t id, int dataType, int maxElements, int writeEnable,
                          int readEnable) {
    Note("CreateProperty", id, dataType, maxElements, writeEnable, readEnable);
    return nullptr;
}

const std::array<const void*, 3> interfaceObjectTable{Entry(GetProperty), Entry(CreateUserProperty),
                                                      Entry(CreateProperty)};
RawObject interfaceObject{interfaceObjectTable.data()};

RawObject* GetInterfaceObject(RawObject* /*object*/, std::uint16_t type, int instance) {
    Note("GetInterfaceObject", type, instance);
    return &interfaceObject;
}

bool UnregisterPropertyUser(RawObject* /*object*/, void* user) {
    Note("UnregisterPropertyUser", user == propertyUser);
    return true;
}

const std::array<const void*, 2> propertyServiceTable{Entry(GetInterfaceObject), Entry(UnregisterPropertyUser)};
RawObject propertyService{propertyServiceTable.data()};

RawObject* GetGroupObject(RawObject* /*object*/, std::uint16_t number) {
    Note("GetGroupObject", number);
    return nullptr;
}

void* groupValueUser = nullptr;

void RegisterGroupValueUser(RawObject* /*object*/, void* user) {
    Note("RegisterGroupValueUser");
    groupValueUser = user;
}

bool UnregisterGroupValueUser(RawObject* /*object*/, void* user) {
    Note("UnregisterGroupValueUser", user == groupValueUser);
    return true;
}

bool WriteValue(RawObject* /*object*/, std::uint16_t number, const void* /*value*/, unsigned options) {
    Note("WriteValue", number, options);
    return true;
}

const std::array<const void*, 4> groupValueServiceTable{Entry(GetGroupObject), Entry(RegisterGroupValueUser),
                                                        Entry(UnregisterGroupValueUser), Entry(WriteValue)};
RawObject groupValueService{groupValueServiceTable.data()};

RawObject* GetGroupValueService(RawObject* /*object*/) {
    Note("GetGroupValueService");
    return &groupValueService;
}

RawObject* GetPropertyService(RawObject* /*object*/) {
    Note("GetPropertyService");
    return &propertyService;
}

RawObject* GetApplicationPrg1Memory(RawObject* /*object*/) {
    Note("GetApplicationPrg1Memory");
    return nullptr;
}

void SetRunState(RawObject* /*object*/, bool running) {
    Note("SetRunState", running);
}

const std::array<const void*, 4> hubTable{Entry(GetGroupValueService), Entry(GetPropertyService),
                                          Entry(GetApplicationPrg1Memory), Entry(SetRunState)};
RawObject hub{hubTable.data()};

/// The host's first calls of a program that it has just made.
class RawHost : public testing::Test {
protected:
    RawHost() : sut_(library_.Create()) {
        Journal().clear();
        // The set-up ends at the first property of the program's own, which this host does not make.
        result_ = Slot<int(void*, RawObject&)>(sut_, 2)(sut_, hub);
    }
    ~RawHost() override { library_.Delete(sut_); }

    /// What was called since the last time.
    static Calls Take() { return std::exchange(Journal(), {}); }

    PluginLibrary library_;
    const TestSupport::GlobalLogCapture log_;
    KnxStack::IApplicationProgram* sut_;
    int result_;
};

TEST_F(RawHost, IsAskedForItsServicesAndPropertiesByTheirSlots) {
    EXPECT_EQ(result_, 0);
    EXPECT_EQ(Take(),
              (Calls{"GetGroupValueService", "GetPropertyService", "RegisterGroupValueUser",
                     "GetInterfaceObject 40960 0", "CreateUserProperty 5", "Enable 1", "CreateProperty 64 9 520 0 1"}));
}

TEST_F(RawHost, PassesValuesAndReadsThroughSlotsTwoToFourOfTheirUser) {
    using OnValue = bool(void*, std::uint32_t, const KnxStack::GroupValue&);
    using OnRead = bool(void*, std::uint32_t, KnxStack::GroupValue&, bool);
    KnxStack::GroupValue value({1});

    EXPECT_TRUE(Slot<OnValue>(groupValueUser, 2)(groupValueUser, 7, value));
    EXPECT_TRUE(Slot<OnValue>(groupValueUser, 3)(groupValueUser, 7, value));
    EXPECT_FALSE(Slot<OnRead>(groupValueUser, 4)(groupValueUser, 7, value, true)) << "nothing is downloaded yet";
}

TEST_F(RawHost, ReadsAndWritesTheLoadStateThroughSlotsTwoAndThreeOfItsUser) {
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

TEST_F(RawHost, IsLeftByBothUsersWhenTheObjectGoes) {
    Take();

    library_.Delete(std::exchange(sut_, nullptr));

    EXPECT_EQ(Take(), (Calls{"UnregisterPropertyUser 1", "UnregisterGroupValueUser 1"}));
}

}  // namespace

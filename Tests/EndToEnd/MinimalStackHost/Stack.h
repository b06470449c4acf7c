#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "KnxStack/BinaryData.h"
#include "KnxStack/GroupValue.h"
#include "KnxStack/IApiHub.h"
#include "KnxStack/IGroupValueService.h"
#include "KnxStack/IGroupValueUser.h"
#include "KnxStack/IInterfaceObjectSimplePropertyUser.h"
#include "KnxStack/IMemory.h"
#include "KnxStack/IPropertyService.h"

/// The smallest KNX stack that a plug-in can live in: everything is loaded from the beginning, nothing has a bus. It
/// prints what the plug-in does.
namespace MinimalStackHost {

using Bytes = std::vector<std::uint8_t>;

/// What the device holds.
struct Device {
    Bytes serialNumber{0x00, 0x00, 0x00, 0x00, 0x00, 0x01};
    std::string appId = "Copy";
    std::uint8_t appType = 0;
    std::map<std::uint16_t, std::uint32_t> objectTypes;  ///< data-point types by number of group object
    std::map<std::uint16_t, std::string> texts;          ///< text parameters by slot
};

/// Prints one line.
void Print(const std::string& line);

/// "0a ff" as digits without blanks, and back; throws `std::invalid_argument`.
std::string ToHex(const Bytes& bytes);
Bytes FromHex(const std::string& digits);

class Property final : public KnxStack::IProperty {
public:
    Property(std::uint16_t objectType, std::uint16_t id, std::size_t elementSize, Bytes content)
        : objectType_(objectType), id_(id), elementSize_(elementSize), content_(std::move(content)) {}

    bool GetElementCount(std::uint32_t& count) const override;
    bool ReadElements(std::uint32_t start, std::uint32_t count, KnxStack::BinaryData& data) const override;
    void Enable(int enabled) override;

    void SetUser(KnxStack::IInterfaceObjectSimplePropertyUser* user);
    KnxStack::IInterfaceObjectSimplePropertyUser* GetUser() const;
    void WriteLoadEvent(std::uint8_t event);

private:
    const std::uint16_t objectType_;
    const std::uint16_t id_;
    const std::size_t elementSize_;
    const Bytes content_;

    mutable boost::mutex mutex_;
    KnxStack::IInterfaceObjectSimplePropertyUser* user_ = nullptr;
};

class InterfaceObject final : public KnxStack::IInterfaceObject {
public:
    explicit InterfaceObject(std::uint16_t type) : type_(type) {}

    KnxStack::IProperty* GetProperty(std::uint16_t propertyId) override;
    KnxStack::IProperty* CreateUserProperty(std::uint16_t propertyId,
                                            KnxStack::IInterfaceObjectSimplePropertyUser& user) override;
    KnxStack::IProperty* CreateProperty(std::uint16_t propertyId, int dataType, int maxElements, int writeEnable,
                                        int readEnable) override;

    /// A property that is there from the beginning.
    void Add(std::uint16_t propertyId, std::size_t elementSize, Bytes content);
    /// What a property holds once the plug-in creates it.
    void Prepare(std::uint16_t propertyId, Bytes content) { prepared_[propertyId] = std::move(content); }
    Property* Find(std::uint16_t propertyId);
    bool Release(const KnxStack::IInterfaceObjectSimplePropertyUser& user);

private:
    const std::uint16_t type_;

    boost::mutex mutex_;
    std::map<std::uint16_t, std::unique_ptr<Property>> properties_;
    std::map<std::uint16_t, Bytes> prepared_;
};

class GroupObject final : public KnxStack::IGroupObject {
public:
    bool MayBeWritten() const override { return true; }
};

/// The stack: all services in one object.
class Stack final : public KnxStack::IApiHub,
                    public KnxStack::IPropertyService,
                    public KnxStack::IGroupValueService,
                    public KnxStack::IMemory {
public:
    using Seconds = std::chrono::seconds;

    explicit Stack(Device device);
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    // The plug-in's side.
    KnxStack::IGroupValueService* GetGroupValueService() override { return this; }
    KnxStack::IPropertyService* GetPropertyService() override { return this; }
    KnxStack::IMemory* GetApplicationPrg1Memory() override;
    void SetRunState(bool running) override;
    KnxStack::IInterfaceObject* GetInterfaceObject(std::uint16_t objectType, int instance) override;
    bool UnregisterUser(KnxStack::IInterfaceObjectSimplePropertyUser& user) override;
    KnxStack::IGroupObject* GetGroupObject(std::uint16_t number) override;
    void RegisterUser(KnxStack::IGroupValueUser& user) override;
    bool UnregisterUser(KnxStack::IGroupValueUser& user) override;
    bool WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned options) override;
    KnxStack::BinaryData GetContent() const override { return KnxStack::BinaryData(memory_); }

    // The script's side.

    /// Forgets run state and written values, so that the next wait is for new ones.
    void Forget();
    /// The run state, as soon as it is set. None when it is not within `limit`.
    std::optional<bool> WaitForRunState(Seconds limit);
    /// Whether the plug-in writes this value to the group object within `limit`.
    bool WaitForValue(std::uint16_t number, const Bytes& value, Seconds limit);
    bool SendWrite(std::uint16_t number, const Bytes& value);
    bool SendResponse(std::uint16_t number, const Bytes& value);
    std::optional<Bytes> SendRead(std::uint16_t number);
    void WriteLoadEvent(std::uint8_t event);

private:
    /// Runs `call(user)` while no `UnregisterUser` returns.
    template <typename Call>
    bool WithUser(Call call);

    const Device device_;
    Bytes memory_;
    std::map<std::uint16_t, std::unique_ptr<InterfaceObject>> objects_;
    GroupObject groupObject_;

    boost::mutex mutex_;
    boost::condition_variable changed_;
    KnxStack::IGroupValueUser* user_ = nullptr;
    int runningCalls_ = 0;
    std::optional<bool> runState_;
    std::vector<std::pair<std::uint16_t, Bytes>> written_;
};

}  // namespace MinimalStackHost

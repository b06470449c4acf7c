#pragma once

#include <array>
#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "KnxStack/IApiHub.h"
#include "KnxStack/IGroupValueService.h"
#include "KnxStack/IGroupValueUser.h"
#include "KnxStack/IInterfaceObjectSimplePropertyUser.h"
#include "KnxStack/IMemory.h"
#include "KnxStack/IPropertyService.h"

/// A KNX stack that is told what it holds and shows what is done to it. All of it is thread-safe, holds no lock while
/// it calls a user and, when a user is unregistered, waits for the calls that run.
namespace TestSupport {

/// The one user of a service.
template <typename User>
class UserSlot {
public:
    void Register(User& user) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        user_ = &user;
    }

    bool Unregister(const User& user) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        if (user_ != &user) {
            return false;
        }
        user_ = nullptr;
        idle_.wait(lock, [this] { return running_ == 0; });
        return true;
    }

    bool IsRegistered(const User& user) const {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return user_ == &user;
    }

    /// The result of `call(user)`; false without a user.
    template <typename Call>
    bool With(const Call& call) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        User* const user = user_;
        if (user == nullptr) {
            return false;
        }
        ++running_;
        lock.unlock();
        const bool result = call(*user);
        lock.lock();
        --running_;
        idle_.notify_all();
        return result;
    }

private:
    mutable boost::mutex mutex_;  ///< guards what follows
    boost::condition_variable idle_;
    User* user_ = nullptr;
    int running_ = 0;
};

using PropertyUserSlot = UserSlot<KnxStack::IInterfaceObjectSimplePropertyUser>;

class FakeProperty final : public KnxStack::IProperty {
public:
    using Bytes = std::vector<std::uint8_t>;

    explicit FakeProperty(std::atomic<int>& touches) : touches_(touches) {}

    /// Reads come from `read` from now on, on the calling thread.
    void ServeFrom(std::function<bool(KnxStack::BinaryData&)> read);
    /// `enabled` is called whenever the property is enabled, on the calling thread.
    void OnEnable(std::function<void()> enabled);

    void SetElements(std::vector<Bytes> elements);
    void SetUInt8Elements(const std::vector<std::uint8_t>& elements);
    void SetUInt16Elements(const std::vector<std::uint16_t>& elements);
    void SetUInt32Elements(const std::vector<std::uint32_t>& elements);
    /// One character an element.
    void SetText(const std::string& text);
    void SetUInt32Element(std::uint32_t index, std::uint32_t value);

    /// The element count cannot be told from now on.
    void FailElementCount();
    /// Reads that include element `index` fail from now on.
    void FailReadOf(std::uint32_t index);
    /// Reads succeed but deliver nothing from now on.
    void DeliverNothing();

    bool IsEnabled() const;
    /// The elements that were read, in the order of the reads.
    std::vector<std::uint32_t> GetReads() const;

    bool GetElementCount(std::uint32_t& count) const override;
    bool ReadElements(std::uint32_t start, std::uint32_t count, KnxStack::BinaryData& data) const override;
    void Enable(int enabled) override;

private:
    std::atomic<int>& touches_;

    mutable boost::mutex mutex_;  ///< guards what follows
    std::function<bool(KnxStack::BinaryData&)> read_;
    std::function<void()> onEnable_;
    std::vector<Bytes> elements_;
    bool countFails_ = false;
    bool deliversNothing_ = false;
    std::vector<std::uint32_t> failingElements_;
    bool enabled_ = false;
    mutable std::vector<std::uint32_t> reads_;
};

class FakeInterfaceObject final : public KnxStack::IInterfaceObject {
public:
    FakeInterfaceObject(std::uint16_t objectType, PropertyUserSlot& user, std::atomic<int>& touches)
        : objectType_(objectType), user_(user), touches_(touches) {}

    /// The property, made if it is not there.
    FakeProperty& Property(std::uint16_t propertyId);
    void Remove(std::uint16_t propertyId);
    /// The property cannot be created from now on.
    void RefuseToCreate(std::uint16_t propertyId);

    /// The properties that were created, in order, each as "ID" (served by a user) or "ID: TYPE, MAX, WRITE, READ".
    std::vector<std::string> GetCreated() const;

    KnxStack::IProperty* GetProperty(std::uint16_t propertyId) override;
    KnxStack::IProperty* CreateUserProperty(std::uint16_t propertyId,
                                            KnxStack::IInterfaceObjectSimplePropertyUser& user) override;
    KnxStack::IProperty* CreateProperty(std::uint16_t propertyId, int dataType, int maxElements, int writeEnable,
                                        int readEnable) override;

private:
    FakeProperty& PropertyLocked(std::uint16_t propertyId);
    KnxStack::IProperty* Create(std::uint16_t propertyId, std::string description);

    const std::uint16_t objectType_;
    PropertyUserSlot& user_;
    std::atomic<int>& touches_;

    mutable boost::mutex mutex_;  ///< guards what follows
    std::map<std::uint16_t, std::unique_ptr<FakeProperty>> properties_;
    std::vector<std::uint16_t> refused_;
    std::vector<std::string> created_;
};

class FakePropertyService final : public KnxStack::IPropertyService {
public:
    explicit FakePropertyService(std::atomic<int>& touches) : touches_(touches) {}

    /// The first object of this type, made if it is not there.
    FakeInterfaceObject& Object(std::uint16_t objectType);
    void Remove(std::uint16_t objectType);

    /// A write from the bus, on the calling thread: what the user answers; false without a user.
    bool Write(std::uint16_t objectType, std::uint16_t propertyId, const KnxStack::BinaryData& data);
    /// A read from the bus, likewise.
    bool Read(std::uint16_t objectType, std::uint16_t propertyId, KnxStack::BinaryData& data);
    /// A load event of the application's own object, as the bus writes it: 10 octets, the event first.
    bool WriteLoadEvent(std::uint8_t event);

    bool IsRegistered(const KnxStack::IInterfaceObjectSimplePropertyUser& user) const {
        return user_.IsRegistered(user);
    }

    /// Type and instance of each object that was asked for, in order.
    std::vector<std::pair<std::uint16_t, int>> GetRequests() const;

    KnxStack::IInterfaceObject* GetInterfaceObject(std::uint16_t objectType, int instance) override;
    bool UnregisterUser(KnxStack::IInterfaceObjectSimplePropertyUser& user) override;

private:
    std::atomic<int>& touches_;
    PropertyUserSlot user_;

    mutable boost::mutex mutex_;  ///< guards what follows
    std::map<std::uint16_t, std::unique_ptr<FakeInterfaceObject>> objects_;
    std::vector<std::pair<std::uint16_t, int>> requests_;
};

class FakeGroupObject final : public KnxStack::IGroupObject {
public:
    explicit FakeGroupObject(std::atomic<int>& touches) : touches_(touches) {}

    void SetMayBeWritten(bool mayBeWritten) { mayBeWritten_ = mayBeWritten; }
    bool MayBeWritten() const override {
        ++touches_;
        return mayBeWritten_;
    }

private:
    std::atomic<int>& touches_;
    std::atomic<bool> mayBeWritten_{true};
};

class FakeGroupValueService final : public KnxStack::IGroupValueService {
public:
    using Written = std::pair<std::uint16_t, std::vector<std::uint8_t>>;

    explicit FakeGroupValueService(std::atomic<int>& touches);

    /// Group object 1 to 520.
    FakeGroupObject& Object(std::uint16_t number) { return *objects_.at(number); }
    void Remove(std::uint16_t number);
    /// Writes of the application fail from now on.
    void RefuseWrites() { refusesWrites_ = true; }
    /// `write` is called with each write of the application, on the calling thread.
    void OnWrite(std::function<void()> write);

    // Telegrams from the bus, on the calling thread: what the user answers; false without a user.
    bool SendWrite(std::uint32_t number, const KnxStack::GroupValue& value);
    bool SendResponse(std::uint32_t number, const KnxStack::GroupValue& value);
    bool SendRead(std::uint32_t number, KnxStack::GroupValue& value);

    /// What the application wrote.
    std::vector<Written> GetWrites() const;
    /// The same, as text up to the first zero byte.
    std::vector<std::string> GetWrittenTexts() const;
    /// The options of each write.
    std::vector<unsigned> GetWriteOptions() const;
    /// Waits until the application has written `count` times. False when it has not within 10 s.
    bool WaitForWrites(std::size_t count) const;

    bool IsRegistered(const KnxStack::IGroupValueUser& user) const { return user_.IsRegistered(user); }

    KnxStack::IGroupObject* GetGroupObject(std::uint16_t number) override;
    void RegisterUser(KnxStack::IGroupValueUser& user) override;
    bool UnregisterUser(KnxStack::IGroupValueUser& user) override;
    bool WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned options) override;

private:
    std::atomic<int>& touches_;
    UserSlot<KnxStack::IGroupValueUser> user_;
    std::atomic<bool> refusesWrites_{false};

    mutable boost::mutex mutex_;  ///< guards what follows
    mutable boost::condition_variable written_;
    std::map<std::uint16_t, std::unique_ptr<FakeGroupObject>> objects_;
    std::vector<Written> writes_;
    std::vector<unsigned> writeOptions_;
    std::function<void()> onWrite_;
};

class FakeMemory final : public KnxStack::IMemory {
public:
    explicit FakeMemory(std::atomic<int>& touches) : touches_(touches) {}

    void SetContent(std::vector<std::uint8_t> content);
    /// Puts `text` and a zero byte at `offset`.
    void SetText(std::size_t offset, const std::string& text);

    KnxStack::BinaryData GetContent() const override;

private:
    std::atomic<int>& touches_;

    mutable boost::mutex mutex_;  ///< guards what follows
    std::vector<std::uint8_t> content_;
};

/// The whole stack: a downloaded device whose application is loaded, and none of whose COs is in use.
///
/// Serial number 000a14ff0102, hardware type 00010203 ..., individual address 1.1.10, friendly name "Test device", 50
/// blocks of empty text parameters. The objects 1, 2, 3 and 9 are loaded; the application's own (40960) is empty but
/// for the load events that it replays when its property 5 is enabled. `DownloadApplication` gives it its properties.
class FakeKnxStack final : public KnxStack::IApiHub {
public:
    static constexpr std::uint16_t ApplicationObject = 40960;

    FakeKnxStack();
    ~FakeKnxStack() = default;
    FakeKnxStack(const FakeKnxStack&) = delete;
    FakeKnxStack& operator=(const FakeKnxStack&) = delete;

    FakePropertyService& Properties() { return properties_; }
    FakeGroupValueService& GroupValues() { return groupValues_; }
    FakeMemory& Memory() { return memory_; }
    FakeInterfaceObject& Application() { return properties_.Object(ApplicationObject); }
    FakeProperty& LoadState(std::uint16_t objectType) { return properties_.Object(objectType).Property(5); }

    /// Puts a download into the application's object: app id, app type and display settings, 520 unused COs, no
    /// parameters.
    void DownloadApplication(const std::string& appId, std::uint8_t appType = 0);
    /// Sets the data-point type of a CO and its communication flag.
    void DownloadCo(std::uint16_t number, std::uint32_t dpt, bool communication = true);

    void RemovePropertyService() { hasProperties_ = false; }
    void RemoveGroupValueService() { hasGroupValues_ = false; }
    void RemoveMemory() { hasMemory_ = false; }

    /// How often any function of the stack was called.
    int CountTouches() const { return touches_; }
    /// What the run state was set to, in order.
    std::vector<bool> GetRunStates() const;

    KnxStack::IGroupValueService* GetGroupValueService() override;
    KnxStack::IPropertyService* GetPropertyService() override;
    KnxStack::IMemory* GetApplicationPrg1Memory() override;
    void SetRunState(bool running) override;

private:
    std::atomic<int> touches_{0};
    std::atomic<bool> hasProperties_{true};
    std::atomic<bool> hasGroupValues_{true};
    std::atomic<bool> hasMemory_{true};
    FakePropertyService properties_;
    FakeGroupValueService groupValues_;
    FakeMemory memory_;

    mutable boost::mutex mutex_;  ///< guards runStates_
    std::vector<bool> runStates_;
};

/// A group value of these bytes.
KnxStack::GroupValue MakeGroupValue(std::vector<std::uint8_t> bytes);

}  // namespace TestSupport

#pragma once

#include <atomic>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Bus/IBusLink.h"
#include "DeviceDescription.h"
#include "GroupObjects/ApplicationLog.h"
#include "GroupObjects/GroupObjectTable.h"
#include "KnxStack/IGroupValueService.h"
#include "KnxStack/IGroupValueUser.h"
#include "Output/HostEvents.h"
#include "Support/UserSlot.h"
#include "Support/WorkQueue.h"

namespace LocalDevice {

/// How many telegrams went which way since the start.
struct TelegramCounters {
    std::atomic<std::uint64_t> received{0};     ///< from the bus, for any address
    std::atomic<std::uint64_t> unaddressed{0};  ///< of these: for no group object, or while the device is not loaded
    std::atomic<std::uint64_t> overrun{0};      ///< of these: lost, too many reads waited
    std::atomic<std::uint64_t> taken{0};
    std::atomic<std::uint64_t> ignored{0};
    std::atomic<std::uint64_t> refused{0};
    std::atomic<std::uint64_t> answered{0};
    std::atomic<std::uint64_t> silent{0};
    std::atomic<std::uint64_t> sent{0};
    std::atomic<std::uint64_t> queued{0};
    std::atomic<std::uint64_t> kept{0};
    std::atomic<std::uint64_t> echo{0};
    std::atomic<std::uint64_t> dropped{0};
};

/// The group objects between the bus and the application. Thread-safe.
///
/// Writes and responses reach the user one after the other, in bus order, on the link's thread: a user takes values
/// without waiting. Read requests follow the values before them and are answered on a thread of this object, so that a
/// slow answer holds up other reads only. What the application's log tells of all this stands in the events.
class GroupObjectService final : public KnxStack::IGroupValueService {
public:
    explicit GroupObjectService(HostEvents& events);
    ~GroupObjectService();
    GroupObjectService(const GroupObjectService&) = delete;
    GroupObjectService& operator=(const GroupObjectService&) = delete;

    KnxStack::IGroupObject* GetGroupObject(std::uint16_t number) override;
    void RegisterUser(KnxStack::IGroupValueUser& user) override { user_.Set(user); }
    bool UnregisterUser(KnxStack::IGroupValueUser& user) override { return user_.Clear(user); }
    bool WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned options) override;

    /// Sends over `link` from now on; without one, what is to be sent is dropped.
    void Connect(std::unique_ptr<IBusLink> link);
    bool IsConnected() const;

    /// A telegram from the bus: the handler of the link.
    void OnTelegram(const Telegram& telegram);

    /// The contents of the group object table and of the association table; null empties it.
    void LoadObjects(const DeviceDescription* description);
    void LoadAssociations(const DeviceDescription* description);

    /// Whether the device takes part in group communication: its tables are loaded.
    void SetOnline(bool isOnline);

    /// The device has been loaded: what is to be read on initialisation is read the next time that the application
    /// runs.
    void OnLoaded();
    /// The application runs.
    void OnRunning();

    const TelegramCounters& GetCounters() const { return counters_; }

    /// The data-point type of the first group object that listens to an address.
    std::optional<std::uint32_t> FindDpt(std::uint16_t groupAddress) const;
    std::size_t CountListeners(std::uint16_t groupAddress) const;
    /// The number of group objects.
    std::size_t GetObjectCount() const;

private:
    void DeliverValue(std::uint16_t number, const Telegram& telegram);
    void AnswerRead(std::uint16_t number, const Telegram& telegram);
    std::optional<KnxStack::GroupValue> AskForValue(std::uint16_t number, TelegramEvent& event);
    void PassValue(TelegramEvent& event);
    void OnAppWrite(const AppWrite& write);
    TelegramEvent Transmit(GroupService service, const GroupObject& object, std::uint16_t groupAddress,
                           const std::optional<KnxStack::GroupValue>& value);
    void Publish(TelegramEvent event);

    static constexpr std::size_t MaxWaitingReads = 1'000;

    HostEvents& events_;

    UserSlot<KnxStack::IGroupValueUser> user_;
    TelegramCounters counters_;

    mutable boost::mutex mutex_;  ///< held while something is sent, so that values leave in the order of their storing
    GroupObjectTable table_;
    std::unique_ptr<IBusLink> link_;
    bool isOnline_ = false;
    bool isReadOnInitDue_ = false;

    WorkQueue reads_{MaxWaitingReads};

    /// Last: it calls `OnAppWrite`.
    const ApplicationLog applicationLog_{[this](const AppWrite& write) { OnAppWrite(write); }};
};

}  // namespace LocalDevice

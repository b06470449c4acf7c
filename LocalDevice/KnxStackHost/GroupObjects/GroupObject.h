#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "Bus/Telegram.h"
#include "DeviceDescription.h"
#include "GroupObjects/ValueFormat.h"
#include "KnxStack/GroupValue.h"
#include "KnxStack/IGroupValueService.h"

namespace LocalDevice {

/// One group object: what its flags let through, and its last value. `MayBeWritten` may be called from any thread, the
/// rest is for one thread at a time.
class GroupObject final : public KnxStack::IGroupObject {
public:
    bool MayBeWritten() const override { return mayBeWritten_; }

    /// Makes it the group object of a description, without a value.
    void Define(const CommunicationObject& description);
    /// There is no such group object any more.
    void Undefine();
    bool IsDefined() const { return isDefined_; }

    const CommunicationObject& GetDescription() const { return description_; }
    const std::optional<KnxStack::GroupValue>& GetValue() const { return value_; }

    /// The value of a write or a response, stored. None, with the reason in `refusal`, when it is not let through.
    std::optional<KnxStack::GroupValue> Receive(const Telegram& telegram, std::string& refusal);

    /// Whether a read request is passed on; the reason is in `refusal` when not.
    bool PassesRead(std::string& refusal) const;

    /// A value of the application, stored. None, with the reason in `refusal`, when it has another length.
    std::optional<KnxStack::GroupValue> Store(const KnxStack::GroupValue& value, std::string& refusal);

    /// Whether what the application writes goes to the bus; the reason is in `refusal` when not.
    bool Transmits(std::string& refusal) const;

    /// Whether the value is to be read from the bus after loading.
    bool IsReadOnInit() const;

    /// A telegram with a value of this group object, or a read request without one.
    Telegram MakeTelegram(GroupService service, std::uint16_t groupAddress,
                          const std::optional<KnxStack::GroupValue>& value) const;

private:
    std::atomic<bool> mayBeWritten_{false};

    bool isDefined_ = false;
    CommunicationObject description_;
    std::optional<ValueFormat> format_;  ///< none for an unknown data-point type
    std::optional<KnxStack::GroupValue> value_;
};

}  // namespace LocalDevice

#pragma once

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "EventFilter.h"
#include "KnxStack/GroupValue.h"
#include "PrefixedLogger.h"
#include "Zandrel/Docket.h"
#include "Zandrel/ZanValue.h"

namespace Zandrel {

class AppIdentity;
class DptTable;
class GroupObjectWriter;
class TickerThreadManager;

/// Sets a data point without waiting for an answer. False when the value could not be handed on.
using SetValueFunction = std::function<bool(unsigned long id, const ZANVALUE& value, bool isResponse)>;
/// Requests the value of a data point.
using GetValueFunction = std::function<Docket(unsigned long id, bool useStoredValue)>;
/// The local wall-clock time.
using WallClock = std::function<boost::posix_time::ptime()>;

WallClock LocalWallClock();

/// Carries values between the bus and the device stack. Thread-safe; what it is given may throw, and so may it.
class GroupValueBridge {
public:
    GroupValueBridge(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity, const DptTable& dpts,
                     const GroupObjectWriter& writer, TickerThreadManager& tickers,
                     WallClock wallClock = LocalWallClock());
    GroupValueBridge(const GroupValueBridge&) = delete;
    GroupValueBridge& operator=(const GroupValueBridge&) = delete;

    /// The ways to the device stack; an empty one is absent. A call that is under way keeps those it began with.
    void SetMessengers(SetValueFunction setValue, GetValueFunction getValue);

    /// Takes a value from the bus to the device stack and, unless it answers a read request, remembers it so that its
    /// echo is dropped. True when it was handed on, and when it concerns nobody: the CO has no data point, or the value
    /// is infinite.
    bool UpdateCoValue(std::uint16_t co, const KnxStack::GroupValue& groupValue, bool isResponse);

    /// Takes a value of the device stack to the bus. True when it was written, when it is the echo of a value that came
    /// from the bus, and when the CO may not be written. False when `id` is not a CO's data point.
    bool WriteValue(unsigned long id, const ZANVALUE& value);

    /// Answers a read request of the bus with the device stack's value. Waits for it.
    bool OnGroupValueRead(std::uint16_t co, KnxStack::GroupValue& groupValue);

private:
    struct Messengers {
        SetValueFunction setValue;
        GetValueFunction getValue;
    };

    std::optional<unsigned long> GetValueId(std::uint16_t co) const;
    std::shared_ptr<const Messengers> GetMessengers() const;
    void Remember(std::uint16_t co, std::uint32_t dpt, const KnxStack::GroupValue& groupValue);

    const PrefixedLogger log_;
    const std::shared_ptr<const AppIdentity> identity_;
    const DptTable& dpts_;
    const GroupObjectWriter& writer_;
    TickerThreadManager& tickers_;
    const WallClock wallClock_;

    mutable boost::mutex messengersMutex_;  ///< guards messengers_
    std::shared_ptr<const Messengers> messengers_ = std::make_shared<const Messengers>();

    boost::mutex filterMutex_;  ///< guards filter_; not held while a value is handed on
    EventFilter filter_;
};

}  // namespace Zandrel

#pragma once

#include <log4cplus/logger.h>

#include <boost/date_time/posix_time/ptime.hpp>
#include <boost/intrusive/list.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "KnxStack/GroupValue.h"

namespace Zandrel {

/// A value that came from the bus.
struct FilterEntry {
    std::uint16_t co = 0;
    std::uint32_t dpt = 0;  ///< main number in the upper 16 bits, sub number in the lower 16 bits
    KnxStack::GroupValue value;
    boost::posix_time::ptime deathTime;  ///< local wall-clock time after which the entry no longer counts
};

/// Remembers the values that came from the bus, so that the echo of each is recognised once.
///
/// Two entries are the same event when CO and type are equal and the values are: those of main type 14 when they print
/// the same with six decimals (all NaNs are one), all others byte by byte. What an event costs does not depend on how
/// many are remembered. Not thread-safe.
class EventFilter {
public:
    explicit EventFilter(log4cplus::Logger logger);
    ~EventFilter();
    EventFilter(const EventFilter&) = delete;
    EventFilter& operator=(const EventFilter&) = delete;

    /// Remembers `entry`.
    void AddEvent(FilterEntry entry);

    /// Forgets the oldest entry that is the same event as `probe`, whose death time does not count. False when there is
    /// none. An entry past its death time that was not removed yet still matches.
    bool RemoveEvent(const FilterEntry& probe);

    /// Forgets every entry whose death time is not later than `now`, in the order in which they were added.
    ///
    /// One whose death time is further ahead than any lifetime comes from before the clock was set back, and would stay
    /// for as long as that went: it lives for one more lifetime instead.
    void RemoveExpired(boost::posix_time::ptime now);

    std::size_t GetSize() const noexcept { return byDeathTime_.size(); }

private:
    struct Key {
        std::uint16_t co;
        std::uint32_t dpt;
        std::string value;  ///< the bytes, or the text of a float: equal for equal values
        std::size_t hash;   ///< of the three

        friend bool operator==(const Key& a, const Key& b) noexcept {
            return a.hash == b.hash && a.co == b.co && a.dpt == b.dpt && a.value == b.value;
        }
    };
    struct KeyHash {
        std::size_t operator()(const Key& key) const noexcept { return key.hash; }
    };
    struct Record;
    struct SameEventTag;
    struct DeathTimeTag;
    using SameEventHook = boost::intrusive::list_base_hook<boost::intrusive::tag<SameEventTag>>;
    using DeathTimeHook = boost::intrusive::list_base_hook<boost::intrusive::tag<DeathTimeTag>>;
    /// The entries of one key, oldest first.
    using SameEvents = boost::intrusive::list<Record, boost::intrusive::base_hook<SameEventHook>>;
    using ByKey = std::unordered_map<Key, SameEvents, KeyHash>;
    /// Small, as every event brings one that has long left the processor's caches back into them.
    struct Record : SameEventHook, DeathTimeHook {
        boost::posix_time::ptime deathTime;
        std::uint64_t number;             ///< counts the entries in the order in which they were added
        const Key* key;                   ///< the one under which it is found
        KnxStack::GroupValue floatValue;  ///< the bytes of a float, of which the key has the text only
    };
    /// All entries, those that die first at the front. A new one belongs to the back, but for a clock that was set back
    /// since the last sweep.
    using ByDeathTime = boost::intrusive::list<Record, boost::intrusive::base_hook<DeathTimeHook>>;

    static bool IsFloat(const FilterEntry& entry);
    static Key MakeKey(const FilterEntry& entry);
    static FilterEntry MakeEntry(const Record& record);
    void Remove(ByKey::iterator sameEvents, Record& record);

    log4cplus::Logger logger_;
    std::uint64_t added_ = 0;
    ByKey byKey_;
    ByDeathTime byDeathTime_;  ///< owns the records
};

}  // namespace Zandrel

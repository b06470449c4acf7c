#include "EventFilter.h"

#include <algorithm>
#include <array>
#include <boost/functional/hash.hpp>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <memory>
#include <utility>

#include "DptTable.h"
#include "Orn/Durations.h"
#include "Orn/Logging.h"
#include "ValueText.h"

namespace Zandrel {

namespace {

/// "%f" of the largest float has 46 characters.
constexpr std::size_t MaxFloatText = 64;

std::string FloatText(float value) {
    if (std::isnan(value)) {
        return "nan";  // of either sign
    }
    std::array<char, MaxFloatText> text{};
    const int length = std::snprintf(text.data(), text.size(), "%f", static_cast<double>(value));
    return {text.data(), static_cast<std::size_t>(length)};
}

std::string Describe(const FilterEntry& entry) {
    return (MessageStream{} << "CO: " << entry.co << ", value: " << DescribeGroupValue(entry.value, entry.dpt)
                            << ", deathTime: " << DescribeTime(entry.deathTime))
        .Text();
}

}  // namespace

EventFilter::EventFilter(log4cplus::Logger logger) : logger_(std::move(logger)) {}

EventFilter::~EventFilter() {
    byKey_.clear();
    byDeathTime_.clear_and_dispose(std::default_delete<Record>());
}

bool EventFilter::IsFloat(const FilterEntry& entry) {
    return GetMainNumber(entry.dpt) == FloatMainNumber && entry.value.GetSize() == sizeof(float);
}

EventFilter::Key EventFilter::MakeKey(const FilterEntry& entry) {
    const auto& bytes = entry.value.GetBytes();
    Key key{entry.co, entry.dpt,
            IsFloat(entry) ? FloatText(entry.value.GetFloatValue()) : std::string(bytes.begin(), bytes.end()), 0};
    key.hash = std::hash<std::string>{}(key.value);
    boost::hash_combine(key.hash, key.co);
    boost::hash_combine(key.hash, key.dpt);
    return key;
}

FilterEntry EventFilter::MakeEntry(const Record& record) {
    const Key& key = *record.key;
    const bool isInKey = record.floatValue.GetSize() == 0;
    return {key.co, key.dpt, isInKey ? KnxStack::GroupValue({key.value.begin(), key.value.end()}) : record.floatValue,
            record.deathTime};
}

void EventFilter::AddEvent(FilterEntry entry) {
    ORN_LOG_PLAIN(logger_, DEBUG, "Adding event (" << Describe(entry) << ")");
    auto record = std::make_unique<Record>();
    const auto sameEvents = byKey_.try_emplace(MakeKey(entry)).first;
    // From here on nothing throws.
    record->deathTime = entry.deathTime;
    record->number = ++added_;
    record->key = &sameEvents->first;
    if (IsFloat(entry)) {
        record->floatValue = std::move(entry.value);
    }
    sameEvents->second.push_back(*record);
    auto next = byDeathTime_.end();
    while (next != byDeathTime_.begin() && std::prev(next)->deathTime > record->deathTime) {
        --next;
    }
    byDeathTime_.insert(next, *record.release());
}

bool EventFilter::RemoveEvent(const FilterEntry& probe) {
    const auto sameEvents = byKey_.find(MakeKey(probe));
    if (sameEvents == byKey_.end()) {
        return false;
    }
    Record& oldest = sameEvents->second.front();
    ORN_LOG_PLAIN(logger_, DEBUG, "Removing event (" << Describe(MakeEntry(oldest)) << ")");
    Remove(sameEvents, oldest);
    return true;
}

void EventFilter::RemoveExpired(boost::posix_time::ptime now) {
    const auto latest = now + Durations::ToPosixTime(Durations::EchoLifetime);
    for (auto i = byDeathTime_.rbegin(); i != byDeathTime_.rend() && i->deathTime > latest; ++i) {
        i->deathTime = latest;
    }
    std::vector<Record*> expired;
    for (auto i = byDeathTime_.begin(); i != byDeathTime_.end() && i->deathTime <= now; ++i) {
        expired.push_back(&*i);
    }
    std::sort(expired.begin(), expired.end(), [](const Record* a, const Record* b) { return a->number < b->number; });
    for (Record* const record : expired) {
        ORN_LOG_PLAIN(logger_, DEBUG, "Expired event to be removed (" << Describe(MakeEntry(*record)) << ")");
        Remove(byKey_.find(*record->key), *record);
    }
}

void EventFilter::Remove(ByKey::iterator sameEvents, Record& record) {
    sameEvents->second.erase(SameEvents::s_iterator_to(record));
    if (sameEvents->second.empty()) {
        byKey_.erase(sameEvents);
    }
    byDeathTime_.erase_and_dispose(ByDeathTime::s_iterator_to(record), std::default_delete<Record>());
}

}  // namespace Zandrel

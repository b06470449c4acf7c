#include "CoValues.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_options.hpp>
#include <boost/thread/lock_types.hpp>

namespace LocalDevice {

using Zandrel::ZANVALUE;

CoValues::CoValues(const std::map<std::uint16_t, DeviceModel::Co>& cos) {
    for (const auto& [number, state] : cos) {
        cos_[number].state = state;
    }
}

bool CoValues::Exists(std::uint16_t co) const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return cos_.count(co) != 0;
}

std::optional<ZANVALUE> CoValues::Get(std::uint16_t co) const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const auto found = cos_.find(co);
    return found == cos_.end() ? std::nullopt : found->second.state.value;
}

bool CoValues::Set(std::uint16_t co, const ZANVALUE& value, TimePoint now, const std::function<bool()>& send) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    if (!send()) {
        return false;
    }
    Co& entry = cos_.at(co);
    ForgetLateReports(entry, now);
    if (entry.state.eventAlways || entry.state.value != value) {
        entry.writes.push_back({value, now});
    }
    entry.state.value = value;
    return true;
}

bool CoValues::IsNews(std::uint16_t co, const ZANVALUE& value, TimePoint arrival) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const auto found = cos_.find(co);
    if (found == cos_.end()) {
        return false;
    }
    Co& entry = found->second;
    if (TakeOwnReport(entry, value, arrival)) {
        return false;
    }
    if (entry.writes.empty()) {
        entry.state.value = value.GetType() == ZANVALUE::Type::None ? std::nullopt : std::optional(value);
    }
    return true;
}

bool CoValues::TakeOwnReport(std::uint16_t co, const ZANVALUE& value, TimePoint arrival) {
    const boost::unique_lock<boost::mutex> lock(mutex_, boost::try_to_lock);
    if (!lock) {
        return false;
    }
    const auto found = cos_.find(co);
    return found != cos_.end() && TakeOwnReport(found->second, value, arrival);
}

bool CoValues::TakeOwnReport(Co& entry, const ZANVALUE& value, TimePoint arrival) {
    ForgetLateReports(entry, arrival);
    if (entry.writes.empty() || entry.writes.front().value != value) {
        return false;
    }
    entry.writes.pop_front();
    return true;
}

void CoValues::ForgetLateReports(Co& entry, TimePoint now) {
    while (!entry.writes.empty() && entry.writes.front().time + ReportLifetime < now) {
        entry.writes.pop_front();
    }
}

void CoValues::ForgetWrites() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    for (auto& [number, entry] : cos_) {
        entry.writes.clear();
    }
}

}  // namespace LocalDevice

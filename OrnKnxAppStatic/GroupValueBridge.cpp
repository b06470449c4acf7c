#include "GroupValueBridge.h"

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <cmath>
#include <utility>

#include "AppIdentity.h"
#include "DeviceStackConnection.h"
#include "DptTable.h"
#include "GroupObjectWriter.h"
#include "Orn/Durations.h"
#include "TickerThreadManager.h"
#include "ValueText.h"
#include "Zandrel/EncodedString.h"
#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/KnxOdsMapping.h"

namespace Zandrel {

namespace {

/// False also for a value of a wrong length, which does not convert either.
bool IsInfinite(const KnxStack::GroupValue& value, std::uint32_t dpt) {
    return GetMainNumber(dpt) == FloatMainNumber && value.GetSize() == sizeof(float) &&
           std::isinf(value.GetFloatValue());
}

}  // namespace

WallClock LocalWallClock() {
    return [] { return boost::posix_time::microsec_clock::local_time(); };
}

GroupValueBridge::GroupValueBridge(PrefixedLogger log, std::shared_ptr<const AppIdentity> identity,
                                   const DptTable& dpts, const GroupObjectWriter& writer, TickerThreadManager& tickers,
                                   WallClock wallClock)
    : log_(std::move(log)),
      identity_(std::move(identity)),
      dpts_(dpts),
      writer_(writer),
      tickers_(tickers),
      wallClock_(std::move(wallClock)),
      filter_(log_.GetLogger()) {}

void GroupValueBridge::SetMessengers(SetValueFunction setValue, GetValueFunction getValue) {
    auto messengers = std::make_shared<const Messengers>(Messengers{std::move(setValue), std::move(getValue)});
    const boost::lock_guard<boost::mutex> lock(messengersMutex_);
    messengers_.swap(messengers);
}

std::shared_ptr<const GroupValueBridge::Messengers> GroupValueBridge::GetMessengers() const {
    const boost::lock_guard<boost::mutex> lock(messengersMutex_);
    return messengers_;
}

std::optional<unsigned long> GroupValueBridge::GetValueId(std::uint16_t co) const {
    const auto logicalDevice = identity_->GetLogicalDeviceId();
    if (!logicalDevice) {
        return std::nullopt;
    }
    return KnxOdsMapping::GetCoValueObjModelId(co, logicalDevice->Value());
}

bool GroupValueBridge::UpdateCoValue(std::uint16_t co, const KnxStack::GroupValue& groupValue, bool isResponse) {
    const auto id = GetValueId(co);
    if (!id) {
        return true;
    }
    const auto messengers = GetMessengers();
    if (!messengers->setValue) {
        ORN_LOG(log_, ERROR, "No messenger available to set value");
        return false;
    }
    const std::uint32_t dpt = dpts_.Get(co);
    if (IsInfinite(groupValue, dpt)) {
        ORN_LOG(log_, INFO,
                "Ignoring Infinity (not supported) from the KNX on CO " << co << ": " << groupValue.GetFloatValue());
        return true;
    }
    const auto value = GroupValueToZanValue(groupValue, dpt);
    if (!value) {
        ORN_LOG(log_, ERROR, "Could not decode KNX group value " << DescribeBytes(groupValue));
        return false;
    }
    if (!isResponse) {
        Remember(co, dpt, groupValue);
    }
    if (!messengers->setValue(*id, *value, isResponse)) {
        ORN_LOG(log_, WARN, "Error passing value to devicestack: ID '" << *id);
        return false;
    }
    return true;
}

void GroupValueBridge::Remember(std::uint16_t co, std::uint32_t dpt, const KnxStack::GroupValue& groupValue) {
    const boost::lock_guard<boost::mutex> lock(filterMutex_);
    const auto now = wallClock_();
    filter_.RemoveExpired(now);
    filter_.AddEvent({co, dpt, groupValue, now + Durations::ToPosixTime(Durations::EchoLifetime)});
}

bool GroupValueBridge::WriteValue(unsigned long id, const ZANVALUE& value) {
    const auto logicalDevice = identity_->GetLogicalDeviceId();
    if (!logicalDevice || !writer_.IsAvailable()) {
        return false;
    }
    const auto co = KnxOdsMapping::GetCoNumberFromObjModelId(id, logicalDevice->Value());
    if (!co) {
        return false;
    }
    boost::unique_lock<boost::mutex> lock(filterMutex_);
    const std::uint32_t dpt = dpts_.Get(*co);
    auto groupValue = ZanValueToGroupValue(value, dpt);
    if (!groupValue) {
        ORN_LOG_GLOBAL(FATAL, DescribeUnconvertible(value, *co, dpt));
        return false;
    }
    const FilterEntry event{*co, dpt, std::move(*groupValue), {}};
    if (filter_.RemoveEvent(event)) {
        ORN_LOG(log_, DEBUG, "Drop echo on CO" << *co << ", " << DescribeValue(value));
        return true;
    }
    ORN_LOG(log_, DEBUG, "Value to be written on CO" << *co << ", " << DescribeValue(value));
    filter_.RemoveExpired(wallClock_());
    lock.unlock();
    if (!writer_.MayBeWritten(*co)) {
        return true;
    }
    if (GetMainNumber(dpt) != TextMainNumber) {
        return writer_.WriteValue(*co, event.value);
    }
    const auto text = getLatin1FromUTF8Lossy(UTF8String(value.ToString()));
    if (!text) {
        ORN_LOG_GLOBAL(ERROR, "Cannot convert a non-UTF8 string to Latin-1 for writing to the KNX");
        return false;
    }
    const bool isShown = tickers_.SetText(*co, *text);
    if (!dpts_.TakesTexts(*co)) {
        // A download has changed the type meanwhile, and may have found no ticker to stop yet.
        tickers_.Stop([&co](std::uint16_t other) { return other == *co; });
    }
    return isShown;
}

bool GroupValueBridge::OnGroupValueRead(std::uint16_t co, KnxStack::GroupValue& groupValue) {
    const auto id = GetValueId(co);
    if (!id) {
        return false;
    }
    const auto messengers = GetMessengers();
    if (!messengers->getValue) {
        ORN_LOG(log_, ERROR, "No messenger available to request value");
        return false;
    }
    const Docket docket = messengers->getValue(*id, true);
    switch (Judge(docket)) {
        case Answer::TimedOut:
            ORN_LOG(log_, ERROR, "Request timed out.");
            return false;
        case Answer::Refused:
            ORN_LOG(log_, ERROR, "Error retrieving value from devicestack! " << docket.ReadDeliveryError());
            return false;
        case Answer::Valid:
            break;
    }
    const ZANVALUE value = ZANVALUE::Deserialize(docket.ReadReply());
    const std::uint32_t dpt = dpts_.Get(co);
    auto converted = ZanValueToGroupValue(value, dpt);
    if (!converted) {
        ORN_LOG_GLOBAL(FATAL, "The CO " << co << ", DPT " << dpt
                                        << " value read from the ODS did not convert into a GroupValue "
                                        << DescribeValue(value));
        return false;
    }
    groupValue = std::move(*converted);
    return true;
}

}  // namespace Zandrel

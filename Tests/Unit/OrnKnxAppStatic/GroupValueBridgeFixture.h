#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <vector>

#include "DptTable.h"
#include "GroupObjectWriter.h"
#include "GroupValueBridge.h"
#include "KnxSideFixture.h"
#include "StackAccess.h"
#include "TickerThreadManager.h"
#include "Zandrel/KnxOdsMapping.h"

namespace TestSupport {

constexpr std::uint16_t Co = 5;
constexpr std::uint32_t Switch = Dpt(1, 1);
constexpr std::uint32_t Power = Dpt(14, 56);
constexpr std::uint32_t Text = Dpt(16, 1);

inline const KnxStack::GroupValue On = MakeGroupValue({1});
inline const KnxStack::GroupValue Off = MakeGroupValue({0});

inline unsigned long IdOf(std::uint16_t co) {
    return Zandrel::KnxOdsMapping::GetCoValueObjModelId(co, 1).value();
}

/// A bridge whose CO 5 is a switch, with a device stack that takes values and a wall clock that stands still.
class GroupValueBridgeFixture : public KnxSideFixture {
protected:
    struct Set {
        unsigned long id;
        Zandrel::ZANVALUE value;
        bool isResponse;
        friend bool operator==(const Set& a, const Set& b) {
            return a.id == b.id && a.value == b.value && a.isResponse == b.isResponse;
        }
    };

    GroupValueBridgeFixture() {
        access_.Attach({&stack_.GroupValues(), &stack_.Properties(), nullptr, nullptr});
        SetDpt(Switch);
        Connect();
    }

    void SetDpt(std::uint32_t dpt, std::uint16_t co = Co) { dpts_.Set(co, dpt); }

    void Connect() {
        sut_.SetMessengers(
            [this](unsigned long id, const Zandrel::ZANVALUE& value, bool isResponse) {
                sets_.push_back({id, value, isResponse});
                return deviceStackTakesValues_;
            },
            nullptr);
    }

    bool FromBus(const KnxStack::GroupValue& value, std::uint16_t co = Co) {
        return sut_.UpdateCoValue(co, value, false);
    }
    bool FromDeviceStack(const Zandrel::ZANVALUE& value, std::uint16_t co = Co) {
        return sut_.WriteValue(IdOf(co), value);
    }
    std::vector<FakeGroupValueService::Written> Writes() { return stack_.GroupValues().GetWrites(); }

    boost::posix_time::ptime now_{boost::gregorian::date(2026, 3, 10), boost::posix_time::hours(12)};
    std::vector<Set> sets_;
    bool deviceStackTakesValues_ = true;
    Zandrel::StackAccess access_;
    Zandrel::DptTable dpts_;
    Zandrel::GroupObjectWriter writer_{access_, dpts_};
    Zandrel::TickerThreadManager tickers_{
        log_.GetLogger(),
        [this](std::uint16_t co, const Zandrel::KnxStyleString& text) { return writer_.WriteText(co, text); }, clock_};
    Zandrel::GroupValueBridge sut_{prefixedLog_, identity_, dpts_, writer_, tickers_, [this] { return now_; }};
};

}  // namespace TestSupport

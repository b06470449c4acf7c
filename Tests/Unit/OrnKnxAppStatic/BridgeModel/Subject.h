#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <memory>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "DptTable.h"
#include "GroupObjectWriter.h"
#include "GroupValueBridge.h"
#include "Neighbours.h"
#include "Outcome.h"
#include "PrefixedLogger.h"
#include "SimulatedClock.h"
#include "StackAccess.h"
#include "Step.h"
#include "TickerThreadManager.h"

namespace BridgeModel {

/// The bridge itself, with its filter and its tickers, between neighbours that the steps direct.
class Subject {
public:
    explicit Subject(Answers& answers);
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    /// `expected` tells how much the tickers have to do, on threads of their own, before the step is over.
    Outcome Apply(const Step& step, const Outcome& expected);

private:
    void SetSurroundings(const Surroundings& surroundings);
    void Connect(bool isConnected);
    bool Play(const Step& step, Outcome& outcome);
    bool Answer(const Step& step, Outcome& outcome);
    bool SetValue(unsigned long id, const Zandrel::ZANVALUE& value, bool isResponse);
    Zandrel::Docket GetValue(unsigned long id);

    Answers& answers_;
    Step step_;  ///< the one under way
    bool isConnected_ = false;
    Record record_;
    GroupObjects groupObjects_{record_};
    TestSupport::LogCapture log_{"BridgeModel"};
    TestSupport::GlobalLogCapture globalLog_;
    std::shared_ptr<TestSupport::SimulatedClock> clock_ = std::make_shared<TestSupport::SimulatedClock>();
    boost::posix_time::ptime now_{boost::gregorian::date(2026, 3, 10)};
    std::shared_ptr<Zandrel::AppIdentity> identity_ = std::make_shared<Zandrel::AppIdentity>();
    Zandrel::StackAccess access_;
    Zandrel::DptTable dpts_;
    Zandrel::GroupObjectWriter writer_{access_, dpts_};
    Zandrel::TickerThreadManager tickers_{
        log_.GetLogger(),
        [this](std::uint16_t co, const Zandrel::KnxStyleString& text) { return writer_.WriteText(co, text); }, clock_};
    Zandrel::GroupValueBridge sut_{{log_.GetLogger(), identity_}, identity_, dpts_, writer_, tickers_,
                                   [this] { return now_; }};
};

}  // namespace BridgeModel

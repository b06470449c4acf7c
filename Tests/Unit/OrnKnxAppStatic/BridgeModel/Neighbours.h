#pragma once

#include <atomic>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <map>
#include <string>
#include <vector>

#include "CapturingAppender.h"
#include "DeviceStackConnection.h"
#include "KnxStack/IGroupValueService.h"
#include "Outcome.h"
#include "ScriptedDeviceStack.h"
#include "Step.h"
#include "Zandrel/Docket.h"

namespace BridgeModel {

/// What was done to the neighbours, in order. Thread-safe.
class Record {
public:
    void Add(Effect effect);
    /// Waits until there are `count`, for 10 s at most.
    void WaitFor(std::size_t count);
    /// All, and forgets them.
    std::vector<Effect> Take();

private:
    boost::mutex mutex_;  ///< guards what follows
    boost::condition_variable added_;
    std::vector<Effect> effects_;
};

/// The group objects of a KNX stack, each of which is as the surroundings say. Thread-safe.
class GroupObjects final : public KnxStack::IGroupValueService, private KnxStack::IGroupObject {
public:
    explicit GroupObjects(Record& record) : record_(record) {}

    void Set(const Surroundings& surroundings);

    KnxStack::IGroupObject* GetGroupObject(std::uint16_t number) override;
    void RegisterUser(KnxStack::IGroupValueUser& user) override;
    bool UnregisterUser(KnxStack::IGroupValueUser& user) override;
    bool WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned options) override;

private:
    bool MayBeWritten() const override { return groupObject_ == Surroundings::GroupObject::Writable; }

    Record& record_;
    std::atomic<Surroundings::GroupObject> groupObject_{Surroundings::GroupObject::Writable};
    std::atomic<bool> takes_{true};
};

/// Answers of a device stack to requests for a value. Each was fetched from a real connection once.
class Answers {
public:
    Answers();

    /// The answer to the read request of `step`.
    Zandrel::Docket GetDocket(const Step& step);

private:
    Zandrel::Docket Fetch();
    Zandrel::Docket FetchValue(const std::string& serialised);

    TestSupport::LogCapture log_{"BridgeModel.Answers"};
    TestSupport::ScriptedDeviceStack deviceStack_;
    Zandrel::DeviceStackConnection connection_;
    Zandrel::Docket silence_;
    Zandrel::Docket refusal_;
    std::map<std::string, Zandrel::Docket> values_;  ///< by what they answer, serialised
};

}  // namespace BridgeModel

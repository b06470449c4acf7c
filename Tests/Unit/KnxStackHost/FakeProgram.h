#pragma once

#include <algorithm>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread_only.hpp>
#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Application/PluginLibrary.h"
#include "KnxStack/IApiHub.h"

/// What all application programs of a test have in common: a record of the calls, and what they are to do. Thread-safe.
class ProgramScript {
public:
    /// Called by the program with the number of calls of that kind so far, this one included.
    std::function<int(int)> onInit = [](int) { return 2; };
    std::function<int(int, KnxStack::IApiHub&)> onRestart = [](int, KnxStack::IApiHub&) { return 2; };
    std::function<void(int)> onCreate = [](int) {};

    LocalDevice::ApplicationProgramFactory MakeFactory();

    int Note(const std::string& call) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        calls_.push_back(call);
        threads_.insert(boost::this_thread::get_id());
        changed_.notify_all();
        return Count(call);
    }
    std::vector<std::string> GetCalls() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return calls_;
    }
    /// Waits until a call was made `count` times. False after a long time.
    bool WaitForCall(const std::string& call, int count) {
        boost::unique_lock<boost::mutex> lock(mutex_);
        return changed_.wait_for(lock, boost::chrono::seconds(10), [&] { return Count(call) >= count; });
    }
    int CountCalls(const std::string& call) {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return Count(call);
    }
    std::set<boost::thread::id> GetThreads() {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        return threads_;
    }

private:
    int Count(const std::string& call) const {
        return static_cast<int>(std::count(calls_.begin(), calls_.end(), call));
    }

    boost::mutex mutex_;
    boost::condition_variable changed_;
    std::vector<std::string> calls_;
    std::set<boost::thread::id> threads_;
};

/// An application program that does what a script says.
class FakeProgram : public KnxStack::IApplicationProgram {
public:
    explicit FakeProgram(ProgramScript& script) : script_(script) {}
    ~FakeProgram() override { script_.Note("delete"); }
    FakeProgram(const FakeProgram&) = delete;
    FakeProgram& operator=(const FakeProgram&) = delete;

    int Init(KnxStack::IApiHub& hub) override {
        hub_ = &hub;
        return script_.onInit(script_.Note("init"));
    }
    int OnDeviceRestart() override { return script_.onRestart(script_.Note("restart"), *hub_); }
    int Exit() override {
        script_.Note("exit");
        return 1;
    }

private:
    ProgramScript& script_;
    KnxStack::IApiHub* hub_ = nullptr;
};

inline LocalDevice::ApplicationProgramFactory ProgramScript::MakeFactory() {
    return {[this]() -> KnxStack::IApplicationProgram* {
                onCreate(Note("create"));
                return new FakeProgram(*this);
            },
            [](KnxStack::IApplicationProgram* program) { delete program; }};
}

#include "LoadStateMachine.h"

#include <gtest/gtest.h>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "Orn/Durations.h"
#include "SimulatedClock.h"

namespace {

using boost::chrono::seconds;
using TestSupport::SimulatedClock;
using Zandrel::LoadState;
using Zandrel::LoadStateMachine;
using Lock = boost::unique_lock<boost::mutex>;

constexpr std::uint8_t StartLoading = 1;
constexpr std::uint8_t LoadCompleted = 2;
constexpr std::uint8_t AdditionalLoadControls = 3;
constexpr std::uint8_t Unload = 4;

bool HasChanged(LoadStateMachine& machine) {
    SimulatedClock clock;
    Lock lock(machine.GetMutex());
    return machine.WaitForChange(lock, clock, clock.Now());
}

TEST(LoadStateMachine, StartsUnloadedAndUnchanged) {
    LoadStateMachine sut;

    EXPECT_EQ(sut.GetState(), LoadState::Unloaded);
    EXPECT_FALSE(HasChanged(sut));
}

TEST(LoadStateMachine, LoadCompletedWhileLoadingYieldsLoaded) {
    LoadStateMachine sut;
    sut.OnEvent(StartLoading);

    sut.OnEvent(LoadCompleted);

    EXPECT_EQ(sut.GetState(), LoadState::Loaded);
    EXPECT_TRUE(HasChanged(sut));
}

TEST(LoadStateMachine, LoadCompletedWhileUnloadedLeavesTheStateAndWakesWaiters) {
    LoadStateMachine sut;

    sut.OnEvent(LoadCompleted);

    EXPECT_EQ(sut.GetState(), LoadState::Unloaded);
    EXPECT_TRUE(HasChanged(sut));
}

TEST(LoadStateMachine, AdditionalLoadControlsWhileLoadedAreAnError) {
    LoadStateMachine sut;
    sut.OnEvent(StartLoading);
    sut.OnEvent(LoadCompleted);

    sut.OnEvent(AdditionalLoadControls);

    EXPECT_EQ(sut.GetState(), LoadState::Error);
}

TEST(LoadStateMachine, AdditionalLoadControlsWhileLoadingLeaveTheState) {
    LoadStateMachine sut;
    sut.OnEvent(StartLoading);

    sut.OnEvent(AdditionalLoadControls);

    EXPECT_EQ(sut.GetState(), LoadState::Loading);
}

TEST(LoadStateMachine, StartLoadingInErrorStaysInError) {
    LoadStateMachine sut;
    sut.OnEvent(StartLoading);
    sut.OnEvent(LoadCompleted);
    sut.OnEvent(AdditionalLoadControls);

    sut.OnEvent(StartLoading);

    EXPECT_EQ(sut.GetState(), LoadState::Error);
}

TEST(LoadStateMachine, UnloadLeavesAnyState) {
    LoadStateMachine sut;
    for (const auto& events :
         std::vector<std::vector<std::uint8_t>>{{StartLoading},
                                                {StartLoading, LoadCompleted},
                                                {StartLoading, LoadCompleted, AdditionalLoadControls},
                                                {}}) {
        for (const std::uint8_t event : events) {
            sut.OnEvent(event);
        }

        sut.OnEvent(Unload);

        EXPECT_EQ(sut.GetState(), LoadState::Unloaded);
    }
}

TEST(LoadStateMachine, UnknownEventLeavesTheStateAndWakesWaiters) {
    LoadStateMachine sut;
    sut.OnEvent(StartLoading);
    for (const int event : {0, 5, 255}) {
        sut.ClearChanged();

        sut.OnEvent(static_cast<std::uint8_t>(event));

        EXPECT_EQ(sut.GetState(), LoadState::Loading);
        EXPECT_TRUE(HasChanged(sut));
    }
}

// Unloading cannot be reached by events alone, so the rows of the transition table are checked where they are.
TEST(LoadStateMachine, TransitionsFollowTheTable) {
    using S = LoadState;
    struct Row {
        S from;
        std::uint8_t event;
        S to;
    };
    const std::vector<Row> table{
        {S::Unloaded, 1, S::Loading},  {S::Loaded, 1, S::Loading},     {S::Loading, 1, S::Loading},
        {S::Error, 1, S::Error},       {S::Unloading, 1, S::Error},    {S::Unloaded, 2, S::Unloaded},
        {S::Loaded, 2, S::Loaded},     {S::Loading, 2, S::Loaded},     {S::Error, 2, S::Error},
        {S::Unloading, 2, S::Error},   {S::Unloaded, 3, S::Unloaded},  {S::Loaded, 3, S::Error},
        {S::Loading, 3, S::Loading},   {S::Error, 3, S::Error},        {S::Unloading, 3, S::Error},
        {S::Unloaded, 4, S::Unloaded}, {S::Loaded, 4, S::Unloaded},    {S::Loading, 4, S::Unloaded},
        {S::Error, 4, S::Unloaded},    {S::Unloading, 4, S::Unloaded},
    };
    for (const Row& row : table) {
        EXPECT_EQ(Zandrel::NextLoadState(row.from, row.event), row.to)
            << "from " << static_cast<int>(row.from) << " by event " << static_cast<int>(row.event);
    }
    for (const S state : {S::Unloaded, S::Loaded, S::Loading, S::Error, S::Unloading}) {
        for (const auto event : std::initializer_list<std::uint8_t>{0, 5, 255}) {
            EXPECT_EQ(Zandrel::NextLoadState(state, event), state)
                << "from " << static_cast<int>(state) << " by event " << static_cast<int>(event);
        }
    }
}

TEST(LoadStateMachine, ClearedChangeIsForgotten) {
    LoadStateMachine sut;
    sut.OnEvent(StartLoading);

    sut.ClearChanged();

    EXPECT_FALSE(HasChanged(sut));
    EXPECT_EQ(sut.GetState(), LoadState::Loading);
}

TEST(LoadStateMachine, WaitEndsAtItsDeadline) {
    LoadStateMachine sut;
    SimulatedClock clock;
    const auto deadline = clock.Now() + Zandrel::Durations::LoadStateChangeWait;
    boost::thread advancing([&clock] { clock.Advance(Zandrel::Durations::LoadStateChangeWait); });

    Lock lock(sut.GetMutex());
    const bool changed = sut.WaitForChange(lock, clock, deadline);

    EXPECT_FALSE(changed);
    EXPECT_GE(clock.Now(), deadline);
    EXPECT_TRUE(lock.owns_lock());
    advancing.join();
}

TEST(LoadStateMachine, EventEndsTheWait) {
    LoadStateMachine sut;
    SimulatedClock clock;
    Lock lock(sut.GetMutex());
    boost::thread loading([&sut] { sut.OnEvent(StartLoading); });

    EXPECT_TRUE(sut.WaitForChange(lock, clock, clock.Now() + seconds(2)));

    EXPECT_EQ(sut.GetState(), LoadState::Loading);
    lock.unlock();
    loading.join();
}

TEST(LoadStateMachine, WaitGoesOnAfterAWakeUpWithoutAReason) {
    /// A clock whose first waits end at once.
    class NervousClock final : public Zandrel::Clock {
    public:
        explicit NervousClock(LoadStateMachine& machine) : machine_(machine) {}
        TimePoint Now() const override { return TimePoint{}; }
        void WaitUntil(boost::condition_variable& /*condition*/, Lock& lock, TimePoint /*deadline*/) override {
            if (++waits_ == 3) {
                lock.unlock();
                machine_.OnEvent(StartLoading);
                lock.lock();
            }
        }
        int GetWaits() const { return waits_; }

    private:
        LoadStateMachine& machine_;
        int waits_ = 0;
    };
    LoadStateMachine sut;
    NervousClock clock(sut);
    Lock lock(sut.GetMutex());

    EXPECT_TRUE(sut.WaitForChange(lock, clock, clock.Now() + seconds(2)));
    EXPECT_EQ(clock.GetWaits(), 3);
}

TEST(LoadStateMachine, EarlierEventNeedsNoWait) {
    LoadStateMachine sut;
    SimulatedClock clock;
    sut.OnEvent(StartLoading);
    Lock lock(sut.GetMutex());

    EXPECT_TRUE(sut.WaitForChange(lock, clock, clock.Now() + seconds(2)));
    EXPECT_TRUE(sut.WaitForChange(lock, clock, clock.Now() + seconds(2)));
}

TEST(LoadStateMachine, EventMovesTheStateWhileACycleHoldsTheMutex) {
    LoadStateMachine sut;
    Lock lock(sut.GetMutex());
    boost::thread loading([&sut] { sut.OnEvent(StartLoading); });

    while (sut.GetState() != LoadState::Loading) {
        boost::this_thread::yield();
    }
    lock.unlock();
    loading.join();

    EXPECT_TRUE(HasChanged(sut));
}

TEST(LoadStateMachine, WaitIsAnInterruptionPoint) {
    LoadStateMachine sut;
    Zandrel::Clock clock;
    bool interrupted = false;
    boost::thread waiting([&] {
        Lock lock(sut.GetMutex());
        try {
            sut.WaitForChange(lock, clock, clock.Now() + boost::chrono::hours(1));
        } catch (const boost::thread_interrupted&) {
            interrupted = true;
        }
    });

    waiting.interrupt();
    waiting.join();

    EXPECT_TRUE(interrupted);
}

TEST(LoadStateMachine, EventsFromManyThreadsAreAllTaken) {
    LoadStateMachine sut;
    boost::thread_group threads;
    for (int i = 0; i < 4; ++i) {
        threads.create_thread([&sut] {
            for (int event = 0; event < 1000; ++event) {
                sut.OnEvent(static_cast<std::uint8_t>(event % 6));
            }
        });
    }
    threads.join_all();
    sut.OnEvent(Unload);

    EXPECT_EQ(sut.GetState(), LoadState::Unloaded);
}

}  // namespace

#include "InitThread.h"

#include <gtest/gtest.h>

#include <boost/thread/lock_types.hpp>
#include <boost/thread/thread_only.hpp>
#include <memory>

#include "ApplicationCore.h"
#include "CapturingAppender.h"
#include "ScriptedDeviceStack.h"

namespace {

class NoHandler final : public Ostra::IDeviceStackClient::IEventHandler {
public:
    bool OnValueChanged(unsigned long, const std::string&, const std::string&) override { return true; }
    bool OnConnectionChanged(bool) override { return true; }
};

/// Whoever waits for the mutex finds the restart of the cycle before over.
TEST(InitThread, ReleasesItsFinalizerWhileItStillHoldsTheHandlersMutex) {
    TestSupport::LogCapture log;
    TestSupport::ScriptedDeviceStack deviceStack;
    Zandrel::Environment environment;
    environment.clientFactory = deviceStack.GetFactory();
    NoHandler handler;
    const auto core = std::make_shared<Zandrel::ApplicationCore>(log.GetLogger(), environment, handler);
    Zandrel::LoadStateMachine& loadState = core->knxHandler.GetLoadState();
    loadState.OnEvent(1);  // nothing to wait for
    bool isReleased = false;
    bool wasHeld = false;
    const auto tryLock = [&loadState, &wasHeld] {
        const boost::unique_lock<boost::mutex> lock(loadState.GetMutex(), boost::try_to_lock);
        wasHeld = !lock.owns_lock();
    };
    Zandrel::InitThread sut(core, std::make_shared<Zandrel::ThreadControl>(),
                            std::make_shared<Zandrel::Finalizer>([&isReleased, &tryLock] {
                                isReleased = true;
                                boost::thread(tryLock).join();
                            }));

    sut();

    EXPECT_TRUE(isReleased);
    EXPECT_TRUE(wasHeld);
    tryLock();
    EXPECT_FALSE(wasHeld) << "the cycle has ended";
}

}  // namespace

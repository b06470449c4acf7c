#pragma once

#include <boost/thread/lock_types.hpp>
#include <boost/thread/thread.hpp>
#include <functional>
#include <memory>

#include "KnxHandler.h"
#include "KnxSideFixture.h"
#include "Zandrel/KnxOdsMapping.h"

namespace TestSupport {

using Lock = boost::unique_lock<boost::mutex>;

inline void SpinUntil(const std::function<bool()>& condition) {
    while (!condition()) {
        boost::this_thread::yield();
    }
}

/// A handler on a stack whose application was downloaded.
class KnxHandlerFixture : public KnxSideFixture {
protected:
    static constexpr std::uint16_t Application = FakeKnxStack::ApplicationObject;

    /// Brings the handler up to where values travel.
    void Start() {
        ASSERT_TRUE(sut_->Init(stack_));
        stack_.DownloadCo(5, Dpt(1, 1));
        stack_.DownloadCo(6, Dpt(16, 1));
        ASSERT_TRUE(RunCycle());
        sut_->SetMessengers([](unsigned long, const Zandrel::ZANVALUE&, bool) { return true; },
                            [](unsigned long, bool) { return Zandrel::Docket(); });
        log_.TakeLines();
    }

    /// What an init cycle does with the handler.
    bool RunCycle() {
        const Lock lock(sut_->GetLoadState().GetMutex());
        sut_->ResetApplicationProgram1Memory();
        Zandrel::KnxConfiguration configuration;
        return sut_->IsLoadStateMachineLoaded() && sut_->InitApplicationProgram1Memory(stack_) &&
               sut_->InitObjectModel(Device, configuration);
    }

    bool Write(std::uint16_t co, const Zandrel::ZANVALUE& value) {
        return sut_->WriteValue(Zandrel::KnxOdsMapping::GetCoValueObjModelId(co, 1).value(), value);
    }

    static Lines InitError(const std::string& message) { return {{"ERROR", "[app] Init - " + message}}; }

    std::unique_ptr<Zandrel::KnxHandler> sut_ =
        std::make_unique<Zandrel::KnxHandler>(log_.GetLogger(), identity_, clock_);
};

}  // namespace TestSupport

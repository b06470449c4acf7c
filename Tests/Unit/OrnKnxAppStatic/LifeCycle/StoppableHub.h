#pragma once

#include "FakeKnxStack.h"
#include "Gate.h"

namespace LifeCycle {

/// The hub of a fake stack, with stops where a cycle calls it.
class StoppableHub final : public KnxStack::IApiHub {
public:
    StoppableHub(TestSupport::FakeKnxStack& stack, Gate& gate) : stack_(stack), gate_(gate) {}

    KnxStack::IGroupValueService* GetGroupValueService() override { return stack_.GetGroupValueService(); }
    KnxStack::IPropertyService* GetPropertyService() override { return stack_.GetPropertyService(); }
    KnxStack::IMemory* GetApplicationPrg1Memory() override {
        gate_.Pass(Stop::Memory);
        return stack_.GetApplicationPrg1Memory();
    }
    void SetRunState(bool running) override {
        gate_.Pass(Stop::RunState);
        stack_.SetRunState(running);
    }

private:
    TestSupport::FakeKnxStack& stack_;
    Gate& gate_;
};

}  // namespace LifeCycle

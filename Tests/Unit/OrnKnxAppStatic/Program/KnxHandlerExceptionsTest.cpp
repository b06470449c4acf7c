#include <functional>
#include <ostream>
#include <string>

#include "AllocationFault.h"
#include "KnxHandlerFixture.h"

namespace {

using KnxStack::BinaryData;
using TestSupport::AllocationFault;
using TestSupport::FakeKnxStack;
using TestSupport::MakeGroupValue;
using Zandrel::KnxHandler;

constexpr std::uint16_t Application = FakeKnxStack::ApplicationObject;
constexpr std::uint16_t LoadStateControl = 5;

/// A call of the handler that allocates, and what it returns when that fails.
struct FailingCall {
    const char* function;
    bool result;
    std::function<bool(KnxHandler&, FakeKnxStack&)> call;
};

std::ostream& operator<<(std::ostream& stream, const FailingCall& call) {
    return stream << call.function;
}

class KnxHandlerExceptions : public TestSupport::KnxHandlerFixture, public testing::WithParamInterface<FailingCall> {};

/// The way to a device stack that needs memory.
void Allocate() {
    ::operator delete(::operator new(1));  // a direct call: the compiler cannot leave it out
}

TEST_P(KnxHandlerExceptions, EndInOneLineAndAFailure) {
    Start();
    sut_->SetMessengers(
        [](unsigned long, const Zandrel::ZANVALUE&, bool) {
            Allocate();
            return true;
        },
        [](unsigned long, bool) {
            Allocate();
            return Zandrel::Docket();
        });
    bool result = true;
    {
        const AllocationFault fault;
        result = GetParam().call(*sut_, stack_);
        EXPECT_TRUE(fault.HasHappened());
    }

    EXPECT_EQ(result, GetParam().result);
    EXPECT_EQ(
        log_.GetLines(),
        (Lines{{"ERROR", "[app] " + std::string(GetParam().function) + " - Unexpected failure: std::bad_alloc"}}));
    EXPECT_TRUE(globalLog_.GetLines().empty());
}

const KnxStack::GroupValue SwitchedOn = MakeGroupValue({1});
const Zandrel::ZANVALUE Boolean = Zandrel::ZANVALUE::FromBoolean(true);
const BinaryData NoEvent;

INSTANTIATE_TEST_SUITE_P(
    Calls, KnxHandlerExceptions,
    testing::Values(FailingCall{"OnGroupValueWrite", false,
                                [](KnxHandler& sut, FakeKnxStack&) { return sut.OnGroupValueWrite(5, SwitchedOn); }},
                    FailingCall{"OnGroupValueResponse", false,
                                [](KnxHandler& sut, FakeKnxStack&) { return sut.OnGroupValueResponse(5, SwitchedOn); }},
                    FailingCall{"OnGroupValueRead", false,
                                [](KnxHandler& sut, FakeKnxStack&) {
                                    KnxStack::GroupValue value;
                                    return sut.OnGroupValueRead(5, value, false);
                                }},
                    FailingCall{"OnPropertyRead", false,
                                [](KnxHandler& sut, FakeKnxStack&) {
                                    BinaryData data;
                                    return sut.OnPropertyRead(Application, LoadStateControl, data);
                                }},
                    // Whatever was written: the stack must not take it for its own.
                    FailingCall{"OnPropertyWrite", true,
                                [](KnxHandler& sut, FakeKnxStack&) {
                                    return sut.OnPropertyWrite(Application, LoadStateControl, NoEvent);
                                }},
                    FailingCall{"WriteValue", false,
                                [](KnxHandler& sut, FakeKnxStack&) {
                                    return sut.WriteValue(*Zandrel::KnxOdsMapping::GetCoValueObjModelId(5, 1), Boolean);
                                }},
                    FailingCall{"Init", false, [](KnxHandler& sut, FakeKnxStack& stack) { return sut.Init(stack); }},
                    FailingCall{
                        "InitApplicationProgram1Memory", false,
                        [](KnxHandler& sut, FakeKnxStack& stack) { return sut.InitApplicationProgram1Memory(stack); }},
                    FailingCall{"IsLoadStateMachineLoaded", false,
                                [](KnxHandler& sut, FakeKnxStack&) { return sut.IsLoadStateMachineLoaded(3); }},
                    FailingCall{"InitObjectModel", false,
                                [](KnxHandler& sut, FakeKnxStack&) {
                                    Zandrel::KnxConfiguration configuration;
                                    return sut.InitObjectModel(*Zandrel::LogicalDeviceId::From(1), configuration);
                                }}),
    [](const auto& instance) { return instance.param.function; });

}  // namespace

#include "DemoScript.h"

#include <array>
#include <utility>

#include "JsonFile.h"
#include "KnxAddress.h"

namespace LocalDevice {

namespace {

constexpr std::uint32_t MaxTimeoutMs = 60'000;

/// The member that makes a step what it is, by the number of the kind.
constexpr std::array<std::pair<const char*, DemoStep::Kind>, 3> StepKinds{
    {{"write", DemoStep::Kind::Write}, {"expect", DemoStep::Kind::Expect}, {"await", DemoStep::Kind::Await}}};

void ReadTelegram(const JsonValue& telegram, DemoStep& step) {
    const JsonValue address = telegram.Member("address");
    const auto groupAddress = ParseGroupAddress(address.Text());
    if (!groupAddress) {
        address.FailExpecting("a group address, such as \"1/0/1\"");
    }
    step.groupAddress = *groupAddress;
    step.value = telegram.Member("value").Text();
}

DemoStep::Kind ReadKind(const JsonValue& step) {
    step.AllowOnly({"title", "write", "expect", "await"});
    std::vector<DemoStep::Kind> kinds;
    for (const auto& [key, kind] : StepKinds) {
        if (step.FindMember(key)) {
            kinds.push_back(kind);
        }
    }
    if (kinds.size() != 1) {
        step.Fail(R"(expected one member "write", "expect" or "await")");
    }
    return kinds.front();
}

DemoStep ReadStep(const JsonValue& value) {
    DemoStep step;
    step.kind = ReadKind(value);
    step.title = value.Member("title").Text();
    const JsonValue telegram = value.Member(StepKinds.at(static_cast<std::size_t>(step.kind)).first);
    if (step.kind == DemoStep::Kind::Write) {
        telegram.AllowOnly({"address", "value"});
    } else {
        telegram.AllowOnly({"address", "value", "withinMs"});
        step.timeout = boost::chrono::milliseconds(telegram.Member("withinMs").WholeNumber(1, MaxTimeoutMs));
    }
    ReadTelegram(telegram, step);
    return step;
}

}  // namespace

DemoScript LoadDemoScript(const std::string& path) {
    const JsonFile file = JsonFile::Load(path);
    const JsonValue root = file.Root();
    root.AllowOnly({"title", "steps"});
    DemoScript script;
    script.title = root.Member("title").Text();
    for (const JsonValue& step : root.Member("steps").Elements()) {
        script.steps.push_back(ReadStep(step));
    }
    return script;
}

}  // namespace LocalDevice

#include "DemoScript.h"

#include "JsonFile.h"
#include "KnxAddress.h"

namespace LocalDevice {

namespace {

constexpr std::uint32_t MaxTimeoutMs = 60'000;

void ReadTelegram(const JsonValue& telegram, DemoStep& step) {
    const JsonValue address = telegram.Member("address");
    const auto groupAddress = ParseGroupAddress(address.Text());
    if (!groupAddress) {
        address.FailExpecting("a group address, such as \"1/0/1\"");
    }
    step.groupAddress = *groupAddress;
    step.value = telegram.Member("value").Text();
}

DemoStep ReadStep(const JsonValue& value) {
    value.AllowOnly({"title", "write", "expect"});
    DemoStep step;
    step.title = value.Member("title").Text();
    const auto write = value.FindMember("write");
    const auto expect = value.FindMember("expect");
    if (write.has_value() == expect.has_value()) {
        value.Fail(R"(expected either a member "write" or a member "expect")");
    }
    if (write) {
        write->AllowOnly({"address", "value"});
        step.kind = DemoStep::Kind::Write;
        ReadTelegram(*write, step);
    } else {
        expect->AllowOnly({"address", "value", "withinMs"});
        step.kind = DemoStep::Kind::Expect;
        ReadTelegram(*expect, step);
        step.timeout = boost::chrono::milliseconds(expect->Member("withinMs").WholeNumber(1, MaxTimeoutMs));
    }
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

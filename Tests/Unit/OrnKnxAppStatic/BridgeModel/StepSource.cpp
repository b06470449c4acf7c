#include "StepSource.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <string>

#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/KnxOdsMapping.h"

namespace BridgeModel {

using Zandrel::ZANVALUE;
namespace Mapping = Zandrel::KnxOdsMapping;

namespace {

constexpr std::uint16_t RetypedCo = 2;
constexpr std::size_t MaxPending = 40;
constexpr std::int64_t Microsecond = 1;
constexpr std::int64_t Second = 1'000'000;
constexpr std::int64_t Hour = 3600 * Second;

struct Weight {
    Step::What what;
    std::size_t weight;
};

// Tickers are threads: what concerns them is kept rare.
constexpr std::array<Weight, 9> Weights{{{Step::What::BusWrite, 500},
                                         {Step::What::BusResponse, 100},
                                         {Step::What::BusRead, 200},
                                         {Step::What::AppWrite, 900},
                                         {Step::What::TimePasses, 250},
                                         {Step::What::TickersGoOn, 4},
                                         {Step::What::NewSettings, 8},
                                         {Step::What::NewType, 30},
                                         {Step::What::TickersEnd, 4}}};

const std::vector<std::int64_t> ShortTimes{0,          Microsecond, Second / 2, Second,      Second,
                                           2 * Second, 3 * Second,  5 * Second, 10 * Second, 1'234'567};
const std::vector<std::int64_t> LongTimes{
    20 * Second - Microsecond, 20 * Second, 21 * Second, Hour, -Microsecond, -Second, -15 * Second, -Hour};
const std::vector<std::int64_t> TickerTimes{1, 4, 9, 10, 20, 40, 41, 85};

constexpr std::array<float, 11> Floats{0.0F,
                                       -0.0F,
                                       21.5F,
                                       21.500002F,
                                       0.1234561F,
                                       0.1234562F,
                                       1e-7F,
                                       -2e-7F,
                                       std::numeric_limits<float>::max(),
                                       std::numeric_limits<float>::infinity(),
                                       -std::numeric_limits<float>::infinity()};

/// Of three kinds: not a number, twice, and too short.
const std::vector<Bytes> OddFloats{{0x7F, 0xC0, 0, 0}, {0xFF, 0xC0, 0, 0x2A}, {0x41, 0xAC, 0}};

/// In UTF-8, but for one.
const std::vector<std::string> Texts{
    "",
    "A",
    "  A ",
    "21.5",
    "Gr\xC3\xBC\xC3\x9F Gott",
    "ABCDEFGHIJKLMN",
    "ABCDEFGHIJKLMNO",
    "ABCDEFGHIJKLMNOP and more",
    "                  ",
    "        ABC        ",
    "  A page of text, and another one  ",
    "5 \xE2\x82\xAC",
    "Gr\xFC\xDF Gott",
    std::string("AB\0CDEFGHIJKLMNOPQ", 18),
};

const std::vector<ZANVALUE> OddValues{ZANVALUE(), ZANVALUE::FromText("it's on"), ZANVALUE::FromInteger(-1),
                                      ZANVALUE::FromInteger(300), ZANVALUE::FromFloat(0.1)};

bool IsOfType(std::uint32_t dpt, std::uint32_t mainNumber) {
    return dpt >> 16U == mainNumber;
}

Bytes ToTextBytes(const std::string& text) {
    return Zandrel::ZanValueToGroupValue(ZANVALUE::FromText(text), Dpt(16, 1)).value().GetBytes();
}

/// The value as others would write it: the same for the bus, or nearly so.
ZANVALUE Rewrite(const ZANVALUE& value, std::size_t manner) {
    const auto number = value.GetFloat();
    if (manner == 0 || !number) {
        return ZANVALUE::FromText(value.ToString());
    }
    if (manner == 1) {
        return ZANVALUE::FromFloat(*number);
    }
    const std::string sixDecimals = std::to_string(*number);
    return ZANVALUE::FromSingle(std::strtof(sixDecimals.c_str(), nullptr));
}

}  // namespace

std::size_t StepSource::Below(std::size_t end) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_);
}

template <typename Choices>
auto StepSource::PickOf(const Choices& choices) {
    return choices[Below(choices.size())];
}

Step StepSource::MakeStep() {
    Step step;
    step.what = PickEvent();
    step.surroundings = PickSurroundings();
    switch (step.what) {
        case Step::What::BusWrite:
        case Step::What::BusResponse:
            FillTelegram(step);
            break;
        case Step::What::BusRead:
            FillRead(step);
            break;
        case Step::What::AppWrite:
            FillAppWrite(step);
            break;
        case Step::What::TimePasses:
            step.time = PickTime();
            break;
        case Step::What::TickersGoOn:
            step.time = PickOf(TickerTimes);
            step.surroundings.isAttached = true;  // else nobody could tell when they are through
            break;
        case Step::What::NewSettings:
            step.speed = static_cast<unsigned>(Below(4));
            step.wrapping = static_cast<unsigned>(Below(4));
            break;
        case Step::What::NewType:
            FillNewType(step);
            break;
        case Step::What::TickersEnd:
            break;
    }
    return step;
}

void StepSource::Learn(const Step& step, const Outcome& outcome) {
    if (!step.surroundings.deviceStackTakes) {
        return;
    }
    for (const Effect& effect : outcome.effects) {
        const bool isSet = effect.what == Effect::What::Set || effect.what == Effect::What::SetResponse;
        if (isSet && (!step.surroundings.echoesAtOnce || OnceIn(4))) {
            pending_.push_back({effect.number, ZANVALUE::Deserialize(effect.content)});
        }
    }
    if (pending_.size() > MaxPending) {
        pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(Below(pending_.size())));  // it is lost
    }
}

Step::What StepSource::PickEvent() {
    static const std::size_t sum = [] {
        std::size_t total = 0;
        for (const Weight& weight : Weights) {
            total += weight.weight;
        }
        return total;
    }();
    std::size_t lot = Below(sum);
    const auto* weight = Weights.begin();
    while (lot >= weight->weight) {
        lot -= weight->weight;
        ++weight;
    }
    return weight->what;
}

Surroundings StepSource::PickSurroundings() {
    Surroundings surroundings;
    surroundings.isConnected = !OnceIn(50);
    surroundings.deviceStackTakes = !OnceIn(30);
    surroundings.echoesAtOnce = OnceIn(6);
    surroundings.isAttached = !OnceIn(50);
    surroundings.stackTakes = !OnceIn(20);
    if (OnceIn(20)) {
        surroundings.groupObject = OnceIn(2) ? Surroundings::GroupObject::CutOff : Surroundings::GroupObject::Missing;
    }
    return surroundings;
}

CoType StepSource::PickCo() {
    static const std::vector<CoType> withoutDataPoint{{0, 0}, {521, 0}};
    return OnceIn(30) ? PickOf(withoutDataPoint) : PickOf(types_);
}

Bytes StepSource::PickBytes(std::uint32_t dpt) {
    const auto digit = static_cast<std::uint8_t>(Below(4));
    if (OnceIn(40)) {
        return Bytes(Below(5), digit);  // NOLINT(modernize-return-braced-init-list): braces list bytes
    }
    if (IsOfType(dpt, 14)) {
        return OnceIn(4) ? PickOf(OddFloats)
                         : Zandrel::ZanValueToGroupValue(ZANVALUE::FromSingle(PickOf(Floats)), dpt).value().GetBytes();
    }
    if (IsOfType(dpt, 16)) {
        Bytes text = ToTextBytes(PickOf(Texts));
        text.back() = OnceIn(10) ? std::uint8_t{'!'} : text.back();
        return text;
    }
    if (IsOfType(dpt, 7) || IsOfType(dpt, 9)) {
        return {0, digit};
    }
    return {static_cast<std::uint8_t>(digit % 2)};
}

ZANVALUE StepSource::PickValue(std::uint32_t dpt) {
    if (OnceIn(12)) {
        return PickOf(OddValues);
    }
    if (IsOfType(dpt, 16)) {
        return ZANVALUE::FromText(PickOf(Texts));
    }
    if (IsOfType(dpt, 14)) {
        const float number = OnceIn(6) ? std::numeric_limits<float>::quiet_NaN() : PickOf(Floats);
        return OnceIn(2) ? ZANVALUE::FromSingle(number) : ZANVALUE::FromFloat(static_cast<double>(number));
    }
    if (IsOfType(dpt, 9)) {
        return ZANVALUE::FromFloat(static_cast<double>(Below(4)) / 100);
    }
    return ZANVALUE::FromInteger(static_cast<std::int64_t>(Below(3)));
}

std::int64_t StepSource::PickTime() {
    return OnceIn(8) ? PickOf(LongTimes) : PickOf(ShortTimes);
}

void StepSource::FillTelegram(Step& step) {
    const CoType type = PickCo();
    step.co = type.co;
    step.bytes = PickBytes(type.dpt);
}

void StepSource::FillRead(Step& step) {
    static const std::vector<Step::Answer> answers{Step::Answer::Value, Step::Answer::Value, Step::Answer::Silence,
                                                   Step::Answer::Refusal};
    const CoType type = PickCo();
    step.co = type.co;
    step.bytes = {0xAA};
    step.answer = PickOf(answers);
    step.value = PickValue(type.dpt);
}

void StepSource::FillAppWrite(Step& step) {
    if (!pending_.empty() && !OnceIn(3)) {
        FillEcho(step);
    } else {
        FillOwnValue(step);
    }
}

void StepSource::FillEcho(Step& step) {
    const std::size_t index = OnceIn(3) ? Below(pending_.size()) : 0;
    const Pending& echo = pending_[index];
    step.id = echo.id;
    step.value = OnceIn(5) ? Rewrite(echo.value, Below(3)) : echo.value;
    if (!OnceIn(6)) {  // then it comes again
        pending_.erase(pending_.begin() + static_cast<std::ptrdiff_t>(index));
    }
}

void StepSource::FillOwnValue(Step& step) {
    static const std::vector<unsigned long> foreignIds{0,
                                                       1,
                                                       Mapping::GetKnxDeviceObjModelId(),
                                                       Mapping::GetCoChannelObjModelId(1, 1).value(),
                                                       Mapping::GetCoValueObjModelId(1, 2).value(),
                                                       Mapping::GetAppHostAppControlStateObjModelId(1)};
    const CoType type = PickOf(types_);
    step.id = OnceIn(30) ? PickOf(foreignIds) : Mapping::GetCoValueObjModelId(type.co, 1).value();
    step.value = PickValue(type.dpt);
}

void StepSource::FillNewType(Step& step) {
    static const std::vector<std::uint32_t> dpts{Dpt(5, 10), Dpt(6, 10), Dpt(20, 102)};
    step.co = RetypedCo;
    step.dpt = PickOf(dpts);
    std::find_if(types_.begin(), types_.end(), [](const CoType& type) { return type.co == RetypedCo; })->dpt = step.dpt;
}

}  // namespace BridgeModel

#include "Model.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "KnxStack/GroupValue.h"
#include "Zandrel/GroupValueConversion.h"
#include "Zandrel/KnxOdsMapping.h"

namespace BridgeModel {

using KnxStack::GroupValue;
using Zandrel::ZANVALUE;

namespace {

constexpr std::int64_t Lifetime = 20'000'000;  // microseconds
constexpr std::uint16_t LastCo = 520;
constexpr std::uint32_t FloatType = 14;
constexpr std::uint32_t TextType = 16;
constexpr std::size_t TextSize = 14;
constexpr unsigned Pages = 1;
constexpr unsigned NoTicker = 2;
constexpr int LogicalDevice = 1;

std::uint32_t GetMainType(std::uint32_t dpt) {
    return dpt >> 16U;
}

unsigned long GetId(std::uint16_t co) {
    return Zandrel::KnxOdsMapping::GetCoValueObjModelId(co, LogicalDevice).value();
}

std::optional<std::uint16_t> GetCo(unsigned long id) {
    for (const CoType& type : Cos) {
        if (GetId(type.co) == id) {
            return type.co;
        }
    }
    return std::nullopt;
}

bool SameFloat(const Bytes& a, const Bytes& b) {
    const float first = GroupValue(a).GetFloatValue();
    const float second = GroupValue(b).GetFloatValue();
    if (std::isnan(first) || std::isnan(second)) {
        return std::isnan(first) && std::isnan(second);
    }
    return std::to_string(first) == std::to_string(second);  // six decimals
}

std::string Describe(const ZANVALUE& value) {
    return std::to_string(static_cast<int>(value.GetType())) + " -> " + value.ToString();
}

}  // namespace

Outcome Model::Apply(const Step& step) {
    surroundings_ = step.surroundings;
    outcome_ = {};
    switch (step.what) {
        case Step::What::BusWrite:
            outcome_.result = TakeFromBus(step, false);
            break;
        case Step::What::BusResponse:
            outcome_.result = TakeFromBus(step, true);
            break;
        case Step::What::BusRead:
            outcome_.result = Answer(step);
            break;
        case Step::What::AppWrite:
            outcome_.result = TakeFromDeviceStack(step.id, step.value);
            break;
        case Step::What::TimePasses:
            now_ += step.time;
            break;
        case Step::What::TickersGoOn:
            RunTickers(step.time);
            break;
        case Step::What::NewSettings:
            SetDisplay(step.speed, step.wrapping);
            break;
        case Step::What::NewType:
            SetType(step.co, step.dpt);
            break;
        case Step::What::TickersEnd:
            tickers_.clear();
            break;
    }
    return std::exchange(outcome_, {});
}

bool Model::TakeFromBus(const Step& step, bool isResponse) {
    if (step.co < 1 || step.co > LastCo) {
        return true;
    }
    if (!surroundings_.isConnected) {
        outcome_.log.emplace_back("ERROR No messenger available to set value");
        return false;
    }
    const std::uint32_t dpt = GetDpt(step.co);
    const GroupValue groupValue(step.bytes);
    if (GetMainType(dpt) == FloatType && step.bytes.size() == 4 && std::isinf(groupValue.GetFloatValue())) {
        outcome_.log.push_back("INFO Ignoring Infinity (not supported) from the KNX on CO " + std::to_string(step.co) +
                               (groupValue.GetFloatValue() < 0 ? ": -inf" : ": inf"));
        return true;
    }
    const auto value = Zandrel::GroupValueToZanValue(groupValue, dpt);
    if (!value) {
        outcome_.log.push_back("ERROR Could not decode KNX group value " + ToText(step.bytes));
        return false;
    }
    if (!isResponse) {
        RemoveExpired();
        entries_.push_back({step.co, dpt, step.bytes, now_ + Lifetime});
    }
    const unsigned long id = GetId(step.co);
    outcome_.effects.push_back({isResponse ? Effect::What::SetResponse : Effect::What::Set, id, value->Serialize()});
    if (!surroundings_.deviceStackTakes) {
        outcome_.log.push_back("WARN Error passing value to devicestack: ID '" + std::to_string(id));
        return false;
    }
    if (surroundings_.echoesAtOnce) {
        const bool isTaken = TakeFromDeviceStack(id, *value);
        outcome_.effects.push_back({Effect::What::Echo, isTaken ? 1UL : 0UL});
    }
    return true;
}

bool Model::Answer(const Step& step) {
    outcome_.answer = step.bytes;
    if (step.co < 1 || step.co > LastCo) {
        return false;
    }
    if (!surroundings_.isConnected) {
        outcome_.log.emplace_back("ERROR No messenger available to request value");
        return false;
    }
    outcome_.effects.push_back({Effect::What::Get, GetId(step.co)});
    if (step.answer == Step::Answer::Silence) {
        outcome_.log.emplace_back("ERROR Request timed out.");
        return false;
    }
    if (step.answer == Step::Answer::Refusal) {
        outcome_.log.push_back(std::string("ERROR Error retrieving value from devicestack! ") + RefusalText);
        return false;
    }
    const std::uint32_t dpt = GetDpt(step.co);
    const auto groupValue = Zandrel::ZanValueToGroupValue(step.value, dpt);
    if (!groupValue) {
        outcome_.globalLog.push_back("FATAL The CO " + std::to_string(step.co) + ", DPT " + std::to_string(dpt) +
                                     " value read from the ODS did not convert into a GroupValue " +
                                     Describe(step.value));
        return false;
    }
    outcome_.answer = groupValue->GetBytes();
    return true;
}

bool Model::TakeFromDeviceStack(unsigned long id, const ZANVALUE& value) {
    const auto co = GetCo(id);
    if (!surroundings_.isAttached || !co) {
        return false;
    }
    const std::uint32_t dpt = GetDpt(*co);
    const auto groupValue = Zandrel::ZanValueToGroupValue(value, dpt);
    if (!groupValue) {
        outcome_.globalLog.push_back("FATAL This ZANVALUE does not convert to a valid GroupValue for the CO " +
                                     std::to_string(*co) + " (DPT " + std::to_string(dpt) + "): '" + Describe(value) +
                                     "'");
        return false;
    }
    if (RemoveEvent({*co, dpt, groupValue->GetBytes(), 0})) {
        return true;
    }
    RemoveExpired();
    outcome_.effects.push_back({Effect::What::Asked, *co});
    if (surroundings_.groupObject != Surroundings::GroupObject::Writable) {
        return true;
    }
    if (GetMainType(dpt) != TextType) {
        return Write(*co, groupValue->GetBytes());
    }
    const auto text = Zandrel::getLatin1FromUTF8Lossy(Zandrel::UTF8String(value.ToString()));
    if (!text) {
        outcome_.globalLog.emplace_back("ERROR Cannot convert a non-UTF8 string to Latin-1 for writing to the KNX");
        return false;
    }
    return Show(*co, text->GetBytes());
}

std::uint32_t Model::GetDpt(std::uint16_t co) const {
    for (const CoType& type : types_) {
        if (type.co == co) {
            return type.dpt;
        }
    }
    return 0;
}

void Model::SetType(std::uint16_t co, std::uint32_t dpt) {
    for (CoType& type : types_) {
        if (type.co == co) {
            type.dpt = dpt;
        }
    }
}

bool Model::RemoveEvent(const Entry& probe) {
    for (auto entry = entries_.begin(); entry != entries_.end(); ++entry) {
        const bool isSame =
            entry->co == probe.co && entry->dpt == probe.dpt &&
            (GetMainType(probe.dpt) == FloatType ? SameFloat(entry->value, probe.value) : entry->value == probe.value);
        if (isSame) {
            entries_.erase(entry);
            return true;
        }
    }
    return false;
}

void Model::RemoveExpired() {
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        // No entry lives longer than a lifetime from now, wherever the clock came from.
        entry->deathTime = std::min(entry->deathTime, now_ + Lifetime);
        entry = entry->deathTime <= now_ ? entries_.erase(entry) : entry + 1;
    }
}

bool Model::Show(std::uint16_t co, const std::string& text) {
    if (wrapping_ == NoTicker) {
        return WriteText(co, text.substr(0, TextSize));
    }
    const bool fits = text.size() <= TextSize;
    for (auto ticker = tickers_.begin(); ticker != tickers_.end(); ++ticker) {
        if (ticker->co != co) {
            continue;
        }
        if (fits) {
            tickers_.erase(ticker);
            return WriteText(co, text);
        }
        ticker->runs = false;
        ticker->text = Prepare(text);
        ticker->position = 0;
        return WriteText(co, GetSegment(*ticker));
    }
    if (fits) {
        return WriteText(co, text);
    }
    tickers_.push_back({co, Prepare(text), 0, true, GetPeriod(), tickerTime_ + GetPeriod()});
    WriteText(co, GetSegment(tickers_.back()));
    return true;
}

void Model::RunTickers(std::int64_t time) {
    tickerTime_ += time;
    for (Ticker& ticker : tickers_) {
        while (ticker.runs && ticker.expiry <= tickerTime_) {
            Advance(ticker);
            WriteText(ticker.co, GetSegment(ticker));
            ticker.expiry += ticker.period;
        }
    }
    SortByCo(outcome_.effects);
}

void Model::SetDisplay(unsigned speed, unsigned wrapping) {
    speed_ = speed;
    wrapping_ = wrapping;
    for (Ticker& ticker : tickers_) {
        ticker.text = Prepare(ticker.text);
        ticker.position = 0;
        ticker.period = GetPeriod();
    }
}

std::int64_t Model::GetPeriod() const {
    if (speed_ == 0) {
        return wrapping_ == Pages ? 40 : 10;
    }
    if (speed_ == 2) {
        return wrapping_ == Pages ? 10 : 1;
    }
    return wrapping_ == Pages ? 20 : 4;
}

std::string Model::Prepare(const std::string& text) const {
    const std::size_t first = text.find_first_not_of(' ');
    const std::string stripped =
        first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
    return wrapping_ == Pages || wrapping_ == NoTicker ? stripped : stripped + "    ";
}

int Model::GetStep() const {
    if (wrapping_ == NoTicker) {
        return 0;
    }
    return wrapping_ == Pages ? 14 : 1;
}

void Model::Advance(Ticker& ticker) const {
    const int size = static_cast<int>(ticker.text.size());
    ticker.position = ticker.position < size - GetStep() ? ticker.position + GetStep() : 0;
}

std::string Model::GetSegment(const Ticker& ticker) const {
    const auto position = static_cast<std::size_t>(ticker.position);
    if (wrapping_ == Pages) {
        return ticker.text.substr(position, TextSize);
    }
    std::string segment;
    for (std::size_t i = position; segment.size() < TextSize && !ticker.text.empty(); ++i) {
        segment += ticker.text[i % ticker.text.size()];
    }
    return segment;
}

bool Model::WriteText(std::uint16_t co, const std::string& text) {
    const std::string shown = text.substr(0, text.find('\0'));
    Bytes bytes(shown.begin(), shown.end());
    bytes.resize(TextSize);
    return Write(co, bytes);
}

bool Model::Write(std::uint16_t co, const Bytes& bytes) {
    outcome_.effects.push_back({Effect::What::Written, co, std::string(bytes.begin(), bytes.end())});
    return surroundings_.stackTakes;
}

}  // namespace BridgeModel

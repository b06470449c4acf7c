#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Outcome.h"
#include "Step.h"
#include "Zandrel/EncodedString.h"

namespace BridgeModel {

/// The rules of the bridge, its filter and its tickers, as simple as they can be written down: plain lists that are
/// searched from the start. Conversions are the platform's.
class Model {
public:
    Outcome Apply(const Step& step);

private:
    /// A value from the bus.
    struct Entry {
        std::uint16_t co;
        std::uint32_t dpt;
        Bytes value;
        std::int64_t deathTime;
    };
    struct Ticker {
        std::uint16_t co;
        std::string text;
        int position;
        bool runs;
        std::int64_t period;
        std::int64_t expiry;
    };

    bool TakeFromBus(const Step& step, bool isResponse);
    bool Answer(const Step& step);
    bool TakeFromDeviceStack(unsigned long id, const Zandrel::ZANVALUE& value);
    void RunTickers(std::int64_t time);
    void SetDisplay(unsigned speed, unsigned wrapping);
    void SetType(std::uint16_t co, std::uint32_t dpt);

    std::uint32_t GetDpt(std::uint16_t co) const;
    bool RemoveEvent(const Entry& probe);
    void RemoveExpired();

    bool Show(std::uint16_t co, const std::string& text);
    std::int64_t GetPeriod() const;
    std::string Prepare(const std::string& text) const;
    int GetStep() const;
    void Advance(Ticker& ticker) const;
    std::string GetSegment(const Ticker& ticker) const;
    bool WriteText(std::uint16_t co, const std::string& text);
    bool Write(std::uint16_t co, const Bytes& bytes);

    std::vector<CoType> types_{Cos.begin(), Cos.end()};
    std::int64_t now_ = 0;
    std::vector<Entry> entries_;  ///< oldest first
    std::int64_t tickerTime_ = 0;
    std::vector<Ticker> tickers_;
    unsigned speed_ = 0;
    unsigned wrapping_ = 1;

    // Of the step under way.
    Surroundings surroundings_;
    Outcome outcome_;
};

}  // namespace BridgeModel

#pragma once

#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "Outcome.h"
#include "Step.h"

namespace BridgeModel {

/// Random steps, the same for the same seed. Values repeat often, and so do moments: that is where echoes get mixed up.
class StepSource {
public:
    explicit StepSource(std::uint64_t seed) : random_(seed) {}

    Step MakeStep();

    /// Takes up what the device stack will report: the values that were set in it.
    void Learn(const Step& step, const Outcome& outcome);

private:
    /// A value that the device stack has not reported yet.
    struct Pending {
        unsigned long id;
        Zandrel::ZANVALUE value;
    };

    /// True once in `count` times.
    bool OnceIn(std::size_t count) { return Below(count) == 0; }
    std::size_t Below(std::size_t end);
    template <typename Choices>
    auto PickOf(const Choices& choices);

    Step::What PickEvent();
    Surroundings PickSurroundings();
    CoType PickCo();
    Bytes PickBytes(std::uint32_t dpt);
    Zandrel::ZANVALUE PickValue(std::uint32_t dpt);
    std::int64_t PickTime();

    void FillTelegram(Step& step);
    void FillRead(Step& step);
    void FillAppWrite(Step& step);
    void FillNewType(Step& step);
    void FillEcho(Step& step);
    void FillOwnValue(Step& step);

    std::mt19937_64 random_;
    std::vector<CoType> types_{Cos.begin(), Cos.end()};
    std::vector<Pending> pending_;  ///< in the order in which they were set
};

}  // namespace BridgeModel

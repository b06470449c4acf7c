#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <iostream>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>

#include "Model.h"
#include "RepeatCount.h"
#include "StepSource.h"
#include "Subject.h"

namespace {

using BridgeModel::Answers;
using BridgeModel::Model;
using BridgeModel::Outcome;
using BridgeModel::Step;
using BridgeModel::StepSource;
using BridgeModel::Subject;

constexpr unsigned long StepsOfARun = 5000;
constexpr std::size_t StepsToTell = 25;

std::uint64_t GetSeed() {
    const char* const text = std::getenv("ORN_SEED");
    return text == nullptr ? std::random_device{}() : std::stoull(text);
}

/// The last steps of a run, and what came of them.
class Story {
public:
    void Tell(const Step& step, const Outcome& outcome) {
        ++told_;
        last_.emplace_back(step, outcome);
        if (last_.size() > StepsToTell) {
            last_.pop_front();
        }
    }

    std::string GetText() const {
        std::ostringstream text;
        unsigned long number = told_ - last_.size();
        for (const auto& [step, outcome] : last_) {
            text << ++number << ": " << step << "\n    -> " << outcome << '\n';
        }
        return text.str();
    }

private:
    unsigned long told_ = 0;
    std::deque<std::pair<Step, Outcome>> last_;
};

/// Plays `steps` steps to the model and to a fresh bridge. Where they differ, what led there.
std::optional<std::string> FindDifference(std::uint64_t seed, unsigned long steps, Answers& answers) {
    StepSource source(seed);
    Model model;
    Subject subject(answers);
    Story story;
    for (unsigned long i = 0; i < steps; ++i) {
        const Step step = source.MakeStep();
        const Outcome expected = model.Apply(step);
        const Outcome outcome = subject.Apply(step, expected);
        story.Tell(step, outcome);
        if (outcome != expected) {
            std::ostringstream text;
            text << "expected " << expected << "\nThe last steps were\n" << story.GetText();
            return text.str();
        }
        source.Learn(step, expected);
    }
    return std::nullopt;
}

TEST(BridgeModelTest, BridgeDoesWhatTheModelDoes) {
    const std::uint64_t firstSeed = GetSeed();
    const unsigned long steps = TestSupport::GetRepeatCount("ORN_TEST_STEPS", ORN_MODEL_STEPS);
    std::cout << "ORN_SEED=" << firstSeed << '\n';
    Answers answers;

    for (unsigned long done = 0; done < steps; done += StepsOfARun) {
        const std::uint64_t seed = firstSeed + done / StepsOfARun;
        const auto difference = FindDifference(seed, StepsOfARun, answers);
        ASSERT_FALSE(difference) << "ORN_SEED=" << seed << " plays this again: " << *difference;
    }
}

}  // namespace

#include <gtest/gtest.h>

#include <boost/locale/encoding_utf.hpp>
#include <fstream>
#include <ostream>
#include <sstream>

#include "Knxd.h"

namespace {

using EndToEnd::BusListener;
using EndToEnd::DeviceStack;
using EndToEnd::Host;
using EndToEnd::json;
using EndToEnd::Knxd;
using EndToEnd::Milliseconds;
using EndToEnd::StairLightSerialNumber;

const std::u32string Text =
    U"Gr\u00FC\u00DFe aus der K\u00FCche: \u00C4pfel, \u00D6l und Br\u00F6tchen f\u00FCr zusammen 5 \u20AC";
constexpr std::size_t TextLength = 60;
constexpr std::size_t SegmentLength = 14;
const std::string Display = "1/0/4";

/// A display setting, how long it shows each segment, and how many of them a test waits for.
struct Setting {
    const char* speed;
    const char* wrapping;
    Milliseconds period;
    std::size_t count;
};

void PrintTo(const Setting& setting, std::ostream* stream) {
    *stream << setting.speed << " " << setting.wrapping;
}

std::string ToLatin1(const std::u32string& text) {
    std::string latin1;
    for (const char32_t character : text) {
        latin1 += character <= 0xFF ? static_cast<char>(character) : '?';
    }
    return latin1;
}

/// The segment that a listener sees: 14 bytes, zeros behind a shorter text.
std::string ToTelegram(std::string segment) {
    segment.resize(SegmentLength);
    std::ostringstream telegram;
    telegram << "Write" << std::hex << std::uppercase;
    for (const char character : segment) {
        telegram << (static_cast<unsigned char>(character) < 0x10 ? " 0" : " ")
                 << static_cast<unsigned>(static_cast<unsigned char>(character));
    }
    return telegram.str();
}

std::vector<std::string> Scroll(const std::string& text, std::size_t count) {
    const std::string loop = text + "    ";
    const std::string twice = loop + loop;
    std::vector<std::string> telegrams;
    for (std::size_t i = 0; i < count; ++i) {
        telegrams.push_back(ToTelegram(twice.substr(i % loop.size(), SegmentLength)));
    }
    return telegrams;
}

std::vector<std::string> TurnPages(const std::string& text, std::size_t count) {
    const std::size_t pages = (text.size() + SegmentLength - 1) / SegmentLength;
    std::vector<std::string> telegrams;
    for (std::size_t i = 0; i < count; ++i) {
        telegrams.push_back(ToTelegram(text.substr(i % pages * SegmentLength, SegmentLength)));
    }
    return telegrams;
}

/// The stair light, whose app writes a long text when it starts, on a bus behind a real knxd.
class TextOnTheBusTest : public testing::Test {
protected:
    void StartDevice(const char* speed, const char* wrapping) {
        json device = json::parse(std::ifstream(EndToEnd::SampleDevice("stairlight")));
        device["displayTextSpeed"] = speed;
        device["displayTextWrapping"] = wrapping;
        device["parameters"]["text"]["1"] = boost::locale::conv::utf_to_utf<char>(Text);
        std::ofstream(folder_.At("device.json")) << device;
        Host::Options options;
        options.device = folder_.At("device.json");
        options.deviceStackAddress = deviceStack_.GetAddress();
        options.bus = knxd_.GetBus();
        host_ = std::make_unique<Host>(options);
    }

    const EndToEnd::TemporaryFolder folder_;
    const Knxd knxd_;
    const BusListener listener_{knxd_};
    const DeviceStack deviceStack_{{StairLightSerialNumber}};
    std::unique_ptr<Host> host_;
};

/// How late a telegram may come on a machine that is busy with other tests.
constexpr Milliseconds BusyMachine{2000};

class ScrollingTextTest : public TextOnTheBusTest, public testing::WithParamInterface<Setting> {};

TEST_P(ScrollingTextTest, AppsTextMovesOnTheBusAsTheDescriptionSays) {
    using Clock = std::chrono::steady_clock;
    const auto& [speed, wrapping, period, count] = GetParam();
    const std::string text = ToLatin1(Text);
    ASSERT_EQ(text.size(), TextLength);

    StartDevice(speed, wrapping);

    ASSERT_TRUE(listener_.WaitFor(Display, 1));
    const auto start = Clock::now();
    const auto expected = (count - 1) * period;
    ASSERT_TRUE(listener_.WaitFor(Display, count, 2 * expected));
    const auto elapsed = Clock::now() - start;
    auto telegrams = listener_.GetTelegrams(Display);
    telegrams.resize(count);
    EXPECT_EQ(telegrams, wrapping == std::string("pages") ? TurnPages(text, count) : Scroll(text, count));
    EXPECT_GT(elapsed, expected * 4 / 5);
    EXPECT_LT(elapsed, expected * 5 / 4 + BusyMachine);
}

INSTANTIATE_TEST_SUITE_P(
    All, ScrollingTextTest,
    testing::Values(Setting{"fast", "scroll", Milliseconds(100), 66}, Setting{"medium", "scroll", Milliseconds(400), 6},
                    Setting{"slow", "scroll", Milliseconds(1000), 4}, Setting{"fast", "pages", Milliseconds(1000), 7},
                    Setting{"medium", "pages", Milliseconds(2000), 3}, Setting{"slow", "pages", Milliseconds(4000), 2}),
    [](const auto& setting) { return std::string(setting.param.speed) + "_" + setting.param.wrapping; });

TEST_F(TextOnTheBusTest, AppsTextIsCutWhereTheDescriptionWantsNoTicker) {
    StartDevice("fast", "none");

    ASSERT_TRUE(listener_.WaitFor(Display, 1));
    EXPECT_FALSE(listener_.WaitFor(Display, 2, Milliseconds(1000)));
    EXPECT_EQ(listener_.GetTelegrams(Display), TurnPages(ToLatin1(Text), 1));
}

}  // namespace

/// What lies in the KNX stack's properties and memory: any bytes of any number.

#include <algorithm>
#include <array>
#include <boost/thread/lock_guard.hpp>
#include <memory>
#include <optional>
#include <stdexcept>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "DocumentReader.h"
#include "FakeKnxStack.h"
#include "FuzzTarget.h"
#include "KnxHandler.h"
#include "KnxStack/BinaryData.h"
#include "ObjectModelBuilder.h"
#include "ObjectModelDocument.h"
#include "SimulatedClock.h"

namespace {

using Fuzz::Input;
using Fuzz::Require;
using KnxStack::BinaryData;
using Bytes = std::vector<std::uint8_t>;

/// None where the read is refused.
template <typename Number>
std::optional<Number> Read(const BinaryData& data, Number (BinaryData::*reader)(std::size_t) const,
                           std::size_t offset) {
    try {
        return (data.*reader)(offset);
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

template <typename Number>
void CheckNumber(const Bytes& bytes, Number (BinaryData::*reader)(std::size_t) const, std::size_t offset) {
    std::optional<Number> expected;
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof(Number)) {
        std::uint64_t number = 0;
        for (std::size_t i = 0; i < sizeof(Number); ++i) {
            number = number * 256 + bytes[offset + i];
        }
        expected = static_cast<Number>(number);
    }
    Require(Read(BinaryData(bytes), reader, offset) == expected, "a number is big-endian and lies inside the data");
}

void CheckReaders(const Bytes& bytes, std::size_t offset) {
    CheckNumber(bytes, &BinaryData::GetUInt8Value, offset);
    CheckNumber(bytes, &BinaryData::GetUInt16Value, offset);
    CheckNumber(bytes, &BinaryData::GetUInt32Value, offset);
    const auto text = Read(BinaryData(bytes), &BinaryData::GetStringValue, offset);
    Require(text.has_value() == (offset <= bytes.size()), "a text begins inside the data or at its end");
    Require(!text || (text->find('\0') == std::string::npos &&
                      std::equal(text->begin(), text->end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset),
                                 [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; })),
            "a text is what lies in the data up to the first zero byte");
}

struct Place {
    std::uint16_t objectType;
    std::uint16_t propertyId;
};

constexpr std::array<Place, 16> Places{{{0, 11},
                                        {0, 78},
                                        {1, 5},
                                        {2, 5},
                                        {3, 5},
                                        {9, 5},
                                        {11, 52},
                                        {11, 53},
                                        {11, 76},
                                        {40960, 64},
                                        {40960, 66},
                                        {40960, 68},
                                        {40960, 69},
                                        {40960, 71},
                                        {40960, 72},
                                        {40960, 5}}};
constexpr std::uint8_t Memory = 16;
constexpr std::uint8_t LoadEvent = 17;
constexpr std::uint8_t FirstMissing = 18;  ///< followed by the places, each of which is empty then

/// The plug-in's KNX side on a stack that holds what the input says.
class Device {
public:
    Device() { stack_.DownloadApplication("App"); }

    /// Puts in place, of each piece, where it belongs, how many elements of how many bytes it has, and these.
    void Download(Input& input) {
        while (!input.IsEmpty()) {
            const std::uint8_t place = input.TakeByte();
            if (place < Places.size()) {
                TakeElements(input, Places.at(place));
            } else if (place == Memory) {
                const std::size_t size = input.TakeUInt16();
                stack_.Memory().SetContent(input.TakeBytes(size));
            } else if (place == LoadEvent) {
                events_.push_back(input.TakeBytes(input.TakeByte()));
            } else if (place < FirstMissing + Places.size()) {
                const Place missing = Places.at(place - std::size_t{FirstMissing});
                stack_.Properties().Object(missing.objectType).Remove(missing.propertyId);
            }
        }
    }

    void Run() {
        if (handler_.Init(stack_)) {
            Require(handler_.GetSerialNumber().size() == 12, "a serial number has 12 digits");
        }
        for (const Bytes& event : events_) {
            stack_.Properties().Write(TestSupport::FakeKnxStack::ApplicationObject, 5, BinaryData(event));
        }
        RunCycle();
        for (const auto& line : log_.GetLines()) {
            Require(!TellsOfAnException(line.text), "nothing throws");
        }
    }

private:
    void TakeElements(Input& input, const Place& place) {
        const std::size_t size = input.TakeByte();
        std::vector<Bytes> elements(input.TakeByte());
        for (Bytes& element : elements) {
            element = input.TakeBytes(size);
        }
        stack_.Properties().Object(place.objectType).Property(place.propertyId).SetElements(std::move(elements));
    }

    /// What was downloaded, the app id before the line and the values in it, may say anything.
    bool TellsOfAnException(const std::string& line) const {
        const std::string prefix = "[" + identity_->GetAppId() + "] ";
        const std::size_t function = line.rfind(prefix, 0) == 0 ? prefix.size() : 0;
        const std::string message = " - Unexpected failure: ";
        const std::size_t begin = line.find(" - ", function);
        return begin != std::string::npos && line.compare(begin, message.size(), message) == 0;
    }

    void RunCycle() {
        Zandrel::KnxConfiguration configuration;
        const auto device = *Zandrel::LogicalDeviceId::From(1);
        const boost::lock_guard<boost::mutex> lock(handler_.GetLoadState().GetMutex());
        handler_.IsLoadStateMachineLoaded();
        if (!handler_.InitApplicationProgram1Memory(stack_) || !handler_.InitObjectModel(device, configuration)) {
            return;
        }
        CheckDocument(configuration.textParameters);
    }

    /// The document says of each text what was downloaded.
    void CheckDocument(const std::vector<Zandrel::ParamAttr>& parameters) const {
        Zandrel::Configuration configuration;
        Zandrel::Device& device = Zandrel::AddDevice(configuration, 1);
        device.metadata.emplace_back("name", handler_.GetFriendlyName());
        for (const auto& parameter : parameters) {
            Require(ConfigureObjModelParam(device, parameter, logger_), "every parameter has its place");
        }
        const auto document = DocumentReader::Read(SerializeConfiguration(configuration));
        const auto& channels = document["devices"].items.at(0)["channels"].items;
        Require(channels.size() == parameters.size(), "every parameter has a channel");
        for (std::size_t i = 0; i < channels.size(); ++i) {
            const auto& point = channels[i]["datapoints"].items.at(0);
            Require(parameters[i].value.empty() || point["value"].text == parameters[i].value,
                    "a text arrives as it was downloaded");
        }
    }

    TestSupport::LogCapture log_;
    TestSupport::FakeKnxStack stack_;
    std::vector<Bytes> events_;
    const std::shared_ptr<Zandrel::AppIdentity> identity_ = std::make_shared<Zandrel::AppIdentity>();
    const Zandrel::PrefixedLogger logger_{log_.GetLogger(), identity_};
    Zandrel::KnxHandler handler_{log_.GetLogger(), identity_, std::make_shared<TestSupport::SimulatedClock>()};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t LongestData = 64;
    Input input(data, size);
    const std::size_t offset = input.TakeByte();
    CheckReaders(input.TakeBytes(input.TakeByte() % LongestData), offset);
    Device device;
    device.Download(input);
    device.Run();
    return 0;
}

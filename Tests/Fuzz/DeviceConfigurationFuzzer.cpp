/// The device stack's answer to the question which logical KNX device this is.

#include <boost/algorithm/string/case_conv.hpp>
#include <memory>
#include <nlohmann/json.hpp>

#include "AppIdentity.h"
#include "CapturingAppender.h"
#include "DeviceStackConnection.h"
#include "FuzzTarget.h"
#include "LogicalKnxDevice.h"

namespace {

using Fuzz::Require;
using nlohmann::json;
using Zandrel::LogicalDeviceId;

constexpr const char* SerialNumber = "000a14ff0102";

/// Answers each request at once with the same text.
class AnsweringClient final : public Ostra::IDeviceStackClient {
public:
    void SetAnswer(std::string answer) { answer_ = std::move(answer); }

    void SetEventHandler(IEventHandler* /*handler*/) override {}
    void SetResponseHandler(IResponseHandler* handler) override { handler_ = handler; }
    void SendAtEveryConnect(const std::string& /*json*/) override {}
    bool Send(const std::string& text) override {
        handler_->OnResponse(json::parse(text).at("request").get<unsigned long>(), true, answer_);
        return true;
    }

private:
    std::string answer_ = "{}";
    IResponseHandler* handler_ = nullptr;
};

class Question {
public:
    Question() { Require(connection_.ConnectDeviceStack(), "the client connects"); }

    std::optional<LogicalDeviceId> Ask(const std::string& answer, const std::string& serialNumber = SerialNumber) {
        client_.SetAnswer(answer);
        log_.TakeLines();
        const auto device = GetLogicalKnxDeviceId(connection_, serialNumber, logger_);
        Require(log_.GetLines().size() == 1, "each result has one line in the log");
        return device;
    }

private:
    TestSupport::LogCapture log_;
    AnsweringClient client_;
    const Zandrel::PrefixedLogger logger_{log_.GetLogger(), std::make_shared<Zandrel::AppIdentity>()};
    Zandrel::DeviceStackConnection connection_{
        logger_,
        std::make_shared<Zandrel::Clock>(),
        {[this](const std::string&) { return &client_; }, [](Ostra::IDeviceStackClient*) {}}};
};

/// The number of the device, by a way of its own.
std::optional<LogicalDeviceId> Expect(const json& reply) {
    for (const char* const number : {"1", "2"}) {
        const json::json_pointer place("/response/deviceConfig/ipc/KnxSerialNumber" + std::string(number));
        if (reply.is_object() && reply.contains(place) && reply.at(place).is_string() &&
            boost::algorithm::to_lower_copy(reply.at(place).get<std::string>()) == SerialNumber) {
            return LogicalDeviceId::From(std::stoi(number));
        }
    }
    return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Question question;
    const std::string reply = Fuzz::Input(data, size).TakeRest();
    const auto device = question.Ask(reply);
    Require(question.Ask(reply, boost::algorithm::to_upper_copy(std::string(SerialNumber))) == device,
            "letter case does not count");
    const bool holdsNul = reply.find('\0') != std::string::npos;
    const json parsed = json::parse(reply, nullptr, false);
    Require(device == (holdsNul ? std::nullopt : Expect(parsed)), "the device is the one whose serial number it is");
    return 0;
}

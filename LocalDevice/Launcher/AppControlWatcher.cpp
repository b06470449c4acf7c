#include "AppControlWatcher.h"

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <chrono>
#include <nlohmann/json.hpp>
#include <utility>

#include "KnxAddress.h"
#include "Zandrel/KnxOdsMapping.h"

namespace LocalDevice {

namespace {

constexpr std::chrono::milliseconds RetryPause{200};
constexpr std::uint32_t LargestValue = 3;
constexpr std::size_t PointCount = 6;

}  // namespace

/// Takes the client's calls on the client's threads and passes them on to the thread of the io context.
class AppControlWatcher::Subscriber final : public Ostra::IDeviceStackClient::IEventHandler,
                                            public Ostra::IDeviceStackClient::IResponseHandler,
                                            public std::enable_shared_from_this<Subscriber> {
public:
    Subscriber(boost::asio::io_context& io, Handler handler) : io_(io), handler_(std::move(handler)) {}
    ~Subscriber() = default;
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

    void Begin(Ostra::IDeviceStackClient& client) {
        client_ = &client;
        client.SetResponseHandler(this);
        client.SetEventHandler(this);
        const std::string registration = MakeRegistration();
        client.SendAtEveryConnect(registration);
        client.Send(registration);
        AskForValues();
    }

    /// After this, called on the thread of the io context, no call reaches the handler.
    void End() { handler_ = nullptr; }
    bool IsEnded() const { return !handler_; }

    bool OnValueChanged(unsigned long id, const std::string& /*text*/, const std::string& value) override {
        const auto* const point =
            std::find_if(points_.begin(), points_.end(), [id](const WatchedPoint& p) { return p.id == id; });
        const auto number = ParseDecimal(value, LargestValue);
        if (point == points_.end() || !number) {
            return false;
        }
        PassOn(static_cast<std::size_t>(point - points_.begin()), static_cast<int>(*number), Source::Event);
        return true;
    }

    bool OnConnectionChanged(bool connected) override {
        if (connected) {
            AskForValues();
            return true;
        }
        for (std::size_t i = 0; i < points_.size(); ++i) {
            PassOn(i, std::nullopt, Source::Loss);
        }
        return true;
    }

    /// A refused request is normal: before the device has published its object model there is no such point.
    void OnResponse(unsigned long requestNumber, bool accepted, const std::string& text) override {
        const auto answer = accepted ? nlohmann::json::parse(text, nullptr, false) : nlohmann::json();
        const nlohmann::json::json_pointer value("/response/value");
        const bool isOurs = requestNumber >= 1 && requestNumber <= points_.size();
        if (!isOurs || !answer.is_object() || !answer.contains(value) || !answer[value].is_string()) {
            return;
        }
        if (const auto number = ParseDecimal(answer[value].get<std::string>(), LargestValue)) {
            PassOn(requestNumber - 1, static_cast<int>(*number), Source::Answer);
        }
    }

    void OnConnectionLost() override {}

private:
    enum class Source { Event, Answer, Loss };

    struct WatchedPoint {
        int logicalDevice;
        Point point;
        unsigned long id;
    };

    static std::array<WatchedPoint, PointCount> WatchedPoints() {
        using Zandrel::KnxOdsMapping::GetAppHostAppControlAppDebugObjModelId;
        using Zandrel::KnxOdsMapping::GetAppHostAppControlEventObjModelId;
        using Zandrel::KnxOdsMapping::GetAppHostAppControlStateObjModelId;
        return {{{1, Point::RunState, GetAppHostAppControlStateObjModelId(1)},
                 {1, Point::Event, GetAppHostAppControlEventObjModelId(1)},
                 {1, Point::AppDebug, GetAppHostAppControlAppDebugObjModelId(1)},
                 {2, Point::RunState, GetAppHostAppControlStateObjModelId(2)},
                 {2, Point::Event, GetAppHostAppControlEventObjModelId(2)},
                 {2, Point::AppDebug, GetAppHostAppControlAppDebugObjModelId(2)}}};
    }

    std::string MakeRegistration() const {
        nlohmann::json registration{{"command", "RegisterApplication"},
                                    {"name", "localdevice"},
                                    {"type", "supervisor"},
                                    {"domain", "local"},
                                    {"dataPoints", nlohmann::json::array()}};
        for (const WatchedPoint& point : points_) {
            registration["dataPoints"].push_back(point.id);
        }
        return registration.dump();
    }

    /// What the points hold since before the registration is asked for; a request's number is one above the index.
    void AskForValues() const {
        for (std::size_t i = 0; i < points_.size(); ++i) {
            client_->Send(nlohmann::json{{"request", i + 1}, {"command", "GetValue"}, {"id", points_[i].id}}.dump());
        }
    }

    void PassOn(std::size_t index, std::optional<int> value, Source source) {
        boost::asio::post(io_, [self = shared_from_this(), index, value, source] {
            bool& isKnown = self->isKnown_.at(index);
            const bool isOutdated = source == Source::Answer && isKnown;
            isKnown = source != Source::Loss;
            if (self->handler_ && !isOutdated) {
                const WatchedPoint& point = self->points_.at(index);
                self->handler_(point.logicalDevice, point.point, value);
            }
        });
    }

    const std::array<WatchedPoint, PointCount> points_ = WatchedPoints();
    boost::asio::io_context& io_;
    Ostra::IDeviceStackClient* client_ = nullptr;

    // Used on the thread of the io context.
    Handler handler_;
    std::array<bool, PointCount>
        isKnown_{};  ///< by point: what an answer says now may be older than what an event said
};

AppControlWatcher::AppControlWatcher(boost::asio::io_context& io, std::string address, Handler handler)
    : address_(std::move(address)), subscriber_(std::make_shared<Subscriber>(io, std::move(handler))), retry_(io) {
    Connect();
}

AppControlWatcher::~AppControlWatcher() {
    subscriber_->End();
}

void AppControlWatcher::Connect() {
    client_.reset(Ostra::CreateDeviceStackClient(address_));
    if (client_) {
        subscriber_->Begin(*client_);
        return;
    }
    retry_.expires_after(RetryPause);
    retry_.async_wait([this, subscriber = subscriber_](const boost::system::error_code& error) {
        if (!error && !subscriber->IsEnded()) {
            Connect();
        }
    });
}

}  // namespace LocalDevice

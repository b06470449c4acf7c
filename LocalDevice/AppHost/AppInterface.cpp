#include "AppInterface.h"

#include <log4cplus/loggingmacros.h>

#include <chrono>
#include <exception>
#include <limits>
#include <optional>
#include <utility>

#include "AppValue.h"
#include "PrintableText.h"
#include "Zandrel/KnxOdsMapping.h"

namespace LocalDevice {

using Zandrel::ParameterType;
using Zandrel::ZANVALUE;

namespace {

log4cplus::LogLevel LogLevelOf(orn_log_level level) {
    switch (level) {
        case ORN_LOG_DEBUG:
            return log4cplus::DEBUG_LOG_LEVEL;
        case ORN_LOG_INFO:
            return log4cplus::INFO_LOG_LEVEL;
        case ORN_LOG_WARN:
            return log4cplus::WARN_LOG_LEVEL;
        case ORN_LOG_ERROR:
            break;
    }
    return log4cplus::ERROR_LOG_LEVEL;
}

/// Calls `body`; an exception, which must not reach the app, becomes a result.
template <typename Body>
orn_result Guard(const log4cplus::Logger& logger, Body body) noexcept {
    try {
        return body();
    } catch (const std::exception& error) {
        LOG4CPLUS_ERROR(logger, "A call of the app failed: " << error.what());
        return ORN_FAILED;
    }
}

}  // namespace

AppInterface::AppInterface(int logicalDevice, DeviceModel model, EventLoop& loop, IDeviceStack& deviceStack,
                           log4cplus::Logger logger, std::function<void()> onFailure,
                           std::function<void(bool)> onRunning, std::function<void(bool)> onAlive)
    : appThread_(boost::this_thread::get_id()),
      logicalDevice_(logicalDevice),
      parameters_(std::move(model.parameters)),
      loop_(loop),
      deviceStack_(deviceStack),
      logger_(std::move(logger)),
      onFailure_(std::move(onFailure)),
      onRunning_(std::move(onRunning)),
      onAlive_(std::move(onAlive)),
      table_(MakeTable(logicalDevice)),
      cos_(model.cos) {}

AppInterface::Table AppInterface::MakeTable(int logicalDevice) {
    Table table{};
    table.owner = this;
    table.interface_version = ORN_APP_INTERFACE_VERSION;
    table.logical_device = logicalDevice;
    table.ip_parameter = [](const orn_host* host, std::uint16_t slot) {
        return Of(host).GetTextOf(ParameterType::Ip, slot, "0.0.0.0");
    };
    table.number_parameter = [](const orn_host* host, std::uint16_t slot, std::uint32_t* number) {
        return Guard(Of(host).logger_, [&] { return Of(host).GetNumberParameter(slot, number); });
    };
    table.text_parameter = [](const orn_host* host, std::uint16_t slot) {
        return Of(host).GetTextOf(ParameterType::Text, slot, "");
    };
    table.get_value = [](const orn_host* host, std::uint16_t co, orn_value* value) {
        return Guard(Of(host).logger_, [&] { return Of(host).GetValue(co, value); });
    };
    table.set_value = [](const orn_host* host, std::uint16_t co, const orn_value* value) {
        return Guard(Of(host).logger_, [&] { return Of(host).SetValue(co, value); });
    };
    table.on_value = [](const orn_host* host, std::uint16_t co, orn_value_handler handler, void* context) {
        return Guard(Of(host).logger_, [&] { return Of(host).SetValueHandler(co, handler, context); });
    };
    table.on_communication = [](const orn_host* host, orn_communication_handler handler, void* context) {
        if (!Of(host).IsAppThread()) {
            return ORN_WRONG_THREAD;
        }
        Of(host).communicationHandler_ = {handler, context};
        return ORN_OK;
    };
    table.start_timer = [](const orn_host* host, std::uint64_t milliseconds, bool periodic, orn_task task,
                           void* context, orn_timer* timer) {
        return Guard(Of(host).logger_,
                     [&] { return Of(host).StartTimer(milliseconds, periodic, task, context, timer); });
    };
    table.stop_timer = [](const orn_host* host, orn_timer timer) {
        if (!Of(host).IsAppThread()) {
            return ORN_WRONG_THREAD;
        }
        Of(host).loop_.StopTimer(timer);
        return ORN_OK;
    };
    table.post = [](const orn_host* host, orn_task task, void* context) {
        return Guard(Of(host).logger_, [&] { return Of(host).Post(task, context); });
    };
    table.log = [](const orn_host* host, orn_log_level level, const char* text) {
        Guard(Of(host).logger_, [&] {
            Of(host).Log(level, text);
            return ORN_OK;
        });
    };
    table.fail = [](const orn_host* host, const char* text) {
        Guard(Of(host).logger_, [&] {
            Of(host).Fail(text);
            return ORN_OK;
        });
    };
    table.set_running = [](const orn_host* host, bool running) {
        Guard(Of(host).logger_, [&] {
            Of(host).onRunning_(running);
            return ORN_OK;
        });
    };
    table.set_alive = [](const orn_host* host, bool alive) {
        Guard(Of(host).logger_, [&] {
            Of(host).onAlive_(alive);
            return ORN_OK;
        });
    };
    return table;
}

bool AppInterface::IsNews(std::uint16_t co, const ZANVALUE& value, CoValues::TimePoint arrival) {
    return cos_.IsNews(co, value, arrival);
}

bool AppInterface::TakeOwnReport(std::uint16_t co, const ZANVALUE& value, CoValues::TimePoint arrival) {
    return cos_.TakeOwnReport(co, value, arrival);
}

void AppInterface::OnValue(std::uint16_t co, const ZANVALUE& value) {
    const auto [handler, context] = valueHandlers_.at(co);
    std::string text;
    const auto appValue = ToAppValue(value, text);
    if (handler != nullptr && appValue) {
        handler(context, co, &*appValue);
    }
}

void AppInterface::OnCommunication(bool on) {
    const auto [handler, context] = communicationHandler_;
    if (handler != nullptr) {
        handler(context, on);
    }
}

const char* AppInterface::GetTextOf(ParameterType type, std::uint16_t slot, const char* unset) const noexcept {
    if (!IsAppThread() || slot < 1 || slot > DeviceModel::ParameterSlots) {
        return nullptr;
    }
    const std::string& text = parameters_[static_cast<std::size_t>(type)][slot - 1U];
    return text.empty() ? unset : text.c_str();
}

orn_result AppInterface::GetNumberParameter(std::uint16_t slot, std::uint32_t* number) const {
    if (!IsAppThread()) {
        return ORN_WRONG_THREAD;
    }
    if (slot < 1 || slot > DeviceModel::ParameterSlots || number == nullptr) {
        return ORN_BAD_ARGUMENT;
    }
    const std::string& text = parameters_[static_cast<std::size_t>(ParameterType::Number)][slot - 1U];
    const auto value = ZANVALUE::FromText(text.empty() ? "0" : text).GetInteger();
    if (!value || *value < 0 || *value > std::numeric_limits<std::uint32_t>::max()) {
        LOG4CPLUS_ERROR(logger_, "Number parameter " << slot << " is no number: '" << text << "'");
        return ORN_FAILED;
    }
    *number = static_cast<std::uint32_t>(*value);
    return ORN_OK;
}

orn_result AppInterface::GetValue(std::uint16_t co, orn_value* value) {
    if (!IsAppThread()) {
        return ORN_WRONG_THREAD;
    }
    if (value == nullptr) {
        return ORN_BAD_ARGUMENT;
    }
    if (!cos_.Exists(co)) {
        return ORN_NO_SUCH_CO;
    }
    const auto stored = cos_.Get(co);
    const auto appValue = stored ? ToAppValue(*stored, lastText_) : std::nullopt;
    if (!appValue) {
        return ORN_NO_VALUE;
    }
    *value = *appValue;
    return ORN_OK;
}

orn_result AppInterface::SetValue(std::uint16_t co, const orn_value* value) {
    const auto newValue = value == nullptr ? std::nullopt : FromAppValue(*value);
    if (!newValue) {
        return ORN_BAD_ARGUMENT;
    }
    const auto id = Zandrel::KnxOdsMapping::GetCoValueObjModelId(co, logicalDevice_);
    if (!id || !cos_.Exists(co)) {
        return ORN_NO_SUCH_CO;
    }
    deviceStack_.AwaitRoom();
    const auto now = std::chrono::steady_clock::now();
    const bool sent = cos_.Set(co, *newValue, now, [&] { return deviceStack_.SetValue(*id, *newValue); });
    return sent ? ORN_OK : ORN_NOT_CONNECTED;
}

orn_result AppInterface::SetValueHandler(std::uint16_t co, orn_value_handler handler, void* context) {
    if (!IsAppThread()) {
        return ORN_WRONG_THREAD;
    }
    if (!cos_.Exists(co)) {
        return ORN_NO_SUCH_CO;
    }
    valueHandlers_.at(co) = {handler, context};
    return ORN_OK;
}

orn_result AppInterface::StartTimer(std::uint64_t milliseconds, bool periodic, orn_task task, void* context,
                                    orn_timer* timer) {
    if (!IsAppThread()) {
        return ORN_WRONG_THREAD;
    }
    if (task == nullptr || milliseconds > ORN_MAX_TIMER_MILLISECONDS || (periodic && milliseconds == 0)) {
        return ORN_BAD_ARGUMENT;
    }
    const EventLoop::Milliseconds interval(static_cast<EventLoop::Milliseconds::rep>(milliseconds));
    const auto id = loop_.StartTimer(interval, periodic, [task, context] { task(context); });
    if (timer != nullptr) {
        *timer = id;
    }
    return ORN_OK;
}

orn_result AppInterface::Post(orn_task task, void* context) {
    if (task == nullptr) {
        return ORN_BAD_ARGUMENT;
    }
    loop_.Post([task, context] { task(context); });
    return ORN_OK;
}

void AppInterface::Log(orn_log_level level, const char* text) {
    logger_.log(LogLevelOf(level), MakePrintableLines(text == nullptr ? "" : text));
}

void AppInterface::Fail(const char* text) {
    Log(ORN_LOG_ERROR, text);
    onFailure_();
}

}  // namespace LocalDevice

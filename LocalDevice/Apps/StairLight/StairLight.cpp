#include "StairLight.h"

namespace StairLight {

namespace {

constexpr std::uint16_t PushButton = 1;
constexpr std::uint16_t Lamp = 2;
constexpr std::uint16_t Brightness = 3;
constexpr std::uint16_t TextDisplay = 4;

constexpr std::uint16_t RunTimeParameter = 1;
constexpr std::uint16_t DarkBelowParameter = 2;
constexpr std::uint16_t GreetingParameter = 1;

constexpr std::uint64_t MillisecondsPerSecond = 1000;

// The union is the app interface's.
// NOLINTBEGIN(cppcoreguidelines-pro-type-union-access)

std::optional<bool> BooleanOf(const orn_value& value) {
    return value.type == ORN_BOOLEAN ? std::optional(value.as.boolean) : std::nullopt;
}

std::optional<double> NumberOf(const orn_value& value) {
    if (value.type == ORN_INTEGER) {
        return static_cast<double>(value.as.integer);
    }
    return value.type == ORN_NUMBER ? std::optional(value.as.number) : std::nullopt;
}

orn_value Value(bool boolean) {
    orn_value value{};
    value.type = ORN_BOOLEAN;
    value.as.boolean = boolean;
    return value;
}

orn_value Value(const char* text) {
    orn_value value{};
    value.type = ORN_TEXT;
    value.as.text = text;
    return value;
}

// NOLINTEND(cppcoreguidelines-pro-type-union-access)

}  // namespace

orn_result StairLight::Start() {
    for (const auto& [slot, number] :
         {std::pair{RunTimeParameter, &runTimeSeconds_}, std::pair{DarkBelowParameter, &darkBelowLux_}}) {
        const orn_result result = host_.number_parameter(&host_, slot, number);
        if (result != ORN_OK) {
            return result;
        }
    }
    const orn_result result = Listen();
    if (result == ORN_OK) {
        Greet();
    }
    return result;
}

orn_result StairLight::Listen() {
    orn_value brightness{};
    if (host_.get_value(&host_, Brightness, &brightness) == ORN_OK) {
        OnBrightness(brightness);
    }
    const auto onBrightness = [](void* context, std::uint16_t, const orn_value* value) {
        Of(context).OnBrightness(*value);
    };
    // Without the sensor the light is switched on at any time: unknown brightness counts as dark.
    const orn_result result = host_.on_value(&host_, Brightness, onBrightness, this);
    if (result != ORN_OK && result != ORN_NO_SUCH_CO) {
        return result;
    }
    const auto onButton = [](void* context, std::uint16_t, const orn_value* value) { Of(context).OnButton(*value); };
    return host_.on_value(&host_, PushButton, onButton, this);
}

void StairLight::Greet() {
    const char* const text = host_.text_parameter(&host_, GreetingParameter);
    if (text == nullptr || *text == '\0') {
        return;
    }
    const orn_value greeting = Value(text);
    if (host_.set_value(&host_, TextDisplay, &greeting) != ORN_OK) {
        Warn("The display did not get the greeting.");
    }
}

void StairLight::OnButton(const orn_value& value) {
    const auto pressed = BooleanOf(value);
    if (!pressed) {
        Warn("The push button sent a value that is no boolean.");
        return;
    }
    if (!*pressed) {
        EndRunTime();
        Switch(false);
        return;
    }
    if (isOn_) {
        BeginRunTime();
    } else if (IsDark()) {
        Switch(true);
        BeginRunTime();
    }
}

void StairLight::OnBrightness(const orn_value& value) {
    const auto lux = NumberOf(value);
    if (!lux) {
        Warn("The brightness sensor sent a value that is no number.");
        return;
    }
    brightness_ = lux;
}

void StairLight::OnRunTimeOver() {
    runTime_.reset();
    Switch(false);
}

bool StairLight::IsDark() const {
    return !brightness_ || *brightness_ < darkBelowLux_;
}

void StairLight::Switch(bool on) {
    isOn_ = on;
    const orn_value value = Value(on);
    if (host_.set_value(&host_, Lamp, &value) != ORN_OK) {
        Warn("The lamp was not switched.");
    }
}

void StairLight::BeginRunTime() {
    EndRunTime();
    if (runTimeSeconds_ == 0) {
        return;
    }
    const auto onRunTimeOver = [](void* context) { Of(context).OnRunTimeOver(); };
    orn_timer timer = 0;
    if (host_.start_timer(&host_, runTimeSeconds_ * MillisecondsPerSecond, false, onRunTimeOver, this, &timer) !=
        ORN_OK) {
        Warn("The run time could not begin: the lamp goes off at once.");
        Switch(false);
        return;
    }
    runTime_ = timer;
}

void StairLight::EndRunTime() {
    if (runTime_) {
        host_.stop_timer(&host_, *runTime_);
        runTime_.reset();
    }
}

void StairLight::Warn(const std::string& text) const {
    host_.log(&host_, ORN_LOG_WARN, text.c_str());
}

}  // namespace StairLight

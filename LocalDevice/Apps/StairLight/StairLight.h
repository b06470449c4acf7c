#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "orn/app.h"

namespace StairLight {

/// A stair light: the push button switches the lamp on where it is dark, and off again after a while.
///
/// Communication objects: 1 push button (1.001), 2 lamp (1.001), 3 brightness (9.004), 4 text display (16.001).
/// Parameters: number 1 run time in seconds, 0 for one without end; number 2 brightness in lux below which it is dark;
/// text 1 greeting.
///
/// - Button on: the lamp goes on when it is dark; as long as nobody knows the brightness, it is. The run time begins.
///   While the lamp is on, the button only begins the run time anew.
/// - Button off: the lamp goes off at once.
/// - The run time is over: the lamp goes off.
/// - The display gets the greeting when the app starts, unless it is empty.
class StairLight {
public:
    /// `host` outlives the object.
    explicit StairLight(const orn_host& host) : host_(host) {}

    /// Reads the parameters and begins. Returns what the host returned where it refused something.
    orn_result Start();

private:
    static StairLight& Of(void* context) { return *static_cast<StairLight*>(context); }

    orn_result Listen();
    void Greet();
    void OnButton(const orn_value& value);
    void OnBrightness(const orn_value& value);
    void OnRunTimeOver();

    bool IsDark() const;
    void Switch(bool on);
    void BeginRunTime();
    void EndRunTime();
    void Warn(const std::string& text) const;

    const orn_host& host_;
    std::uint32_t runTimeSeconds_ = 0;
    std::uint32_t darkBelowLux_ = 0;

    std::optional<double> brightness_;
    bool isOn_ = false;
    std::optional<orn_timer> runTime_;
};

}  // namespace StairLight

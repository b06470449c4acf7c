#pragma once

#include <optional>
#include <string>
#include <variant>

namespace Ostra {

/// The frames that a device stack sends: one JSON object each.

/// {"request":N,"response":...} or {"request":N,"error":"TEXT"}
struct AnswerFrame {
    unsigned long requestNumber;
    bool accepted;
    std::string text;  ///< the whole frame of an accepted request, the reason of a refused one
};

/// {"event":"valueChanged","id":ID,"value":"TEXT"[,"encoding":"latin-1"]}
struct ValueChangedFrame {
    unsigned long id;
    std::string kind;
    std::string value;
};

/// {"event":"configurationChanged","id":ID}
struct ConfigurationChangedFrame {
    unsigned long id;
};

/// {"event":"emitted","eventType":"TEXT","sender":"NAME"}
struct EventEmittedFrame {
    std::string eventType;
};

/// {"error":"TEXT"}: something that we sent made no sense.
struct ComplaintFrame {
    std::string text;
};

using DeviceStackFrame =
    std::variant<AnswerFrame, ValueChangedFrame, ConfigurationChangedFrame, EventEmittedFrame, ComplaintFrame>;

/// None when `text` is none of these.
std::optional<DeviceStackFrame> ParseDeviceStackFrame(const std::string& text);

}  // namespace Ostra

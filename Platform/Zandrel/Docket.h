#pragma once

#include <memory>
#include <string>

namespace Zandrel {

/// The receipt for one request to the device stack.
///
/// `IsReplyValid` and `IsAnswered` wait until the request is answered, its time-out has passed or the messenger has
/// ended it; the wait is a Boost interruption point. Copies share one answer. Outlives the messenger that gave it.
/// Thread-safe.
class Docket {
public:
    class State;

    /// A docket of nothing: answered, with the error "no request".
    Docket();
    explicit Docket(std::shared_ptr<State> state) noexcept;

    /// True when the device stack accepted the request.
    bool IsReplyValid() const;
    /// False when the time-out passed without an answer; true otherwise, a lost connection included.
    bool IsAnswered() const;
    /// The whole answer, a JSON object, or for `DscAsyncRequestMessenger::GetValue` the value; empty unless the reply
    /// is valid.
    std::string ReadReply() const;
    /// Why the request failed; empty unless it was answered with an error.
    std::string ReadDeliveryError() const;

private:
    std::shared_ptr<State> state_;
};

}  // namespace Zandrel

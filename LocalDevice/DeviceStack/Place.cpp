#include "Place.h"

#include "RequestError.h"

namespace LocalDevice {

std::string Place::ToString() const {
    if (parent_ == nullptr) {
        return {};
    }
    std::string text = parent_->ToString();
    if (index_) {
        return text.append("[").append(std::to_string(*index_)).append("]");
    }
    if (!text.empty()) {
        text += '.';
    }
    return text.append(key_);
}

void Place::Refuse(const std::string& text) const {
    const std::string place = ToString();
    throw RequestError(place.empty() ? text : place + ": " + text);
}

}  // namespace LocalDevice

#include "GroupObjects/GroupObject.h"

namespace LocalDevice {

namespace {

constexpr const char* CommunicationOff = "no communication flag";
constexpr const char* UnknownType = "unknown data-point type";

}  // namespace

void GroupObject::Define(const CommunicationObject& description) {
    isDefined_ = true;
    description_ = description;
    format_ = ValueFormat::Of(description.dpt);
    value_.reset();
    mayBeWritten_ = description.flags.communication;
}

void GroupObject::Undefine() {
    isDefined_ = false;
    mayBeWritten_ = false;
    description_ = {};
    format_.reset();
    value_.reset();
}

std::optional<KnxStack::GroupValue> GroupObject::Receive(const Telegram& telegram, std::string& refusal) {
    const bool isResponse = telegram.service == GroupService::Response;
    if (!description_.flags.communication) {
        refusal = CommunicationOff;
        return std::nullopt;
    }
    if (isResponse ? !description_.flags.update : !description_.flags.write) {
        refusal = isResponse ? "no update flag" : "no write flag";
        return std::nullopt;
    }
    if (!format_) {
        refusal = UnknownType;
        return std::nullopt;
    }
    auto value = format_->Decode(telegram);
    if (!value) {
        refusal = "wrong length: " + GetLengthText(telegram) + " instead of " + format_->GetLengthText();
        return std::nullopt;
    }
    value_ = value;
    return value;
}

bool GroupObject::PassesRead(std::string& refusal) const {
    if (!description_.flags.communication) {
        refusal = CommunicationOff;
        return false;
    }
    if (!description_.flags.read) {
        refusal = "no read flag";
        return false;
    }
    return true;
}

std::optional<KnxStack::GroupValue> GroupObject::Store(const KnxStack::GroupValue& value, std::string& refusal) {
    if (!format_) {
        refusal = UnknownType;
        return std::nullopt;
    }
    auto stored = format_->Normalise(value);
    if (!stored) {
        refusal = "wrong length: " + std::to_string(value.GetSize()) + " bytes instead of " + format_->GetLengthText();
        return std::nullopt;
    }
    value_ = stored;
    return stored;
}

bool GroupObject::Transmits(std::string& refusal) const {
    if (!description_.flags.communication) {
        refusal = CommunicationOff;
        return false;
    }
    if (!description_.flags.transmit) {
        refusal = "no transmit flag";
        return false;
    }
    return true;
}

bool GroupObject::IsReadOnInit() const {
    return description_.flags.communication && description_.flags.readOnInit;
}

Telegram GroupObject::MakeTelegram(GroupService service, std::uint16_t groupAddress,
                                   const std::optional<KnxStack::GroupValue>& value) const {
    Telegram telegram;
    telegram.service = service;
    telegram.groupAddress = groupAddress;
    telegram.isCompact = service != GroupService::Read && format_ && format_->IsCompact();
    if (value) {
        telegram.data = value->GetBytes();
    }
    return telegram;
}

}  // namespace LocalDevice

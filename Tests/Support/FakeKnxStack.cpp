#include "FakeKnxStack.h"

#include <algorithm>
#include <boost/chrono/duration.hpp>
#include <initializer_list>

namespace TestSupport {

using KnxStack::BinaryData;
using Lock = boost::lock_guard<boost::mutex>;

namespace {

constexpr std::uint16_t Cos = 520;
constexpr std::size_t TextBlocks = 50;
constexpr std::size_t TextBlockSize = 128;

FakeProperty::Bytes BigEndian(std::uint32_t value, std::size_t size) {
    FakeProperty::Bytes bytes(size);
    for (std::size_t i = size; i > 0; --i) {
        bytes[i - 1] = static_cast<std::uint8_t>(value);
        value >>= 8U;
    }
    return bytes;
}

template <typename Int>
std::vector<FakeProperty::Bytes> ToElements(const std::vector<Int>& values) {
    std::vector<FakeProperty::Bytes> elements;
    elements.reserve(values.size());
    for (const Int value : values) {
        elements.push_back(BigEndian(value, sizeof(Int)));
    }
    return elements;
}

}  // namespace

void FakeProperty::ServeFrom(std::function<bool(BinaryData&)> read) {
    const Lock lock(mutex_);
    read_ = std::move(read);
}

void FakeProperty::OnEnable(std::function<void()> enabled) {
    const Lock lock(mutex_);
    onEnable_ = std::move(enabled);
}

void FakeProperty::SetElements(std::vector<Bytes> elements) {
    const Lock lock(mutex_);
    elements_ = std::move(elements);
}

void FakeProperty::SetUInt8Elements(const std::vector<std::uint8_t>& elements) {
    SetElements(ToElements(elements));
}

void FakeProperty::SetUInt16Elements(const std::vector<std::uint16_t>& elements) {
    SetElements(ToElements(elements));
}

void FakeProperty::SetUInt32Elements(const std::vector<std::uint32_t>& elements) {
    SetElements(ToElements(elements));
}

void FakeProperty::SetText(const std::string& text) {
    SetUInt8Elements({text.begin(), text.end()});
}

void FakeProperty::SetUInt32Element(std::uint32_t index, std::uint32_t value) {
    const Lock lock(mutex_);
    elements_.at(index) = BigEndian(value, sizeof(value));
}

void FakeProperty::FailElementCount() {
    const Lock lock(mutex_);
    countFails_ = true;
}

void FakeProperty::FailReadOf(std::uint32_t index) {
    const Lock lock(mutex_);
    failingElements_.push_back(index);
}

void FakeProperty::DeliverNothing() {
    const Lock lock(mutex_);
    deliversNothing_ = true;
}

bool FakeProperty::IsEnabled() const {
    const Lock lock(mutex_);
    return enabled_;
}

std::vector<std::uint32_t> FakeProperty::GetReads() const {
    const Lock lock(mutex_);
    return reads_;
}

bool FakeProperty::GetElementCount(std::uint32_t& count) const {
    ++touches_;
    const Lock lock(mutex_);
    count = static_cast<std::uint32_t>(elements_.size());
    return !countFails_;
}

bool FakeProperty::ReadElements(std::uint32_t start, std::uint32_t count, BinaryData& data) const {
    ++touches_;
    std::function<bool(BinaryData&)> read;
    {
        const Lock lock(mutex_);
        read = read_;
        if (!read) {
            Bytes bytes;
            for (std::uint32_t i = start; i < start + count; ++i) {
                reads_.push_back(i);
                const bool fails = std::count(failingElements_.begin(), failingElements_.end(), i) != 0;
                if (fails || i >= elements_.size()) {
                    return false;
                }
                bytes.insert(bytes.end(), elements_[i].begin(), elements_[i].end());
            }
            data = deliversNothing_ ? BinaryData() : BinaryData(std::move(bytes));
            return true;
        }
    }
    return read(data);
}

void FakeProperty::Enable(int enabled) {
    ++touches_;
    std::function<void()> onEnable;
    {
        const Lock lock(mutex_);
        enabled_ = enabled == 1;
        onEnable = onEnable_;
    }
    if (enabled == 1 && onEnable) {
        onEnable();
    }
}

FakeProperty& FakeInterfaceObject::Property(std::uint16_t propertyId) {
    const Lock lock(mutex_);
    return PropertyLocked(propertyId);
}

FakeProperty& FakeInterfaceObject::PropertyLocked(std::uint16_t propertyId) {
    auto& property = properties_[propertyId];
    if (property == nullptr) {
        property = std::make_unique<FakeProperty>(touches_);
    }
    return *property;
}

void FakeInterfaceObject::Remove(std::uint16_t propertyId) {
    const Lock lock(mutex_);
    properties_.erase(propertyId);
}

void FakeInterfaceObject::RefuseToCreate(std::uint16_t propertyId) {
    const Lock lock(mutex_);
    refused_.push_back(propertyId);
}

std::vector<std::string> FakeInterfaceObject::GetCreated() const {
    const Lock lock(mutex_);
    return created_;
}

KnxStack::IProperty* FakeInterfaceObject::GetProperty(std::uint16_t propertyId) {
    ++touches_;
    const Lock lock(mutex_);
    const auto found = properties_.find(propertyId);
    return found == properties_.end() ? nullptr : found->second.get();
}

KnxStack::IProperty* FakeInterfaceObject::Create(std::uint16_t propertyId, std::string description) {
    ++touches_;
    const Lock lock(mutex_);
    if (std::count(refused_.begin(), refused_.end(), propertyId) != 0) {
        return nullptr;
    }
    created_.push_back(std::move(description));
    return &PropertyLocked(propertyId);
}

KnxStack::IProperty* FakeInterfaceObject::CreateUserProperty(std::uint16_t propertyId,
                                                             KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    KnxStack::IProperty* const created = Create(propertyId, std::to_string(propertyId));
    if (created == nullptr) {
        return nullptr;
    }
    user_.Register(user);
    Property(propertyId).ServeFrom([this, propertyId](BinaryData& data) {
        return user_.With([this, propertyId, &data](KnxStack::IInterfaceObjectSimplePropertyUser& registered) {
            return registered.OnPropertyRead(objectType_, propertyId, data);
        });
    });
    return created;
}

KnxStack::IProperty* FakeInterfaceObject::CreateProperty(std::uint16_t propertyId, int dataType, int maxElements,
                                                         int writeEnable, int readEnable) {
    return Create(propertyId, std::to_string(propertyId) + ": " + std::to_string(dataType) + ", " +
                                  std::to_string(maxElements) + ", " + std::to_string(writeEnable) + ", " +
                                  std::to_string(readEnable));
}

FakeInterfaceObject& FakePropertyService::Object(std::uint16_t objectType) {
    const Lock lock(mutex_);
    auto& object = objects_[objectType];
    if (object == nullptr) {
        object = std::make_unique<FakeInterfaceObject>(objectType, user_, touches_);
    }
    return *object;
}

void FakePropertyService::Remove(std::uint16_t objectType) {
    const Lock lock(mutex_);
    objects_.erase(objectType);
}

bool FakePropertyService::Write(std::uint16_t objectType, std::uint16_t propertyId, const BinaryData& data) {
    return user_.With([&](auto& user) { return user.OnPropertyWrite(objectType, propertyId, data); });
}

bool FakePropertyService::Read(std::uint16_t objectType, std::uint16_t propertyId, BinaryData& data) {
    return user_.With([&](auto& user) { return user.OnPropertyRead(objectType, propertyId, data); });
}

bool FakePropertyService::WriteLoadEvent(std::uint8_t event) {
    std::vector<std::uint8_t> octets(10);
    octets.front() = event;
    return Write(FakeKnxStack::ApplicationObject, 5, BinaryData(std::move(octets)));
}

std::vector<std::pair<std::uint16_t, int>> FakePropertyService::GetRequests() const {
    const Lock lock(mutex_);
    return requests_;
}

KnxStack::IInterfaceObject* FakePropertyService::GetInterfaceObject(std::uint16_t objectType, int instance) {
    ++touches_;
    const Lock lock(mutex_);
    requests_.emplace_back(objectType, instance);
    const auto found = objects_.find(objectType);
    return instance > 0 || found == objects_.end() ? nullptr : found->second.get();
}

bool FakePropertyService::UnregisterUser(KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    ++touches_;
    return user_.Unregister(user);
}

FakeGroupValueService::FakeGroupValueService(std::atomic<int>& touches) : touches_(touches) {
    for (std::uint16_t number = 1; number <= Cos; ++number) {
        objects_.emplace(number, std::make_unique<FakeGroupObject>(touches));
    }
}

void FakeGroupValueService::Remove(std::uint16_t number) {
    const Lock lock(mutex_);
    objects_.erase(number);
}

void FakeGroupValueService::OnWrite(std::function<void()> write) {
    const Lock lock(mutex_);
    onWrite_ = std::move(write);
}

bool FakeGroupValueService::SendWrite(std::uint32_t number, const KnxStack::GroupValue& value) {
    return user_.With([&](auto& user) { return user.OnGroupValueWrite(number, value); });
}

bool FakeGroupValueService::SendResponse(std::uint32_t number, const KnxStack::GroupValue& value) {
    return user_.With([&](auto& user) { return user.OnGroupValueResponse(number, value); });
}

bool FakeGroupValueService::SendRead(std::uint32_t number, KnxStack::GroupValue& value) {
    return user_.With([&](auto& user) { return user.OnGroupValueRead(number, value, false); });
}

std::vector<FakeGroupValueService::Written> FakeGroupValueService::GetWrites() const {
    const Lock lock(mutex_);
    return writes_;
}

std::vector<std::string> FakeGroupValueService::GetWrittenTexts() const {
    std::vector<std::string> texts;
    for (const auto& [number, bytes] : GetWrites()) {
        texts.emplace_back(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
    }
    return texts;
}

std::vector<unsigned> FakeGroupValueService::GetWriteOptions() const {
    const Lock lock(mutex_);
    return writeOptions_;
}

bool FakeGroupValueService::WaitForWrites(std::size_t count) const {
    boost::unique_lock<boost::mutex> lock(mutex_);
    return written_.wait_for(lock, boost::chrono::seconds(10), [this, count] { return writes_.size() >= count; });
}

KnxStack::IGroupObject* FakeGroupValueService::GetGroupObject(std::uint16_t number) {
    ++touches_;
    const Lock lock(mutex_);
    const auto found = objects_.find(number);
    return found == objects_.end() ? nullptr : found->second.get();
}

void FakeGroupValueService::RegisterUser(KnxStack::IGroupValueUser& user) {
    ++touches_;
    user_.Register(user);
}

bool FakeGroupValueService::UnregisterUser(KnxStack::IGroupValueUser& user) {
    ++touches_;
    return user_.Unregister(user);
}

bool FakeGroupValueService::WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned options) {
    ++touches_;
    if (refusesWrites_) {
        return false;
    }
    boost::unique_lock<boost::mutex> lock(mutex_);
    writes_.emplace_back(number, value.GetBytes());
    writeOptions_.push_back(options);
    written_.notify_all();
    const auto onWrite = onWrite_;
    lock.unlock();
    if (onWrite) {
        onWrite();
    }
    return true;
}

void FakeMemory::SetContent(std::vector<std::uint8_t> content) {
    const Lock lock(mutex_);
    content_ = std::move(content);
}

void FakeMemory::SetText(std::size_t offset, const std::string& text) {
    const Lock lock(mutex_);
    content_.resize(std::max(content_.size(), offset + text.size() + 1));
    std::copy(text.begin(), text.end(), content_.begin() + static_cast<std::ptrdiff_t>(offset));
    content_[offset + text.size()] = 0;
}

BinaryData FakeMemory::GetContent() const {
    ++touches_;
    const Lock lock(mutex_);
    return BinaryData(content_);
}

FakeKnxStack::FakeKnxStack() : properties_(touches_), groupValues_(touches_), memory_(touches_) {
    auto& device = properties_.Object(0);
    device.Property(11).SetElements({{0x00, 0x0A, 0x14, 0xFF, 0x01, 0x02}});
    device.Property(78).SetElements({{0x00, 0x01, 0x02, 0x03, 0x04, 0x05}});
    for (const std::uint16_t objectType : std::initializer_list<std::uint16_t>{1, 2, 3, 9}) {
        LoadState(objectType).SetUInt8Elements({1});
    }
    auto& ipParameters = properties_.Object(11);
    ipParameters.Property(76).SetText("Test device");
    ipParameters.Property(52).SetUInt16Elements({0x110A});
    LoadState(ApplicationObject).OnEnable([this] {
        properties_.WriteLoadEvent(1);
        properties_.WriteLoadEvent(2);
    });
    memory_.SetContent(std::vector<std::uint8_t>(TextBlocks * TextBlockSize));
}

void FakeKnxStack::DownloadApplication(const std::string& appId, std::uint8_t appType) {
    auto& application = Application();
    application.Property(72).SetText(appId);
    application.Property(71).SetUInt8Elements({0, 1, appType});
    application.Property(64).SetUInt32Elements(std::vector<std::uint32_t>(Cos));
    application.Property(66).SetUInt32Elements(std::vector<std::uint32_t>(Cos));
    application.Property(68).SetUInt32Elements({});
    application.Property(69).SetUInt32Elements({});
}

void FakeKnxStack::DownloadCo(std::uint16_t number, std::uint32_t dpt, bool communication) {
    Application().Property(64).SetUInt32Element(number - 1U, dpt);
    Application().Property(66).SetUInt32Element(number - 1U, communication ? 1 : 0);
}

std::vector<bool> FakeKnxStack::GetRunStates() const {
    const Lock lock(mutex_);
    return runStates_;
}

KnxStack::IGroupValueService* FakeKnxStack::GetGroupValueService() {
    ++touches_;
    return hasGroupValues_ ? &groupValues_ : nullptr;
}

KnxStack::IPropertyService* FakeKnxStack::GetPropertyService() {
    ++touches_;
    return hasProperties_ ? &properties_ : nullptr;
}

KnxStack::IMemory* FakeKnxStack::GetApplicationPrg1Memory() {
    ++touches_;
    return hasMemory_ ? &memory_ : nullptr;
}

void FakeKnxStack::SetRunState(bool running) {
    ++touches_;
    const Lock lock(mutex_);
    runStates_.push_back(running);
}

KnxStack::GroupValue MakeGroupValue(std::vector<std::uint8_t> bytes) {
    return KnxStack::GroupValue(std::move(bytes));
}

}  // namespace TestSupport

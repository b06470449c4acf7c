#include "Stack.h"

#include <algorithm>
#include <boost/algorithm/hex.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <iostream>
#include <iterator>
#include <stdexcept>

namespace MinimalStackHost {

namespace {

using ObjectTypes = std::vector<std::uint16_t>;

constexpr std::uint16_t Application = 40960;
constexpr std::uint16_t LoadStateControl = 5;
constexpr std::uint8_t Loaded = 1;
constexpr std::uint16_t GroupObjectCount = 520;
constexpr std::size_t MemorySize = 6400;
constexpr std::size_t TextBlock = 128;

boost::chrono::seconds ToBoost(std::chrono::seconds limit) {
    return boost::chrono::seconds(limit.count());
}

std::string Name(std::uint16_t objectType, std::uint16_t propertyId) {
    return std::to_string(objectType) + "/" + std::to_string(propertyId);
}

}  // namespace

void Print(const std::string& line) {
    static boost::mutex mutex;
    const boost::lock_guard<boost::mutex> lock(mutex);
    std::cout << line << std::endl;
}

std::string ToHex(const Bytes& bytes) {
    std::string digits;
    boost::algorithm::hex_lower(bytes.begin(), bytes.end(), std::back_inserter(digits));
    return digits;
}

Bytes FromHex(const std::string& digits) {
    Bytes bytes;
    try {
        boost::algorithm::unhex(digits.begin(), digits.end(), std::back_inserter(bytes));
    } catch (const boost::algorithm::hex_decode_error&) {
        throw std::invalid_argument("\"" + digits + "\" are no hexadecimal digits");
    }
    return bytes;
}

bool Property::GetElementCount(std::uint32_t& count) const {
    count = static_cast<std::uint32_t>(content_.size() / elementSize_);
    return true;
}

bool Property::ReadElements(std::uint32_t start, std::uint32_t count, KnxStack::BinaryData& data) const {
    auto* const user = GetUser();
    if (user != nullptr && user->OnPropertyRead(objectType_, id_, data)) {
        return true;
    }
    const std::uint64_t begin = std::uint64_t{start} * elementSize_;
    const std::uint64_t end = begin + std::uint64_t{count} * elementSize_;
    if (end > content_.size()) {
        return false;
    }
    data = KnxStack::BinaryData(Bytes(std::next(content_.begin(), static_cast<std::ptrdiff_t>(begin)),
                                      std::next(content_.begin(), static_cast<std::ptrdiff_t>(end))));
    return true;
}

void Property::Enable(int enabled) {
    Print("property " + Name(objectType_, id_) + " enabled: " + std::to_string(enabled));
    if (GetUser() != nullptr && enabled == 1) {
        WriteLoadEvent(1);
        WriteLoadEvent(2);
    }
}

void Property::SetUser(KnxStack::IInterfaceObjectSimplePropertyUser* user) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    user_ = user;
}

KnxStack::IInterfaceObjectSimplePropertyUser* Property::GetUser() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return user_;
}

void Property::WriteLoadEvent(std::uint8_t event) {
    Bytes octets(10, 0);
    octets.front() = event;
    auto* const user = GetUser();
    if (user != nullptr) {
        user->OnPropertyWrite(objectType_, id_, KnxStack::BinaryData(octets));
    }
}

KnxStack::IProperty* InterfaceObject::GetProperty(std::uint16_t propertyId) {
    return Find(propertyId);
}

KnxStack::IProperty* InterfaceObject::CreateUserProperty(std::uint16_t propertyId,
                                                         KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    Print("property " + Name(type_, propertyId) + " created for a user");
    Property* const property = Find(propertyId);
    if (property != nullptr) {
        property->SetUser(&user);
    }
    return property;
}

KnxStack::IProperty* InterfaceObject::CreateProperty(std::uint16_t propertyId, int dataType, int maxElements,
                                                     int writeEnable, int readEnable) {
    Print("property " + Name(type_, propertyId) + " created: " + std::to_string(dataType) + ", " +
          std::to_string(maxElements) + ", " + std::to_string(writeEnable) + ", " + std::to_string(readEnable));
    const std::size_t elementSize = dataType == 8 || dataType == 9 ? 4 : 1;
    Add(propertyId, elementSize, prepared_[propertyId]);
    return Find(propertyId);
}

void InterfaceObject::Add(std::uint16_t propertyId, std::size_t elementSize, Bytes content) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    auto& property = properties_[propertyId];
    if (!property) {
        property = std::make_unique<Property>(type_, propertyId, elementSize, std::move(content));
    }
}

Property* InterfaceObject::Find(std::uint16_t propertyId) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const auto found = properties_.find(propertyId);
    return found == properties_.end() ? nullptr : found->second.get();
}

bool InterfaceObject::Release(const KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    bool isReleased = false;
    for (const auto& [id, property] : properties_) {
        if (property->GetUser() == &user) {
            property->SetUser(nullptr);
            isReleased = true;
        }
    }
    return isReleased;
}

Stack::Stack(Device device) : device_(std::move(device)), memory_(MemorySize, 0) {
    for (const std::uint16_t type : ObjectTypes{0, 1, 2, 3, 9, 11, Application}) {
        objects_[type] = std::make_unique<InterfaceObject>(type);
    }
    for (const std::uint16_t type : ObjectTypes{1, 2, 3, 9, Application}) {
        objects_[type]->Add(LoadStateControl, 1, {Loaded});
    }
    objects_[0]->Add(11, 6, device_.serialNumber);
    objects_[0]->Add(78, 6, {0, 0, 1, 0, 0, 2});
    objects_[11]->Add(76, 1, {'M', 'i', 'n', 'i', 'm', 'a', 'l'});
    objects_[11]->Add(52, 2, {0x11, 0x14});

    KnxStack::BinaryData types;
    KnxStack::BinaryData communication;
    for (std::uint16_t number = 1; number <= GroupObjectCount; ++number) {
        const auto found = device_.objectTypes.find(number);
        const bool isThere = found != device_.objectTypes.end();
        types.AppendUInt32Value(isThere ? found->second : 0);
        communication.AppendUInt32Value(isThere ? 1 : 0);
    }
    InterfaceObject& application = *objects_[Application];
    application.Prepare(64, types.GetBytes());
    application.Prepare(66, communication.GetBytes());
    application.Prepare(71, {1, 1, device_.appType});
    application.Prepare(72, Bytes(device_.appId.begin(), device_.appId.end()));
    for (const auto& [slot, text] : device_.texts) {
        const std::size_t begin = (slot - std::size_t{1}) * TextBlock;
        if (slot != 0 && begin + TextBlock <= MemorySize && text.size() < TextBlock) {
            std::copy(text.begin(), text.end(), std::next(memory_.begin(), static_cast<std::ptrdiff_t>(begin)));
        }
    }
}

KnxStack::IMemory* Stack::GetApplicationPrg1Memory() {
    Print("application memory taken");
    return this;
}

void Stack::SetRunState(bool running) {
    Print(std::string("run state: ") + (running ? "running" : "error"));
    const boost::lock_guard<boost::mutex> lock(mutex_);
    runState_ = running;
    changed_.notify_all();
}

KnxStack::IInterfaceObject* Stack::GetInterfaceObject(std::uint16_t objectType, int instance) {
    const auto found = objects_.find(objectType);
    return found != objects_.end() && instance <= 0 ? found->second.get() : nullptr;
}

bool Stack::UnregisterUser(KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    // The script makes its calls to the user on the thread that also calls the plug-in: none is running here.
    bool isReleased = false;
    for (const auto& [type, object] : objects_) {
        isReleased = object->Release(user) || isReleased;
    }
    Print("property user gone");
    return isReleased;
}

KnxStack::IGroupObject* Stack::GetGroupObject(std::uint16_t number) {
    return device_.objectTypes.count(number) != 0 ? &groupObject_ : nullptr;
}

void Stack::RegisterUser(KnxStack::IGroupValueUser& user) {
    Print("group value user there");
    const boost::lock_guard<boost::mutex> lock(mutex_);
    user_ = &user;
}

bool Stack::UnregisterUser(KnxStack::IGroupValueUser& user) {
    boost::unique_lock<boost::mutex> lock(mutex_);
    if (user_ != &user) {
        return false;
    }
    user_ = nullptr;
    changed_.wait(lock, [this] { return runningCalls_ == 0; });
    Print("group value user gone");
    return true;
}

bool Stack::WriteValue(std::uint16_t number, const KnxStack::GroupValue& value, unsigned) {
    Print("group object " + std::to_string(number) + " written: " + ToHex(value.GetBytes()));
    const boost::lock_guard<boost::mutex> lock(mutex_);
    written_.emplace_back(number, value.GetBytes());
    changed_.notify_all();
    return device_.objectTypes.count(number) != 0;
}

void Stack::Forget() {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    runState_.reset();
    written_.clear();
}

std::optional<bool> Stack::WaitForRunState(Seconds limit) {
    boost::unique_lock<boost::mutex> lock(mutex_);
    changed_.wait_for(lock, ToBoost(limit), [this] { return runState_.has_value(); });
    return runState_;
}

bool Stack::WaitForValue(std::uint16_t number, const Bytes& value, Seconds limit) {
    boost::unique_lock<boost::mutex> lock(mutex_);
    return changed_.wait_for(lock, ToBoost(limit), [&] {
        return std::find(written_.begin(), written_.end(), std::make_pair(number, value)) != written_.end();
    });
}

template <typename Call>
bool Stack::WithUser(Call call) {
    KnxStack::IGroupValueUser* user = nullptr;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        user = user_;
        runningCalls_ += user != nullptr ? 1 : 0;
    }
    if (user == nullptr) {
        return false;
    }
    const bool result = call(*user);
    const boost::lock_guard<boost::mutex> lock(mutex_);
    --runningCalls_;
    changed_.notify_all();
    return result;
}

bool Stack::SendWrite(std::uint16_t number, const Bytes& value) {
    return WithUser(
        [&](KnxStack::IGroupValueUser& user) { return user.OnGroupValueWrite(number, KnxStack::GroupValue(value)); });
}

bool Stack::SendResponse(std::uint16_t number, const Bytes& value) {
    return WithUser([&](KnxStack::IGroupValueUser& user) {
        return user.OnGroupValueResponse(number, KnxStack::GroupValue(value));
    });
}

std::optional<Bytes> Stack::SendRead(std::uint16_t number) {
    KnxStack::GroupValue value;
    const bool isThere =
        WithUser([&](KnxStack::IGroupValueUser& user) { return user.OnGroupValueRead(number, value, false); });
    return isThere ? std::optional(value.GetBytes()) : std::nullopt;
}

void Stack::WriteLoadEvent(std::uint8_t event) {
    objects_[Application]->Find(LoadStateControl)->WriteLoadEvent(event);
}

}  // namespace MinimalStackHost

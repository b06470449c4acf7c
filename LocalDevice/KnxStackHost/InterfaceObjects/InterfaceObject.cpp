#include "InterfaceObjects/InterfaceObject.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <utility>

namespace LocalDevice {

/// The exclusive right to hand load events to the user; no lock, since the user is called meanwhile.
class InterfaceObject::Turn {
public:
    explicit Turn(InterfaceObject& object) : object_(object) {
        boost::unique_lock<boost::mutex> lock(object_.mutex_);
        object_.turnEnded_.wait(lock, [this] { return !object_.isTurnTaken_; });
        object_.isTurnTaken_ = true;
    }
    ~Turn() {
        const boost::lock_guard<boost::mutex> lock(object_.mutex_);
        object_.isTurnTaken_ = false;
        object_.turnEnded_.notify_one();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    InterfaceObject& object_;
};

InterfaceObject::InterfaceObject(std::uint16_t type, bool isLoadable) : type_(type), isLoadable_(isLoadable) {
    if (isLoadable_) {
        Add({type_, LoadStateControlProperty, 1, 1, true, true})->Enable(1);
        SetLoadState(LoadState::Unloaded);
    }
}

KnxStack::IProperty* InterfaceObject::GetProperty(std::uint16_t propertyId) {
    return FindProperty(propertyId);
}

KnxStack::IProperty* InterfaceObject::CreateUserProperty(std::uint16_t propertyId,
                                                         KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    Add({type_, propertyId, 1, 1, true, true});
    Property* const property = FindProperty(propertyId);
    property->Serve(user);
    return property;
}

KnxStack::IProperty* InterfaceObject::CreateProperty(std::uint16_t propertyId, int dataType, int maxElements,
                                                     int writeEnable, int readEnable) {
    const auto elementSize = GetElementSize(dataType);
    if (!elementSize || maxElements < 1) {
        return nullptr;
    }
    return Add(
        {type_, propertyId, *elementSize, static_cast<std::size_t>(maxElements), writeEnable != 0, readEnable != 0});
}

Property* InterfaceObject::FindProperty(std::uint16_t propertyId) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const auto found = properties_.find(propertyId);
    return found == properties_.end() ? nullptr : found->second.get();
}

bool InterfaceObject::SetContent(std::uint16_t propertyId, std::vector<std::uint8_t> content) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const auto found = properties_.find(propertyId);
    if (found != properties_.end()) {
        return found->second->SetContent(std::move(content));
    }
    pendingContents_[propertyId] = std::move(content);
    return true;
}

bool InterfaceObject::Release(const KnxStack::IInterfaceObjectSimplePropertyUser& user) {
    std::vector<Property*> properties;
    {
        const boost::lock_guard<boost::mutex> lock(mutex_);
        for (const auto& [id, property] : properties_) {
            properties.push_back(property.get());
        }
    }
    bool isReleased = false;
    for (Property* const property : properties) {
        isReleased = property->Release(user) || isReleased;
    }
    return isReleased;
}

LoadState InterfaceObject::WriteLoadEvent(LoadEvent event) {
    if (!isLoadable_) {
        return LoadState::Unloaded;
    }
    const Turn turn(*this);
    const LoadState state = Next(GetLoadState(), event);
    SetLoadState(state);
    FindProperty(LoadStateControlProperty)->WriteToUser(ToOctets(event));
    return state;
}

LoadState InterfaceObject::GetLoadState() const {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    return loadState_;
}

std::uint64_t InterfaceObject::GetLoadCheckCount() {
    const Property* const control = FindProperty(LoadStateControlProperty);
    return control == nullptr ? 0 : control->GetReadCount();
}

void InterfaceObject::ReplayLoadEvents() {
    const Turn turn(*this);
    for (const LoadEvent event : EventsLeadingTo(GetLoadState())) {
        FindProperty(LoadStateControlProperty)->WriteToUser(ToOctets(event));
    }
}

KnxStack::IProperty* InterfaceObject::Add(const PropertyDescription& description) {
    const bool isLoadControl = isLoadable_ && description.propertyId == LoadStateControlProperty;
    const boost::lock_guard<boost::mutex> lock(mutex_);
    const auto existing = properties_.find(description.propertyId);
    if (existing != properties_.end()) {
        return existing->second.get();
    }
    auto created = std::make_unique<Property>(
        description, isLoadControl ? Property::EnableHandler([this] { ReplayLoadEvents(); }) : nullptr);
    const auto pending = pendingContents_.find(description.propertyId);
    if (pending != pendingContents_.end() && !created->SetContent(pending->second)) {
        return nullptr;
    }
    pendingContents_.erase(description.propertyId);
    return properties_.emplace(description.propertyId, std::move(created)).first->second.get();
}

void InterfaceObject::SetLoadState(LoadState state) {
    const boost::lock_guard<boost::mutex> lock(mutex_);
    loadState_ = state;
    properties_.at(LoadStateControlProperty)->SetContent({static_cast<std::uint8_t>(state)});
}

}  // namespace LocalDevice

#pragma once

#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "InterfaceObjects/LoadState.h"
#include "InterfaceObjects/Property.h"
#include "KnxStack/IPropertyService.h"

namespace LocalDevice {

/// The property that holds the load state of an object and takes its load-control events.
constexpr std::uint16_t LoadStateControlProperty = 5;

/// One interface object with its properties and its load state. Thread-safe; users are called without a lock.
class InterfaceObject final : public KnxStack::IInterfaceObject {
public:
    /// `isLoadable`: the object has a load state control, in the state "unloaded".
    InterfaceObject(std::uint16_t type, bool isLoadable);

    KnxStack::IProperty* GetProperty(std::uint16_t propertyId) override;
    KnxStack::IProperty* CreateUserProperty(std::uint16_t propertyId,
                                            KnxStack::IInterfaceObjectSimplePropertyUser& user) override;
    KnxStack::IProperty* CreateProperty(std::uint16_t propertyId, int dataType, int maxElements, int writeEnable,
                                        int readEnable) override;

    /// The property, or null when the object has none of this id.
    Property* FindProperty(std::uint16_t propertyId);

    /// The content of a property, at once or as soon as the property is created. False when the property is there and
    /// cannot hold it.
    bool SetContent(std::uint16_t propertyId, std::vector<std::uint8_t> content);

    /// Takes `user` off every property. False when it served none.
    bool Release(const KnxStack::IInterfaceObjectSimplePropertyUser& user);

    /// Moves the load state and hands the event to the user of the load state control, where there is one. Events of
    /// several threads come one after the other. Returns the new state.
    LoadState WriteLoadEvent(LoadEvent event);

    /// The stack's own load state.
    LoadState GetLoadState() const;
    /// How often the application program has asked for the load state.
    std::uint64_t GetLoadCheckCount();

private:
    class Turn;

    void ReplayLoadEvents();
    KnxStack::IProperty* Add(const PropertyDescription& description);
    void SetLoadState(LoadState state);

    const std::uint16_t type_;
    const bool isLoadable_;

    mutable boost::mutex mutex_;
    boost::condition_variable turnEnded_;
    bool isTurnTaken_ = false;  ///< somebody hands load events to the user
    LoadState loadState_ = LoadState::Unloaded;
    std::map<std::uint16_t, std::unique_ptr<Property>> properties_;  ///< none is ever removed
    std::map<std::uint16_t, std::vector<std::uint8_t>> pendingContents_;
};

}  // namespace LocalDevice

#include "Application/Downloader.h"

#include <algorithm>
#include <boost/thread/future.hpp>
#include <utility>

namespace LocalDevice {

namespace {

constexpr const char* Stopped = "the host is ending";

bool Contains(const std::vector<std::uint16_t>& objects, std::uint16_t objectType) {
    return std::find(objects.begin(), objects.end(), objectType) != objects.end();
}

}  // namespace

std::vector<std::uint16_t> DownloadRequest::EverythingLoadable() {
    std::vector<std::uint16_t> objects(LoadableObjects.begin(), LoadableObjects.end());
    objects.push_back(ObjectType::IpParameters);
    return objects;
}

Downloader::Downloader(InterfaceObjects& objects, ApplicationMemory& memory, GroupObjectService& groupObjects,
                       ApiHub& hub, HostEvents& events, LoadObserver observer, std::chrono::milliseconds pause)
    : objects_(objects),
      memory_(memory),
      groupObjects_(groupObjects),
      hub_(hub),
      events_(events),
      observer_(std::move(observer)),
      pause_(pause) {}

void Downloader::PowerUp(const DeviceDescription& description) {
    StoreProperties(ObjectType::Device, MakeDeviceProperties(description));
    StoreData(ObjectType::IpParameters, description);
    for (const std::uint16_t type : LoadableObjects) {
        StoreData(type, description);
        objects_.Find(type)->WriteLoadEvent(LoadEvent::StartLoading);
        objects_.Find(type)->WriteLoadEvent(LoadEvent::LoadCompleted);
    }
    UpdateOnline();
    groupObjects_.OnLoaded();
}

std::optional<std::string> Downloader::Download(const DeviceDescription& description, const DownloadRequest& request) {
    return Run([this, &description, &request] { return DownloadNow(description, request); });
}

std::optional<std::string> Downloader::Unload() {
    return Run([this] { return UnloadNow(); });
}

Downloader::Problem Downloader::Run(std::function<Problem()> job) {
    boost::promise<Problem> promise;
    auto future = promise.get_future();
    const bool isAccepted = thread_.Post([&promise, job = std::move(job)] { promise.set_value(job()); });
    return isAccepted ? future.get() : Problem("too many downloads are waiting");
}

Downloader::Problem Downloader::DownloadNow(const DeviceDescription& description, const DownloadRequest& request) {
    if (Contains(request.objects, ObjectType::IpParameters)) {
        StoreData(ObjectType::IpParameters, description);
    }
    for (const std::uint16_t type : LoadableObjects) {
        if (!Contains(request.objects, type)) {
            continue;
        }
        const bool isAborted = request.abortAfter == type;
        if (!Load(type, description, isAborted)) {
            return Stopped;
        }
        if (isAborted) {
            return std::nullopt;
        }
    }
    if (objects_.AreAllLoaded()) {
        groupObjects_.OnLoaded();
        observer_.onLoaded(cyclesBeforeLastStep_);
    }
    return std::nullopt;
}

Downloader::Problem Downloader::UnloadNow() {
    for (const std::uint16_t type : LoadableObjects) {
        if (!Step(type, LoadEvent::Unload)) {
            return Stopped;
        }
        ClearData(type);
    }
    return std::nullopt;
}

/// False when stopped.
bool Downloader::Load(std::uint16_t objectType, const DeviceDescription& description, bool isAborted) {
    if (!Step(objectType, LoadEvent::Unload)) {
        return false;
    }
    ClearData(objectType);
    if (!Step(objectType, LoadEvent::StartLoading)) {
        return false;
    }
    StoreData(objectType, description);
    return isAborted || Step(objectType, LoadEvent::LoadCompleted);
}

/// False when stopped.
bool Downloader::Step(std::uint16_t objectType, LoadEvent event) {
    if (!stop_.Sleep(pause_)) {
        return false;
    }
    Write(objectType, event);
    return true;
}

void Downloader::Write(std::uint16_t objectType, LoadEvent event) {
    InterfaceObject& object = *objects_.Find(objectType);
    const LoadState state = object.GetLoadState();
    const bool leavesLoaded =
        objectType == ObjectType::Application && state == LoadState::Loaded && Next(state, event) != LoadState::Loaded;
    cyclesBeforeLastStep_ = hub_.GetCycleCount();
    if (leavesLoaded) {
        hub_.ForgetRunState();
        observer_.onUnloading();
    }
    const LoadState newState = object.WriteLoadEvent(event);
    UpdateOnline();
    events_.Publish(LoadStateEvent{objectType, newState});
    if (leavesLoaded) {
        observer_.onUnloaded();
    }
}

void Downloader::StoreData(std::uint16_t objectType, const DeviceDescription& description) {
    switch (objectType) {
        case ObjectType::AssociationTable:
            groupObjects_.LoadAssociations(&description);
            break;
        case ObjectType::ApplicationProgram:
            memory_.Load(MakeApplicationMemory(description));
            hub_.OnMemoryLoaded();
            break;
        case ObjectType::GroupObjectTable:
            groupObjects_.LoadObjects(&description);
            break;
        case ObjectType::IpParameters:
            StoreProperties(objectType, MakeIpParameterProperties(description));
            break;
        case ObjectType::Application:
            StoreProperties(objectType, MakeApplicationProperties(description));
            break;
        default:
            break;  // the address table has no data of its own: the associations name the addresses
    }
}

void Downloader::ClearData(std::uint16_t objectType) {
    switch (objectType) {
        case ObjectType::AssociationTable:
            groupObjects_.LoadAssociations(nullptr);
            break;
        case ObjectType::ApplicationProgram:
            memory_.Load({});
            break;
        case ObjectType::GroupObjectTable:
            groupObjects_.LoadObjects(nullptr);
            break;
        case ObjectType::Application: {
            PropertyContents contents = MakeApplicationProperties({});
            for (auto& [id, content] : contents) {
                content.clear();
            }
            StoreProperties(objectType, contents);
            break;
        }
        default:
            break;
    }
}

void Downloader::StoreProperties(std::uint16_t objectType, const PropertyContents& contents) {
    for (const auto& [id, content] : contents) {
        if (!objects_.Find(objectType)->SetContent(id, content)) {
            events_.Publish(MessageEvent{true, "property " + std::to_string(id) + " of the " +
                                                   GetObjectName(objectType) + " object cannot hold " +
                                                   std::to_string(content.size()) + " bytes"});
        }
    }
}

/// Group communication needs the two tables of addresses and the group objects.
void Downloader::UpdateOnline() {
    const auto isLoaded = [this](std::uint16_t type) {
        return objects_.Find(type)->GetLoadState() == LoadState::Loaded;
    };
    groupObjects_.SetOnline(isLoaded(ObjectType::AddressTable) && isLoaded(ObjectType::AssociationTable) &&
                            isLoaded(ObjectType::GroupObjectTable));
}

}  // namespace LocalDevice

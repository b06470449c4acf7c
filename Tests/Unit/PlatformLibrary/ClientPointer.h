#pragma once

#include <memory>

#include "Ostra/IDeviceStackClient.h"

struct ClientReleaser {
    void operator()(Ostra::IDeviceStackClient* client) const { Ostra::ReleaseDeviceStackClient(client); }
};

/// A client as `Ostra::CreateDeviceStackClient` returns it.
using ClientPointer = std::unique_ptr<Ostra::IDeviceStackClient, ClientReleaser>;

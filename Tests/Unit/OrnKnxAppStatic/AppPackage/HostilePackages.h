#pragma once

#include <functional>
#include <string>
#include <vector>

#include "AppPackage.h"

/// Packages that a device must not accept, each made from a good one.
struct HostilePackage {
    std::string group;
    std::string name;
    std::function<void(const TestSupport::AppPackage&)> make;
};

/// All of them: file names, kinds of files, certificates, signatures, sizes, and the lists of `MakeHostileXml`.
std::vector<HostilePackage> MakeHostilePackages();

/// Those whose list, signed by the developer, is hostile XML.
std::vector<HostilePackage> MakeHostileXml();

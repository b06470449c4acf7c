#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

#include "LocalDevice.h"

namespace EndToEnd {

/// The place of managed apps and of the CA's certificate, copied from the build's and seen only by programs that are
/// run with it: tests that change them do not disturb each other.
class OwnAppFolder {
public:
    /// False where the machine lets nobody mount a folder of his own.
    static bool IsPossible();

    OwnAppFolder();

    boost::filesystem::path GetApp() const { return folder_.GetPath() / "ornApp" / "1"; }
    boost::filesystem::path GetCaCertificate() const { return folder_.GetPath() / "programmable" / "ca.crt"; }
    /// The same place as a program sees it that is run with the folder.
    static std::string GetAppAsSeen();

    /// A program with arguments that becomes the program behind them, run with this folder.
    std::vector<std::string> GetRunner() const;

private:
    TemporaryFolder folder_;
};

}  // namespace EndToEnd

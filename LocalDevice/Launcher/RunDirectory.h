#pragma once

#include <boost/filesystem/path.hpp>
#include <string>
#include <vector>

namespace LocalDevice {

/// The folder of one running local device: its sockets and logs.
///
/// A fresh one lies in the temporary folder, for its user only, and goes away with this object, unless its logs are to
/// be kept. In a given one the sockets go away and the logs stay.
class RunDirectory {
public:
    /// `path`: created where it is missing; empty takes a fresh one. Throws `std::runtime_error`, one line, where that
    /// fails or another local device runs there.
    explicit RunDirectory(const std::string& path);
    ~RunDirectory();
    RunDirectory(const RunDirectory&) = delete;
    RunDirectory& operator=(const RunDirectory&) = delete;

    const boost::filesystem::path& GetPath() const { return path_; }
    std::string SupervisorSocket() const;
    std::string ControlSocket(int logicalDevice) const { return ControlSocketIn(path_, logicalDevice); }
    /// In which the two halves of a managed app find each other.
    std::string ConnectorPortFile(int logicalDevice) const;
    /// The log of a program, such as "host1".
    std::string Log(const std::string& name) const;

    /// Lets the logs of a fresh folder stay. False where it is none, or holds no log that says something.
    bool KeepLogs();

    /// Leaves the device stack's address, "HOST:PORT", to other programs. Throws `std::runtime_error` where it cannot.
    void StoreDeviceStackAddress(const std::string& address) const;
    /// The address that the local device in `directory` has left; empty where there is none.
    static std::string LoadDeviceStackAddress(const boost::filesystem::path& directory);

    static std::string ControlSocketIn(const boost::filesystem::path& directory, int logicalDevice);

    /// Where fresh folders are made: TMPDIR, or /tmp. Throws `std::runtime_error`, one line, where it is no folder.
    static boost::filesystem::path GetTemporaryFolder();

    /// The fresh folders of this user in which a local device is running. Throws as
    /// `GetTemporaryFolder` does.
    static std::vector<boost::filesystem::path> FindRunning();

private:
    const boost::filesystem::path path_;
    const bool isFresh_;
    bool isKept_ = false;
};

/// Whether somebody listens at a Unix stream socket. False for a path that is too long for one.
bool IsListening(const std::string& socketPath);

}  // namespace LocalDevice

#include "Install.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "DeveloperCertificate.h"
#include "DeviceRoot.h"
#include "FolderLock.h"
#include "NameExchange.h"
#include "OutputFile.h"
#include "PackageContent.h"
#include "PackageError.h"
#include "PackageFiles.h"
#include "PemFiles.h"
#include "RegularFile.h"
#include "SignalBlock.h"
#include "Verify.h"
#include "VerifyAppPackage.h"

namespace LocalDevice {

namespace {

namespace filesystem = boost::filesystem;
namespace PackageFiles = Zandrel::PackageFiles;
using boost::system::error_code;
using Zandrel::RegularFile;

// On the device
constexpr const char* AppDirectory = "opt/userdata/ornApp/1";
constexpr const char* CaCertificate = "opt/ostra/etc/programmable/ca.crt";

// For the service's user, who is another one than the installer
constexpr mode_t ReadByAll = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
constexpr mode_t RunByAll = S_IXUSR | S_IXGRP | S_IXOTH;
constexpr std::size_t ChunkSize = std::size_t{64} << 10;

/// The root folder of the device that belongs to this program.
filesystem::path GetOwnRoot() {
    return FindDeviceRoot(filesystem::read_symlink("/proc/self/exe").parent_path());
}

/// The certificate that packages are checked with and nothing else of its file, as PEM.
std::string ReadCaCertificate(const filesystem::path& file) {
    const Zandrel::CertificatePointer certificate = Zandrel::LoadCerfificate(file);
    if (certificate == nullptr) {
        throw Unexpected("nothing was installed");
    }
    return ToPem(*certificate);
}

void MakeFolder(const filesystem::path& folder) {
    error_code error;
    filesystem::create_directories(folder, error);
    CheckWritten(error, folder);
}

bool IsProgram(const filesystem::path& file) {
    error_code ignored;  // what cannot be looked at cannot be read
    return (filesystem::status(file, ignored).permissions() & filesystem::owner_exe) != 0;
}

void CopyFile(const std::string& name, const filesystem::path& from, const filesystem::path& to) {
    MakeFolder((to / name).parent_path());
    // Not by copy_file: between two file systems the kernel's own copy may not do it.
    std::optional<RegularFile> source = RegularFile::Open(from / name, RegularFile::Links::Refused);
    OutputFile target(to / name, IsProgram(from / name) ? ReadByAll | RunByAll : ReadByAll);
    std::vector<char> buffer(ChunkSize);
    for (;;) {
        const std::optional<std::size_t> count = source ? source->Read(buffer.data(), buffer.size()) : std::nullopt;
        if (!count) {
            throw Unexpected("cannot read " + (from / name).string());
        }
        if (*count == 0) {
            break;
        }
        target.Write(buffer.data(), *count);
    }
    target.Close();
}

/// A name beside another one, for what is to take its place. Whatever it stands for at the end is removed.
class Draft {
public:
    explicit Draft(const filesystem::path& place) : path_(place.string() + ".new") { Remove(); }
    ~Draft() {
        error_code ignored;  // the next installation tells
        filesystem::remove_all(path_, ignored);
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    const filesystem::path& GetPath() const { return path_; }
    void Remove() const {
        error_code error;
        filesystem::remove_all(path_, error);
        CheckWritten(error, path_);
    }

private:
    const filesystem::path path_;
};

void CopyPackage(const filesystem::path& from, const filesystem::path& to) {
    MakeFolder(to);
    for (const std::string& name : CollectContent(from).names) {
        CopyFile(name, from, to);
    }
    for (const char* const name : PackageFiles::All) {
        CopyFile(name, from, to);
    }
}

bool LiesIn(const filesystem::path& inner, const filesystem::path& outer) {
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

/// The app of the device itself may be installed again, but not what is removed on the way or what contains it.
void ExpectApart(const filesystem::path& directory, const filesystem::path& app) {
    const filesystem::path package = filesystem::canonical(directory);
    const filesystem::path place = filesystem::weakly_canonical(app.parent_path()) / app.filename();
    if (package != place && (LiesIn(package, place) || LiesIn(place, package) ||
                             LiesIn(package, place.string() + ".new") || LiesIn(package, place.string() + ".old"))) {
        throw Unexpected(directory.string() + " lies where the installation writes: move it");
    }
}

void WriteCaCertificate(const std::string& pem, const filesystem::path& to) {
    MakeFolder(to.parent_path());
    OutputFile file(to, ReadByAll);
    file.Write(pem);
    file.Close();
}

void FlushFileSystem(const filesystem::path& folder) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int error = descriptor < 0 || syncfs(descriptor) != 0 ? errno : 0;
    if (descriptor >= 0) {
        close(descriptor);
    }
    CheckWritten(error_code(error, boost::system::system_category()), folder);
}

/// A name may reach the medium before what it stands for. App and certificate may lie on two of them.
void FlushBoth(const filesystem::path& app, const filesystem::path& trusted) {
    FlushFileSystem(app.parent_path());
    FlushFileSystem(trusted.parent_path());
}

/// The package may have changed since it was checked: what counts is what the device gets.
void ExpectWhole(const filesystem::path& newApp, const filesystem::path& newTrusted) {
    const Zandrel::VerificationResult result = Zandrel::VerifyAppPackage(newApp / PackageFiles::FileList, newTrusted);
    if (result != Zandrel::VerificationResult::SignatureOk) {
        throw ChangedMeanwhile(result, "installed");
    }
}

/// An app needs the CA of its own: both are ready before, and neither is replaced without the other.
void ReplaceBoth(const filesystem::path& app, const filesystem::path& newApp, const filesystem::path& trusted,
                 const filesystem::path& newTrusted) {
    const SignalBlock block;
    ExchangeNames(app, newApp);
    error_code error;
    filesystem::rename(newTrusted, trusted, error);
    if (error) {
        ExchangeNames(app, newApp);
        CheckWritten(error, trusted);
    }
}

}  // namespace

Zandrel::VerificationResult RunInstall(const PackageOptions& options) {
    const filesystem::path root = options.root.empty() ? GetOwnRoot() : options.root;
    if (!filesystem::is_directory(root)) {
        throw Unexpected(root.string() + " is no directory: --root names the root folder of a local device");
    }
    const filesystem::path app = root / AppDirectory;
    const FolderLock device(root, FolderLock::Kind::Exclusive);
    std::optional<FolderLock> package;
    if (filesystem::is_directory(options.directory)) {  // else the check tells
        ExpectApart(options.directory, app);
        package.emplace(options.directory, FolderLock::Kind::Shared);
    }
    const Zandrel::VerificationResult result = RunVerify(options);
    if (result != Zandrel::VerificationResult::SignatureOk) {
        return result;
    }
    umask(S_IWGRP | S_IWOTH);
    const std::string ca = ReadCaCertificate(options.ca);
    const filesystem::path trusted = root / CaCertificate;
    const Draft newApp(app);
    CopyPackage(options.directory, newApp.GetPath());
    const Draft newTrusted(trusted);
    WriteCaCertificate(ca, newTrusted.GetPath());
    FlushBoth(app, trusted);
    ExpectWhole(newApp.GetPath(), newTrusted.GetPath());
    ReplaceBoth(app, newApp.GetPath(), trusted, newTrusted.GetPath());
    FlushBoth(app, trusted);  // before the old app is gone
    newApp.Remove();
    std::cout << "installed in " << app.string() << '\n';
    return result;
}

}  // namespace LocalDevice

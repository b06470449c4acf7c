#include "PackageContent.h"

#include <algorithm>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <utility>

#include "PackageError.h"
#include "PackageFiles.h"

namespace LocalDevice {

namespace {

namespace filesystem = boost::filesystem;

bool IsPackageFile(const std::string& name) {
    using Zandrel::PackageFiles::All;
    return std::any_of(All.begin(), All.end(), [&name](const char* file) { return name == file; });
}

class Collector {
public:
    explicit Collector(const filesystem::path& directory) : top_(directory) { Collect(""); }

    PackageContent Take() {
        std::sort(content_.names.begin(), content_.names.end());
        return std::move(content_);
    }

private:
    void Collect(const std::string& directory) {
        boost::system::error_code error;
        filesystem::directory_iterator entry(top_ / directory, error);
        bool isEmpty = true;
        for (; !error && entry != filesystem::directory_iterator(); entry.increment(error)) {
            isEmpty = false;
            Add(directory + entry->path().filename().string(), *entry);
        }
        if (error) {
            throw Unexpected("cannot read " + (top_ / directory).string() + ": " + error.message());
        }
        if (isEmpty && !directory.empty()) {
            throw Refused("the directory " + directory + " is empty: a package cannot hold it");
        }
    }

    void Add(const std::string& name, const filesystem::directory_entry& entry) {
        boost::system::error_code error;
        const filesystem::file_type type = entry.symlink_status(error).type();
        if (type == filesystem::status_error) {
            throw Unexpected("cannot read " + entry.path().string() + ": " + error.message());
        }
        if (type == filesystem::directory_file && !IsPackageFile(name)) {
            Collect(name + "/");
        } else if (type != filesystem::regular_file) {
            throw Refused(name + " is no regular file: a package cannot hold it");
        } else if (!IsPackageFile(name)) {
            content_.names.push_back(name);
            const std::uintmax_t size = filesystem::file_size(entry.path(), error);
            content_.bytes += error ? 0 : size;
        }
    }

    const filesystem::path top_;
    PackageContent content_;
};

}  // namespace

PackageContent CollectContent(const filesystem::path& directory) {
    return Collector(directory).Take();
}

std::uint64_t EstimateBytes(const filesystem::path& directory) {
    try {
        return CollectContent(directory).bytes;
    } catch (const PackageError&) {
        return 0;  // the check itself says what is wrong
    }
}

}  // namespace LocalDevice

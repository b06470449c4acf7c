#include "FileReplacement.h"

#include <boost/filesystem/operations.hpp>

#include "PackageError.h"
#include "PackageFiles.h"
#include "PemFiles.h"
#include "RegularFile.h"

namespace LocalDevice {

namespace filesystem = boost::filesystem;

FileReplacement::~FileReplacement() {
    for (const Earlier& earlier : earlier_) {
        try {
            if (earlier.content) {
                ReplaceFile(earlier.path, *earlier.content);
            } else {
                filesystem::remove(earlier.path);
            }
        } catch (...) {  // NOLINT(bugprone-empty-catch): the error that led here is the one to tell
        }
    }
}

void FileReplacement::Write(const filesystem::path& path, const std::string& content) {
    boost::system::error_code error;
    Earlier earlier{path, std::nullopt};
    if (filesystem::symlink_status(path, error).type() != filesystem::file_not_found) {
        earlier.content =
            Zandrel::ReadWholeFile(path, Zandrel::RegularFile::Links::Refused, Zandrel::PackageFiles::FileListLimit);
        if (!earlier.content) {
            throw Unexpected("cannot read " + path.string() + ", in whose place a file is to be written");
        }
    }
    earlier_.push_back(std::move(earlier));
    ReplaceFile(path, content);
}

}  // namespace LocalDevice

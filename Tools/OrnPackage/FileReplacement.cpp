#include "FileReplacement.h"

#include <boost/filesystem/operations.hpp>
#include <exception>
#include <iostream>
#include <utility>

#include "PackageError.h"
#include "PackageFiles.h"
#include "PemFiles.h"
#include "PrintableText.h"
#include "RegularFile.h"

namespace LocalDevice {

namespace filesystem = boost::filesystem;

namespace {

/// A file of an app has no such name.
filesystem::path GetDraft(const filesystem::path& path) {
    return path.string() + ".ornpackage";
}

/// Where the new file cannot be written whole, the one that is there stays.
void ReplaceFile(const filesystem::path& path, const std::string& content) {
    const filesystem::path draft = GetDraft(path);
    CreateFile(draft, content, false);
    boost::system::error_code error;
    filesystem::rename(draft, path, error);
    if (error) {
        FileReplacement::RemoveDraft(path);
        throw CannotWrite(path.string(), error.message());
    }
}

}  // namespace

FileReplacement::~FileReplacement() {
    for (const Earlier& earlier : earlier_) {
        try {
            if (earlier.content) {
                ReplaceFile(earlier.path, *earlier.content);
            } else {
                boost::system::error_code error;
                filesystem::remove(earlier.path, error);
                CheckWritten(error, earlier.path);
            }
        } catch (const std::exception& error) {
            std::cerr << "ornpackage: what was there before does not come back: " << MakePrintable(error.what())
                      << '\n';
        }
    }
}

void FileReplacement::RemoveDraft(const filesystem::path& path) {
    boost::system::error_code error;
    filesystem::remove(GetDraft(path), error);
    CheckWritten(error, GetDraft(path));
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
    earlier_.reserve(earlier_.size() + 1);
    ReplaceFile(path, content);
    earlier_.push_back(std::move(earlier));
}

}  // namespace LocalDevice

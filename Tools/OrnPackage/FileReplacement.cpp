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

void PutDraftIntoPlace(const filesystem::path& path) {
    boost::system::error_code error;
    filesystem::rename(GetDraft(path), path, error);
    CheckWritten(error, path);
}

void Remove(const filesystem::path& path) {
    boost::system::error_code error;
    filesystem::remove(path, error);
    CheckWritten(error, path);
}

}  // namespace

FileReplacement::~FileReplacement() {
    if (!files_.empty() && !block_) {
        block_.emplace();
    }
    for (const File& file : files_) {
        try {
            Restore(file);
        } catch (const std::exception& error) {
            std::cerr << "ornpackage: what was there before does not come back: " << MakePrintable(error.what())
                      << '\n';
        }
    }
}

void FileReplacement::Restore(const File& file) {
    if (!file.isReplaced) {
        RemoveDraft(file.path);
    } else if (!file.earlier) {
        Remove(file.path);
    } else {
        try {
            CreateFile(GetDraft(file.path), *file.earlier, false);
            PutDraftIntoPlace(file.path);
        } catch (const PackageError&) {
            RemoveDraft(file.path);
            throw;
        }
    }
}

void FileReplacement::RemoveDraft(const filesystem::path& path) {
    Remove(GetDraft(path));
}

void FileReplacement::Write(const filesystem::path& path, const std::string& content) {
    boost::system::error_code error;
    File file{path, std::nullopt};
    if (filesystem::symlink_status(path, error).type() != filesystem::file_not_found) {
        file.earlier =
            Zandrel::ReadWholeFile(path, Zandrel::RegularFile::Links::Refused, Zandrel::PackageFiles::FileListLimit);
        if (!file.earlier) {
            throw Unexpected("cannot read " + path.string() + ", in whose place a file is to be written");
        }
    }
    files_.push_back(std::move(file));
    CreateFile(GetDraft(path), content, false);
}

void FileReplacement::Replace() {
    for (File& file : files_) {
        PutDraftIntoPlace(file.path);
        file.isReplaced = true;
    }
    block_.reset();
}

}  // namespace LocalDevice

/// The file list of an app package: parsed or refused; what it names lies in the app directory, under one name only.

#include <boost/filesystem/operations.hpp>
#include <map>

#include "AdditionalFiles.h"
#include "CapturingAppender.h"
#include "FileHasher.h"
#include "FileList.h"
#include "FuzzTarget.h"
#include "HashCodes.h"
#include "ListedPaths.h"
#include "TemporaryFolder.h"

namespace {

using Fuzz::Require;
using Zandrel::FileEntry;

/// The files that lie in the app directory. The seeds list them with their sums.
const std::map<std::string, std::string>& GetFiles() {
    static const std::map<std::string, std::string> files{{"App.dll", "app\n"}, {"data/table.csv", "1;2\n"}};
    return files;
}

struct AppDirectory {
    AppDirectory() {
        for (const auto& [name, content] : GetFiles()) {
            boost::filesystem::create_directories((folder.GetPath() / name).parent_path());
            folder.Write(name, content);
        }
    }
    const TestSupport::TemporaryFolder folder;
};

/// As text of an element that reads back as it is.
std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x80) {
            escaped.append("&#").append(std::to_string(byte)).append(";");
        } else {
            escaped += character;
        }
    }
    return escaped;
}

std::string WriteList(const std::vector<FileEntry>& entries) {
    std::string text = "<list>";
    for (const FileEntry& entry : entries) {
        text += "<File>";
        text += entry.name ? "<Name>" + Escape(*entry.name) + "</Name>" : "";
        text += entry.sha256 ? "<Sha256>" + Escape(*entry.sha256) + "</Sha256>" : "";
        text += "</File>";
    }
    return text + "</list>";
}

bool IsSame(const std::vector<FileEntry>& a, const std::vector<FileEntry>& b) {
    const auto isSame = [](const FileEntry& left, const FileEntry& right) {
        return left.name == right.name && left.sha256 == right.sha256;
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), isSame);
}

void CheckFiles(const std::vector<FileEntry>& entries) {
    static const AppDirectory directory;
    Zandrel::ListedPaths listed;
    Zandrel::FileHasher hasher;
    if (!CheckHashCodes(entries, directory.folder.GetPath(), listed, hasher)) {
        return;
    }
    bool listsAll = true;
    for (const auto& [name, content] : GetFiles()) {
        listsAll = listsAll && listed.Find(name) == Zandrel::ListedPaths::Kind::RegularFile;
    }
    for (const FileEntry& entry : entries) {
        Require(GetFiles().count(*entry.name) == 1, "a file that passes has its only name");
    }
    Require(LookForAdditionalFiles(directory.folder.GetPath(), listed) == listsAll,
            "a file that is not listed is found, and no other");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static TestSupport::GlobalLogCapture log;
    log.TakeLines();
    std::vector<FileEntry> entries;
    try {
        entries = Zandrel::ParseFileList(Fuzz::Input(data, size).TakeRest());
    } catch (const Zandrel::FileListError&) {
        return 0;
    }
    Require(IsSame(Zandrel::ParseFileList(WriteList(entries)), entries),
            "a list that is written anew is the same list");
    CheckFiles(entries);
    return 0;
}

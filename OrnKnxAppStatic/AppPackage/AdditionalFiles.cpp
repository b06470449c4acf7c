#include "AdditionalFiles.h"

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "Orn/Logging.h"

namespace Zandrel {

namespace {

enum class EntryType { RegularFile, Directory, Other };

/// As the directory itself tells it, where it does: Boost asks for the status of each file.
EntryType GetType(const std::filesystem::directory_entry& entry) {
    std::error_code ignored;  // such an entry has no type
    if (entry.is_symlink(ignored)) {
        return EntryType::Other;
    }
    if (entry.is_directory(ignored)) {
        return EntryType::Directory;
    }
    return entry.is_regular_file(ignored) ? EntryType::RegularFile : EntryType::Other;
}

}  // namespace

bool LookForAdditionalFiles(const boost::filesystem::path& appDirectory, const ListedPaths& listed,
                            const HashProgress& progress) {
    bool isClean = true;
    std::vector<std::string> left{""};  // directories to look into, below the app directory
    while (!left.empty()) {
        const std::string directory = std::move(left.back());
        left.pop_back();
        const std::string place = (directory.empty() ? appDirectory : appDirectory / directory).string();
        std::error_code error;
        std::filesystem::directory_iterator entry(place, error);
        for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
            if (progress) {
                progress(0);
            }
            const std::string fileName = entry->path().filename().string();
            const std::string path = directory.empty() ? fileName : (directory + '/').append(fileName);
            const std::optional<ListedPaths::Kind> kind = listed.Find(path);
            const EntryType type = GetType(*entry);
            if (type == EntryType::Directory && kind == ListedPaths::Kind::Directory) {
                left.push_back(path);
                continue;
            }
            if (type == EntryType::RegularFile && kind == ListedPaths::Kind::RegularFile) {
                continue;
            }
            isClean = false;
            if (type == EntryType::Other) {
                ORN_LOG_GLOBAL(ERROR, "File has unexpected type " << path);
            } else if (type == EntryType::Directory && kind) {
                ORN_LOG_GLOBAL(ERROR, "Directory file expected, found regular file: " << path);
            } else if (type == EntryType::Directory) {
                ORN_LOG_GLOBAL(ERROR, "Found unexpected directory " << path);
            } else if (kind) {
                ORN_LOG_GLOBAL(ERROR, "Regular file expected, found directory: " << path);
            } else {
                ORN_LOG_GLOBAL(ERROR, "Found unexpected file " << path);
            }
        }
        if (error) {
            ORN_LOG_GLOBAL(ERROR, "Could not enumerate the directory entries of "
                                      << (directory.empty() ? appDirectory.string() : directory));
            isClean = false;
        }
    }
    return isClean;
}

}  // namespace Zandrel

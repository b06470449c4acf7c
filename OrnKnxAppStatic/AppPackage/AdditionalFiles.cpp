#include "AdditionalFiles.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Directory.h"
#include "Orn/Logging.h"

namespace Zandrel {

bool LookForAdditionalFiles(const boost::filesystem::path& appDirectory, const ListedPaths& listed,
                            const HashProgress& progress) {
    bool isClean = true;
    std::vector<std::string> left{""};  // directories to look into, below the app directory
    while (!left.empty()) {
        const std::string directory = std::move(left.back());
        left.pop_back();
        Directory reader(directory.empty() ? appDirectory : appDirectory / directory);
        while (const std::optional<Directory::Entry> entry = reader.GetNext()) {
            if (progress) {
                progress(0);
            }
            const std::string path = directory.empty() ? entry->name : (directory + '/').append(entry->name);
            const std::optional<ListedPaths::Kind> kind = listed.Find(path);
            const Directory::Type type = entry->type;
            if (type == Directory::Type::Directory && kind == ListedPaths::Kind::Directory) {
                left.push_back(path);
                continue;
            }
            if (type == Directory::Type::RegularFile && kind == ListedPaths::Kind::RegularFile) {
                continue;
            }
            isClean = false;
            if (type == Directory::Type::Other) {
                ORN_LOG_GLOBAL(ERROR, "File has unexpected type " << path);
            } else if (type == Directory::Type::Directory && kind) {
                ORN_LOG_GLOBAL(ERROR, "Directory file expected, found regular file: " << path);
            } else if (type == Directory::Type::Directory) {
                ORN_LOG_GLOBAL(ERROR, "Found unexpected directory " << path);
            } else if (kind) {
                ORN_LOG_GLOBAL(ERROR, "Regular file expected, found directory: " << path);
            } else {
                ORN_LOG_GLOBAL(ERROR, "Found unexpected file " << path);
            }
        }
        if (!reader.IsRead()) {
            ORN_LOG_GLOBAL(ERROR, "Could not enumerate the directory entries of "
                                      << (directory.empty() ? appDirectory.string() : directory));
            isClean = false;
        }
    }
    return isClean;
}

}  // namespace Zandrel

#include "HashCodes.h"

#include <climits>
#include <variant>

#include "Orn/Logging.h"

namespace Zandrel {

bool CheckHashCodes(const std::vector<FileEntry>& fileList, const boost::filesystem::path& appDirectory,
                    ListedPaths& listed, FileHasher& hasher) {
    for (const FileEntry& entry : fileList) {
        if (!entry.sha256) {
            ORN_LOG_GLOBAL(ERROR, "File SHA256 element missing");
            return false;
        }
        Sha256Digest expected{};
        if (!ParseSha256(*entry.sha256, expected)) {
            ORN_LOG_GLOBAL(ERROR, "The SHA256 element does not contain a hexidecimal integer of the correct size");
            return false;
        }
        if (!entry.name || entry.name->empty()) {
            ORN_LOG_GLOBAL(ERROR, "File name element missing");
            return false;
        }
        if (entry.name->size() >= PATH_MAX) {
            ORN_LOG_GLOBAL(ERROR, "File name too long: " << entry.name->size() << " bytes");
            return false;
        }
        if (!IsPathInsideDirectory(*entry.name)) {
            ORN_LOG_GLOBAL(ERROR, "File name is not a path inside the app directory: " << *entry.name);
            return false;
        }
        if (!listed.AddFile(*entry.name) || !VerifyHashCode(appDirectory / *entry.name, expected, hasher)) {
            return false;
        }
    }
    return true;
}

bool VerifyHashCode(const boost::filesystem::path& path, const Sha256Digest& expected, FileHasher& hasher) {
    const auto sum = hasher.Hash(path);
    if (const auto* const failure = std::get_if<FileHasher::Failure>(&sum)) {
        switch (*failure) {
            case FileHasher::Failure::CannotOpen:
                ORN_LOG_GLOBAL(ERROR, "Could not open file for SHA256 calculation: " << path.string());
                return false;
            case FileHasher::Failure::CannotRead:
                ORN_LOG_GLOBAL(ERROR, "Could not read file for SHA256 calculation: " << path.string());
                return false;
            case FileHasher::Failure::TooLarge:
                ORN_LOG_GLOBAL(ERROR, "Too many bytes for SHA256 calculation: " << path.string());
                return false;
        }
    }
    if (std::get<Sha256Digest>(sum) != expected) {
        ORN_LOG_GLOBAL(ERROR, "The SHA256 sum does not match: " << path.string());
        return false;
    }
    return true;
}

}  // namespace Zandrel

#include "ListedPaths.h"

#include <algorithm>

#include "Orn/Logging.h"

namespace Zandrel {

namespace {

/// What a path takes beside its own bytes, about.
constexpr std::size_t EntrySize = 128;

}  // namespace

bool ListedPaths::AddFile(const std::string& path) {
    std::string entry = path;
    Kind kind = Kind::RegularFile;
    for (;;) {
        const auto [position, isNew] = kinds_.emplace(entry, kind);
        if (position->second != kind) {
            ORN_LOG_GLOBAL(ERROR, "Is both regular file and directory: " << entry);
            return false;
        }
        if (isNew && (size_ += entry.size() + EntrySize) > SizeLimit) {
            ORN_LOG_GLOBAL(ERROR, "Too many directories above the listed files");
            return false;
        }
        const std::size_t slash = entry.rfind('/');
        // Above a directory that is known, all are.
        if (slash == std::string::npos || (!isNew && kind == Kind::Directory)) {
            return true;
        }
        entry.resize(slash);
        kind = Kind::Directory;
    }
}

std::optional<ListedPaths::Kind> ListedPaths::Find(const std::string& path) const {
    const auto found = kinds_.find(path);
    if (found == kinds_.end()) {
        return std::nullopt;
    }
    return found->second;
}

bool IsPathInsideDirectory(const std::string& name) {
    if (name.find('\0') != std::string::npos) {
        return false;
    }
    std::size_t begin = 0;
    while (begin <= name.size()) {
        const std::size_t end = std::min(name.find('/', begin), name.size());
        const std::string component = name.substr(begin, end - begin);
        if (component.empty() || component == "." || component == "..") {
            return false;
        }
        begin = end + 1;
    }
    return true;
}

}  // namespace Zandrel

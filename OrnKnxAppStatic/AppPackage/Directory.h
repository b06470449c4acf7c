#pragma once

#include <dirent.h>

#include <boost/filesystem/path.hpp>
#include <memory>
#include <optional>
#include <string>

namespace Zandrel {

/// The entries of a directory. Without memory it throws `std::bad_alloc`, where the C++ library's iterator ends the
/// process; and it asks for an entry's type by its name alone, where Boost's needs a path that the system takes.
class Directory {
public:
    enum class Type { RegularFile, Directory, Other };
    struct Entry {
        std::string name;
        Type type;  ///< of the entry itself where it is a symbolic link
    };

    /// Reads nothing where the directory cannot be opened.
    explicit Directory(const boost::filesystem::path& path) : directory_(opendir(path.c_str())) {}

    /// The next entry, in no particular order; none at the end, and where the directory cannot be read.
    std::optional<Entry> GetNext();

    /// Whether `GetNext` has come to the end of the directory.
    bool IsRead() const noexcept { return isRead_; }

private:
    struct Closer {
        void operator()(DIR* directory) const noexcept { closedir(directory); }
    };

    const std::unique_ptr<DIR, Closer> directory_;
    bool isRead_ = false;
};

}  // namespace Zandrel

#include "NameExchange.h"

#include <fcntl.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdio>

#include "PackageError.h"

namespace LocalDevice {

namespace {

namespace filesystem = boost::filesystem;
using boost::system::error_code;

bool IsThere(const filesystem::path& path) {
    error_code ignored;  // then it is nothing that could be known to be missing
    return filesystem::symlink_status(path, ignored).type() != filesystem::file_not_found;
}

void Rename(const filesystem::path& from, const filesystem::path& to) {
    error_code error;
    filesystem::rename(from, to, error);
    CheckWritten(error, to);
}

void ExchangeInSteps(const filesystem::path& a, const filesystem::path& b) {
    const filesystem::path old = a.string() + ".old";
    error_code error;
    filesystem::remove_all(old, error);
    CheckWritten(error, old);
    Rename(a, old);
    try {
        Rename(b, a);
    } catch (const PackageError&) {
        error_code ignored;  // the first error is the one to tell
        filesystem::rename(old, a, ignored);
        throw;
    }
    Rename(old, b);
}

}  // namespace

void ExchangeNames(const filesystem::path& a, const filesystem::path& b) {
    if (!IsThere(a)) {
        Rename(b, a);
    } else if (!IsThere(b)) {
        Rename(a, b);
    } else if (renameat2(AT_FDCWD, a.c_str(), AT_FDCWD, b.c_str(), RENAME_EXCHANGE) != 0) {
        if (errno != EINVAL && errno != ENOSYS) {
            CheckWritten(error_code(errno, boost::system::generic_category()), a);
        }
        ExchangeInSteps(a, b);
    }
}

}  // namespace LocalDevice

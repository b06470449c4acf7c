#pragma once

#include <boost/filesystem/path.hpp>

namespace LocalDevice {

/// Lets two names of one file system change what they stand for. Where it can exchange names (renameat2(2)), both stand
/// for something all the time; elsewhere what `a` stood for lies in `a`.old meanwhile, and what lay there is gone.
/// Where one of them stands for nothing the other is renamed. Throws `PackageError`; `a` stands for what it did then.
void ExchangeNames(const boost::filesystem::path& a, const boost::filesystem::path& b);

}  // namespace LocalDevice

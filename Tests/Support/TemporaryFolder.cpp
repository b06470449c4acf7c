#include "TemporaryFolder.h"

#include <boost/filesystem/operations.hpp>
#include <fstream>

namespace TestSupport {

TemporaryFolder::TemporaryFolder()
    : path_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("orn-%%%%%%%%%%%%")) {
    boost::filesystem::create_directory(path_);
}

TemporaryFolder::~TemporaryFolder() {
    boost::system::error_code ignored;  // what is left behind harms nobody
    boost::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::Write(const std::string& name, const std::string& content) const {
    std::ofstream(At(name), std::ios::binary) << content;
    return At(name);
}

}  // namespace TestSupport

/// Calls a fuzzer with each file of the folder that is its argument. Takes the place of libFuzzer in ordinary builds.

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/string_file.hpp>
#include <exception>
#include <iostream>
#include <string>

#include "FuzzTarget.h"

namespace {

namespace filesystem = boost::filesystem;

/// The number of files; the name of each stands on the standard error before its turn.
int Replay(const filesystem::path& folder) {
    int count = 0;
    for (const filesystem::directory_entry& entry : filesystem::directory_iterator(folder)) {
        std::cerr << entry.path().filename().string() << std::endl;
        std::string content;
        filesystem::load_string_file(entry.path(), content);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
        ++count;
    }
    return count;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FOLDER\n";
        return 2;
    }
    try {
        const int count = Replay(argv[1]);
        std::cout << count << " seeds replayed\n";
        return count > 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "an exception left the fuzzer: " << error.what() << '\n';
        return 1;
    }
}

#pragma once

#include <boost/program_options/options_description.hpp>
#include <boost/program_options/variables_map.hpp>
#include <string>
#include <vector>

namespace LocalDevice {

using Words = std::vector<std::string>;

/// A tool's command line: the words of a command, and options anywhere between them.
struct CommandWords {
    Words words;
    boost::program_options::variables_map options;
};

/// Reads the arguments without the program's name. Options are long and unabbreviated. Throws
/// `boost::program_options::error`, one line, for one that `options` does not know or whose value is wrong.
CommandWords ParseCommandWords(const Words& arguments, const boost::program_options::options_description& options);

}  // namespace LocalDevice

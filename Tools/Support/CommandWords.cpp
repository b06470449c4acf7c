#include "CommandWords.h"

#include <boost/program_options/parsers.hpp>
#include <boost/program_options/positional_options.hpp>

namespace LocalDevice {

namespace po = boost::program_options;

CommandWords ParseCommandWords(const Words& arguments, const po::options_description& options) {
    CommandWords command;
    po::options_description all;
    all.add(options).add_options()("word", po::value<Words>(&command.words));
    po::positional_options_description positions;
    positions.add("word", -1);
    // Without short options, so that "-7" is a value; without abbreviations, so that scripts keep their meaning.
    using Style = po::command_line_style::style_t;
    const int style = Style::allow_long | Style::long_allow_adjacent | Style::long_allow_next;
    po::store(po::command_line_parser(arguments).options(all).positional(positions).style(style).run(),
              command.options);
    po::notify(command.options);
    return command;
}

}  // namespace LocalDevice

#pragma once

#include <string>

#include "ObjectModel.h"

namespace Zandrel {

/// The JSON document by which the device stack takes over `configuration`: one line, lists by ascending id, fields that
/// are not set left out.
///
/// Names, values and metadata values may hold any bytes; a backslash precedes each of the eight characters that JSON
/// escapes, and the character itself follows unchanged (a line feed stays a line feed). All else that is text is
/// written as it is.
std::string SerializeConfiguration(const Configuration& configuration);

}  // namespace Zandrel

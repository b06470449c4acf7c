#pragma once

#include <string>

/// What the plug-in shares with its host and with the platform's library, one line for each type, each enumerator, each
/// function and each slot of a virtual table: its size, number or signature. As this compiler lays it out for this
/// processor.
std::string DescribeInterface();

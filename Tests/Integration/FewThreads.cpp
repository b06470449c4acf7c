#include <cstdlib>
#include <string>

#include "ThreadShortage.h"

namespace {

/// As long as the program runs, it gets as many threads as ORN_TEST_THREADS says.
const TestSupport::ThreadShortage shortage(std::stol(std::getenv("ORN_TEST_THREADS")));

}  // namespace

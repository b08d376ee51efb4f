#pragma once

#include <ctime>

namespace Kalt::Vemo::Test {

/// The clock of this test program: `time` gives what was set last, so that instants in files are exact.
void setClock(std::time_t now);

}  // namespace Kalt::Vemo::Test

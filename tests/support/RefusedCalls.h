#pragma once

#include <functional>
#include <string>
#include <vector>

#include "FaultLayer.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Test {

/// A fault that a living process meets, and whether it lasts until somebody lifts it.
struct Trouble {
    std::string name;
    Fault fault;
    bool lasting = false;
};

/// Every errno, reads and writes that come back short, and writes without progress, each once and lasting;
/// and a disk that becomes full in the middle of a write.
std::vector<Trouble> allTroubles();

/// What differs in kind: an I/O error, a full disk and short calls.
std::vector<Trouble> mainTroubles();

/// Does the work, which tells whether it succeeded, in a process of its own; true when a fault ended that.
bool endsEarly(const std::function<bool()>& work);

/// Does the work in another thread. When it does not end, somebody holds it up: the process then ends with a
/// message that names `what`.
void mustEnd(const std::string& what, const std::function<void()>& work);

}  // namespace Kalt::Vemo::Test

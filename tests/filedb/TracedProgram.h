#pragma once

#include <string>
#include <vector>

#include "CheckTestSupport.h"

namespace Kalt::Vemo::Test {

/// One system call of a program: its name, and which of the program's calls of that name it is.
struct Call {
    std::string name;
    int ordinal;
    bool isChange;  // it may change what is on the disk
};

/// Runs `command` under strace, which looks at nothing but `paths`; at everything without any.
ProgramResult trace(const std::string& directory, const std::string& log,
                    const std::vector<std::string>& paths, const std::vector<std::string>& options,
                    const std::vector<std::string>& command);

/// The calls of a whole run that touch `paths`, in order. None, and a failed test, when tracing does not
/// work, or when the program ends with another status.
std::vector<Call> callsOf(const std::string& directory, const std::vector<std::string>& paths,
                          const std::vector<std::string>& command, int status = 0);

/// Options that send the program a signal when it is about to make this call.
std::vector<std::string> stopAt(const Call& call, const std::string& signal = "KILL");

}  // namespace Kalt::Vemo::Test

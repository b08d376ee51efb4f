#include "TracedProgram.h"

#include <fstream>
#include <map>
#include <set>

namespace Kalt::Vemo::Test {

namespace {

/// Whether the call of this line of a log may change what is on the disk.
bool isChange(const std::string& name, const std::string& line) {
    static const std::set<std::string> kChanges = {
        "mkdir",  "mkdirat",  "rename",   "renameat",  "write",     "fchown",    "fchmod", "symlink",
        "unlink", "unlinkat", "pwrite64", "ftruncate", "renameat2", "symlinkat", "link",   "linkat"};
    return kChanges.count(name) > 0 || line.find("O_CREAT") != std::string::npos;
}

}  // namespace

ProgramResult trace(const std::string& directory, const std::string& log,
                    const std::vector<std::string>& paths, const std::vector<std::string>& options,
                    const std::vector<std::string>& command) {
    std::vector<std::string> words = {"strace", "-o", log, "-e", "signal=none"};
    for (const std::string& path : paths) {
        words.insert(words.end(), {"-P", path});
    }
    words.insert(words.end(), options.begin(), options.end());
    // A leak checker cannot run in a program that is being traced.
    words.insert(words.end(), {"-E", "ASAN_OPTIONS=detect_leaks=0"});
    words.insert(words.end(), command.begin(), command.end());
    return runProgram(directory, words);
}

std::vector<Call> callsOf(const std::string& directory, const std::vector<std::string>& paths,
                          const std::vector<std::string>& command, int status) {
    const std::string log = directory + "/calls";
    const ProgramResult result = trace(directory, log, paths, {}, command);
    EXPECT_EQ(status, result.status)
        << "the program cannot be traced; the test needs strace, and a system that permits "
           "ptrace (in a container: --cap-add=SYS_PTRACE)\n"
        << result.out << result.err;
    std::vector<Call> calls;
    std::map<std::string, int> counts;
    std::ifstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find('('));
        if (name.size() < line.size() && line.front() != '+') {
            calls.push_back({name, ++counts[name], isChange(name, line)});
        }
    }
    return calls;
}

std::vector<std::string> stopAt(const Call& call, const std::string& signal) {
    return {"-e", "inject=" + call.name + ":signal=" + signal + ":when=" + std::to_string(call.ordinal)};
}

}  // namespace Kalt::Vemo::Test

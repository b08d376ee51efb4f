#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

/// A command of the manual, and what the manual says it prints.
struct Session {
    std::string command;
    std::string output;
};

/// The commands of all console blocks, in order.
std::vector<Session> sessionsOf(const std::string& manual) {
    std::vector<Session> sessions;
    std::istringstream lines(manual);
    bool isConsole = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("```", 0) == 0) {
            isConsole = line == "```console";
        } else if (isConsole && line.rfind("$ ", 0) == 0) {
            sessions.push_back({line.substr(2), ""});
        } else if (isConsole && !sessions.empty()) {
            sessions.back().output += line + "\n";
        }
    }
    return sessions;
}

/// Standard output and standard error of a command that a shell runs in `directory`.
std::string outputOf(const std::string& command, const std::string& directory) {
    const TemporaryDirectory files;
    const std::string programs = std::filesystem::path(FILEDB_PROGRAM).parent_path();
    writeFile(files.file("command"), "cd '" + directory + "'\nPATH='" + programs +
                                         "':$PATH\nexport PATH LC_ALL=C.UTF-8\n" + command + "\n");
    const std::string run =
        "sh '" + files.file("command") + "' > '" + files.file("out") + "' 2>&1 < /dev/null";
    EXPECT_NE(std::system(run.c_str()), -1);
    return readFile(files.file("out"));
}

TEST(ManualTest, EverySessionOfTheManualIsTrue) {
    const TemporaryDirectory directory;
    const std::vector<Session> sessions = sessionsOf(readFile(FILEDB_MANUAL));
    EXPECT_GT(sessions.size(), 20U);
    for (const Session& session : sessions) {
        EXPECT_EQ(outputOf(session.command, directory.path()), session.output) << "$ " << session.command;
    }
}

}  // namespace
}  // namespace Kalt::Vemo::Test

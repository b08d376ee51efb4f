#include "ProgramRun.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace Kalt::Vemo::Test {

namespace {

constexpr int kCannotRun = 126;

void redirect(int descriptor, const std::string& file, int flags) {
    const int opened = open(file.c_str(), flags | O_CLOEXEC, 0600);
    if (opened < 0 || dup2(opened, descriptor) < 0) {
        _exit(kCannotRun);
    }
}

void writeToNobody() {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
        _exit(kCannotRun);
    }
    close(ends[0]);
    close(ends[1]);
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentOf(const ProgramOptions& options) {
    // The first of a name counts.
    std::vector<std::string> result = options.environment;
    result.insert(result.end(), {"PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8", "TERM=xterm"});
    for (const char* name :
         {"ASAN_OPTIONS", "UBSAN_OPTIONS", "TSAN_OPTIONS", "LLVM_PROFILE_FILE", "TMPDIR"}) {
        if (const char* const value = std::getenv(name)) {
            result.push_back(std::string(name) + "=" + value);
        }
    }
    return result;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const ProgramResult& result) {
    return out << "status " << result.status << "\n--- out\n"
               << result.out << "--- err\n"
               << result.err << "---";
}

ProgramResult runProgram(const std::vector<std::string>& arguments, const ProgramOptions& options) {
    const TemporaryDirectory files;
    const std::string output = options.outputFile.empty() ? files.file("out") : options.outputFile;
    writeFile(files.file("in"), options.input);
    std::vector<std::string> words{FILEDB_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = environmentOf(options);
    const std::vector<char*> argv = pointersTo(words);
    const std::vector<char*> envp = pointersTo(environment);

    const pid_t child = fork();
    if (child == 0) {
        redirect(STDIN_FILENO, files.file("in"), O_RDONLY);
        redirect(STDOUT_FILENO, output, O_WRONLY | O_CREAT | O_TRUNC);
        if (options.isUnread) {
            writeToNobody();
        }
        redirect(STDERR_FILENO, files.file("err"), O_WRONLY | O_CREAT | O_TRUNC);
        if (options.heedsModes && geteuid() == 0 &&
            (prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE) != 0 ||
             prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH) != 0)) {
            _exit(kCannotRun);
        }
        if (options.seesOwnOnly && geteuid() == 0 && prctl(PR_CAPBSET_DROP, CAP_SYS_PTRACE) != 0) {
            _exit(kCannotRun);
        }
        execve(argv[0], argv.data(), envp.data());
        _exit(kCannotRun);
    }
    ProgramResult result;
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        ADD_FAILURE() << "the program could not be started";
        return result;
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.out = options.outputFile.empty() ? readFile(output) : "";
    result.err = readFile(files.file("err"));
    return result;
}

ProgramResult ProgramTest::run(const std::string& command, const std::vector<std::string>& rest,
                               const ProgramOptions& options) const {
    std::vector<std::string> arguments{command, path()};
    arguments.insert(arguments.end(), rest.begin(), rest.end());
    return runProgram(arguments, options);
}

ProgramResult ProgramTest::shell(const std::vector<std::string>& statements,
                                 const std::vector<std::string>& options) const {
    std::vector<std::string> rest = options;
    for (const std::string& statement : statements) {
        rest.insert(rest.end(), {"-c", statement});
    }
    return run("shell", rest);
}

void ProgramTest::prepare(const std::vector<std::string>& statements) const {
    const ProgramResult result = shell(statements);
    ASSERT_EQ(result.status, 0) << result;
    ASSERT_EQ(result.out, "");
}

}  // namespace Kalt::Vemo::Test

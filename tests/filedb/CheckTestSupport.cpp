#include "CheckTestSupport.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

namespace Kalt::Vemo::Test {

namespace {

// The program changes its directory through the shell, because a spawned process cannot everywhere.
constexpr const char* kChangeDirectory = "cd \"$0\" && exec \"$@\"";

}  // namespace

std::string filedbProgram() {
    return FILEDB_PROGRAM;
}

ProgramResult runProgram(const std::string& directory, const std::vector<std::string>& arguments) {
    const TemporaryDirectory output;
    const std::string outFile = output.file("out");
    const std::string errFile = output.file("err");

    std::vector<std::string> words = {"/bin/sh", "-c", kChangeDirectory, directory};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, outFile.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errFile.c_str(), O_WRONLY | O_CREAT, 0600);
    pid_t process = 0;
    const int error = posix_spawn(&process, words[0].c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);

    ProgramResult result;
    int status = 0;
    if (error != 0 || waitpid(process, &status, 0) != process) {
        ADD_FAILURE() << "cannot run " << arguments.front() << ": " << std::strerror(error);
        return result;
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    result.out = readFile(outFile);
    result.err = readFile(errFile);
    return result;
}

PlantedDirectoryTest::PlantedDirectoryTest() {
    clear();
}

void PlantedDirectoryTest::clear() {
    ++generation_;
    root_ = temporary_.file(std::to_string(generation_));
    std::filesystem::create_directories(root_ + "/db_filedb");
}

void PlantedDirectoryTest::plant(const std::string& name, const std::string& content) {
    writeFile(path(name), content);
}

void PlantedDirectoryTest::plant(const Files& files) {
    for (const auto& [name, content] : files) {
        plant(name, content);
    }
}

ProgramResult PlantedDirectoryTest::run(const std::string& command, const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {filedbProgram(), command, "db"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return runProgram(root_, arguments);
}

ProgramResult PlantedDirectoryTest::check(const std::vector<std::string>& options) {
    return run("check", options);
}

ProgramResult PlantedDirectoryTest::repair(const std::vector<std::string>& options) {
    return run("repair", options);
}

ProgramResult PlantedDirectoryTest::restore(const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {"db_filedb.repair-1"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run("restore", arguments);
}

std::vector<std::string> PlantedDirectoryTest::sharedFiles() const {
    std::vector<std::string> shared;
    for (const auto& entry : std::filesystem::directory_iterator(root_ + "/db_filedb")) {
        if (entry.is_regular_file() && !entry.is_symlink() && entry.hard_link_count() > 1) {
            shared.push_back(entry.path().filename().string());
        }
    }
    return shared;
}

Files PlantedDirectoryTest::filesIn(const std::string& directory) const {
    Files files;
    for (const auto& entry : std::filesystem::directory_iterator(root_ + "/" + directory)) {
        if (entry.is_regular_file() && !entry.is_symlink()) {
            files[entry.path().filename().string()] = readFile(entry.path().string());
        }
    }
    return files;
}

}  // namespace Kalt::Vemo::Test

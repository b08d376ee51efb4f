#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "Page.h"
#include "TestSupport.h"

namespace Kalt::Vemo::Test {
namespace {

/// A page with sessions, the kinds of its blocks that are no sessions, and about how many commands it shows.
struct PageOfSessions {
    std::string name;
    std::set<std::string> otherBlocks;
    std::size_t atLeast;
};

/// A command of a page, and what the page says it prints.
struct Command {
    int line = 0;
    std::string text;
    std::string output;
};

const std::vector<PageOfSessions>& pages() {
    static const std::vector<PageOfSessions> all{
        {"filedb", {"synopsis"}, 30},
#ifdef WITH_SQLITE_EXTENSION
        {"sqlite-extension", {}, 6},
#endif
        {"filedb-check", {"grammar", "picture"}, 12},
        // Its statements and files are those of the engine, and run in docs_sql_test.
        {"file-format", {"abnf", "hexdump", "picture", "sql", "text"}, 15},
    };
    return all;
}

std::vector<PagePart> blocksOf(const std::string& page) {
    std::vector<PagePart> blocks;
    for (const PagePart& part : partsOf(readFile(std::string(PAGES) + "/" + page + ".md"))) {
        if (!part.isTable()) {
            blocks.push_back(part);
        }
    }
    return blocks;
}

/// The commands of a session: lines with "$ " and further lines of the same command with "> ".
void appendCommands(const PagePart& session, std::vector<Command>& commands) {
    ASSERT_EQ(session.text.rfind("$ ", 0), 0U) << "a session begins with a command";
    int line = session.line;
    for (const std::string& text : linesOf(session.text)) {
        ++line;
        if (text.rfind("$ ", 0) == 0) {
            commands.push_back({line, text.substr(2), ""});
        } else if (text.rfind("> ", 0) == 0) {
            commands.back().text += "\n" + text.substr(2);
        } else {
            commands.back().output += text + "\n";
        }
    }
}

/// Standard output and standard error of a command that a shell runs in `directory`.
std::string outputOf(const std::string& command, const std::string& directory) {
    const TemporaryDirectory files;
    const std::string programs = std::filesystem::path(FILEDB_PROGRAM).parent_path();
    writeFile(files.file("command"), "cd '" + directory + "'\nPATH='" + programs +
                                         "':$PATH\nLD_LIBRARY_PATH='" + programs +
                                         "'\nexport PATH LD_LIBRARY_PATH LC_ALL=C.UTF-8\n" + command + "\n");
    const std::string run =
        "sh '" + files.file("command") + "' > '" + files.file("out") + "' 2>&1 < /dev/null";
    EXPECT_NE(std::system(run.c_str()), -1);
    return readFile(files.file("out"));
}

class FiledbSamplesTest : public ::testing::TestWithParam<PageOfSessions> {};

TEST_P(FiledbSamplesTest, EverySessionOfThePageIsTrue) {
    std::vector<Command> commands;
    for (const PagePart& block : blocksOf(GetParam().name)) {
        if (block.language == "console") {
            appendCommands(block, commands);
        } else {
            EXPECT_EQ(GetParam().otherBlocks.count(block.language), 1U)
                << GetParam().name << ".md:" << block.line << ": no test runs blocks of the kind \""
                << block.language << '"';
        }
    }
    EXPECT_GE(commands.size(), GetParam().atLeast);

    const TemporaryDirectory directory;
    for (const Command& command : commands) {
        EXPECT_EQ(outputOf(command.text, directory.path()), command.output)
            << GetParam().name << ".md:" << command.line << ": $ " << command.text;
    }
}

std::string nameOf(const ::testing::TestParamInfo<PageOfSessions>& page) {
    return std::regex_replace(page.param.name, std::regex("-"), "_");
}

INSTANTIATE_TEST_SUITE_P(Pages, FiledbSamplesTest, ::testing::ValuesIn(pages()), nameOf);

TEST(SynopsisTest, EveryOptionOfASynopsisIsOneOfTheProgram) {
    static const std::regex option("--?[a-z][a-z-]*");
    int options = 0;
    for (const PagePart& block : blocksOf("filedb")) {
        for (const std::string& synopsis : linesOf(block.language == "synopsis" ? block.text : "")) {
            const std::string command = synopsis.substr(0, synopsis.find(" PATH"));
            const std::string help = outputOf(command + " --help", "/");
            for (std::sregex_iterator found(synopsis.begin(), synopsis.end(), option), end; found != end;
                 ++found) {
                ++options;
                EXPECT_NE(help.find(" " + found->str() + " "), std::string::npos) << synopsis << "\n" << help;
            }
        }
    }
    EXPECT_GT(options, 5);
}

}  // namespace
}  // namespace Kalt::Vemo::Test

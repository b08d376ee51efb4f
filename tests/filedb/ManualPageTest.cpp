// The manual page beside what the program says of itself: whatever --help prints stands in the page, and the
// page has nothing else.

#include <gmock/gmock.h>

#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "ProgramRun.h"

namespace Kalt::Vemo::Test {
namespace {

using ::testing::HasSubstr;

using Words = std::vector<std::string>;

// ---- What the program says ----

struct HelpOption {
    std::string name;          ///< "--mode"
    std::string value;         ///< "table|line|csv|json", "FILE"; empty for a flag
    std::string defaultValue;  ///< empty for none
    bool isRepeated = false;

    std::string usage() const {
        return "[" + name + (value.empty() ? "" : " " + value) + "]" + (isRepeated ? "..." : "");
    }
    std::string heading() const { return name + (value.empty() ? "" : " " + value); }
};

/// What --help prints of one command.
struct Help {
    Words positionals;  ///< "PATH", "[TABLE]"
    std::vector<HelpOption> options;
    Words subcommands;
};

/// An option's line without its description: "--mode TEXT:{table,line,csv,json}=table", "-c SQL ...".
HelpOption optionOf(const std::string& line) {
    static const std::regex kForm(
        R"re(  (-[-a-z,]+)(?: ([A-Z]+)(?::\{([a-z,]+)\})?(?:=([^ ]+))?( \.\.\.)?)?(?:  .*)?)re");
    std::smatch match;
    EXPECT_TRUE(std::regex_match(line, match, kForm)) << "not the form of an option: " << line;
    HelpOption option{match[1], match[3].matched ? match[3] : match[2], match[4], match[5].matched};
    option.value = std::regex_replace(option.value, std::regex(","), "|");
    option.name = std::regex_replace(option.name, std::regex(","), ", ");
    return option;
}

std::string positionalOf(const std::string& line) {
    static const std::regex kForm("  ([A-Z]+) [A-Z]+( REQUIRED)? .*");
    std::smatch match;
    EXPECT_TRUE(std::regex_match(line, match, kForm)) << "not the form of an argument: " << line;
    return match[2].matched ? match[1].str() : "[" + match[1].str() + "]";
}

Help helpOf(Words arguments) {
    arguments.emplace_back("--help");
    const ProgramResult result = runProgram(arguments);
    EXPECT_EQ(result.status, 0) << result;
    Help help;
    std::istringstream lines(result.out);
    std::string part;
    for (std::string line; std::getline(lines, line);) {
        const bool isEntry = line.rfind("  ", 0) == 0 && line[2] != ' ';  // no description's second line
        if (!isEntry && line.rfind("  ", 0) != 0) {
            part = line;
        } else if (isEntry && part == "Positionals:") {
            help.positionals.push_back(positionalOf(line));
        } else if (isEntry && part == "Options:") {
            help.options.push_back(optionOf(line));
        } else if (isEntry && part == "Subcommands:") {
            help.subcommands.push_back(line.substr(2, line.find(' ', 2) - 2));
        }
    }
    return help;
}

/// The options but --help, which every command must have.
std::vector<HelpOption> ownOptions(const Help& help) {
    std::vector<HelpOption> options;
    bool hasHelp = false;
    for (const HelpOption& option : help.options) {
        if (option.name == "-h, --help") {
            hasHelp = true;
        } else {
            options.push_back(option);
        }
    }
    EXPECT_TRUE(hasHelp);
    return options;
}

std::string usageOf(const std::string& command, const Help& help) {
    std::string usage = command;
    for (const std::string& positional : help.positionals) {
        usage += " " + positional;
    }
    for (const HelpOption& option : ownOptions(help)) {
        usage += " " + option.usage();
    }
    return usage;
}

// ---- What the page says ----

/// A macro's arguments: words, and texts in double quotes.
Words argumentsOf(const std::string& text) {
    static const std::regex kArgument(R"re("([^"]*)"|([^ ]+))re");
    Words arguments;
    for (std::sregex_iterator match(text.begin(), text.end(), kArgument), end; match != end; ++match) {
        arguments.push_back((*match)[1].matched ? (*match)[1] : (*match)[2]);
    }
    return arguments;
}

/// A line of the page as a reader sees it, without fonts.
std::string readable(const std::string& line) {
    const std::string text =
        std::regex_replace(std::regex_replace(line, std::regex(R"(\\-)"), "-"), std::regex(R"(\\&)"), "");
    static const std::regex kFont(R"(\.(B|I|BI|BR|IR|IB|RB|RI) (.*))");
    std::smatch match;
    if (!std::regex_match(text, match, kFont)) {
        return text;
    }
    const bool isOneFont = match[1].length() == 1;
    std::string joined;
    for (const std::string& argument : argumentsOf(match[2])) {
        joined += (isOneFont && !joined.empty() ? " " : "") + argument;
    }
    return joined;
}

/// Adds a line of the page to a text that is filled: only .br ends a line of it.
void append(std::string& text, const std::string& line) {
    if (line == ".br") {
        text += '\n';
    } else if (line != ".nh" && line != ".hy") {
        text += (text.empty() || text.back() == '\n' ? "" : " ") + readable(line);
    }
}

/// An entry of a list: its heading and its text.
struct Entry {
    std::string heading;
    std::string text;
};

struct Section {
    std::string text;  ///< in front of the first entry, line breaks as line feeds
    std::vector<Entry> entries;

    std::set<std::string> headings() const {
        std::set<std::string> headings;
        for (const Entry& entry : entries) {
            EXPECT_TRUE(headings.insert(entry.heading).second) << entry.heading << " is there twice";
        }
        return headings;
    }

    std::string textOf(const std::string& heading) const {
        for (const Entry& entry : entries) {
            if (entry.heading == heading) {
                return entry.text;
            }
        }
        return "no such entry";
    }
};

class ManualPageTest : public ::testing::Test {
protected:
    /// A section of the page, or one of its subsections.
    static Section section(const std::string& name) {
        Section section;
        std::istringstream lines(readFile(FILEDB_MANUAL_PAGE));
        bool isInside = false;
        bool isHeading = false;
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind(".SH ", 0) == 0 || line.rfind(".SS ", 0) == 0) {
                isInside = line.substr(4) == name;
            } else if (isInside && line == ".TP") {
                isHeading = true;
            } else if (isInside && isHeading) {
                section.entries.push_back({readable(line), ""});
                isHeading = false;
            } else if (isInside) {
                append(section.entries.empty() ? section.text : section.entries.back().text, line);
            }
        }
        return section;
    }

    /// Every default stands in the text of its option's entry.
    static void expectDefaults(const Section& section, const std::vector<HelpOption>& options) {
        for (const HelpOption& option : options) {
            if (!option.defaultValue.empty()) {
                EXPECT_THAT(section.textOf(option.heading()),
                            HasSubstr("Default: " + option.defaultValue + "."))
                    << option.heading();
            }
        }
    }

    const Help program = helpOf({});
};

TEST_F(ManualPageTest, SynopsisIsWhatTheHelpOfEachCommandPrints) {
    std::string expected;
    for (const std::string& command : program.subcommands) {
        const Help help = helpOf({command});
        const std::string usage = usageOf("filedb " + command, help);
        if (help.subcommands.empty()) {
            expected += usage + "\n";
        }
        for (const std::string& verb : help.subcommands) {
            expected += usageOf(usage + " " + verb, helpOf({command, "PATH", verb})) + "\n";
        }
    }
    EXPECT_EQ(section("SYNOPSIS").text + "\n", expected);
}

TEST_F(ManualPageTest, EveryCommandHasItsVerbsAndOptionsAndNoOthers) {
    ASSERT_FALSE(program.subcommands.empty());
    for (const std::string& command : program.subcommands) {
        const Help help = helpOf({command});
        std::vector<HelpOption> options = ownOptions(help);
        std::set<std::string> expected(help.subcommands.begin(), help.subcommands.end());
        for (const std::string& verb : help.subcommands) {
            const std::vector<HelpOption> more = ownOptions(helpOf({command, "PATH", verb}));
            options.insert(options.end(), more.begin(), more.end());
        }
        for (const HelpOption& option : options) {
            expected.insert(option.heading());
        }
        const Section told = section(command);
        EXPECT_NE(told.text, "") << "nothing tells what " << command << " does";
        EXPECT_EQ(told.headings(), expected) << command;
        expectDefaults(told, options);
    }
}

TEST_F(ManualPageTest, CommandsAreThoseOfTheHelpInItsOrder) {
    Words commands;
    std::istringstream lines(readFile(FILEDB_MANUAL_PAGE));
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(".SS ", 0) == 0) {
            commands.push_back(line.substr(4));
        }
    }
    EXPECT_EQ(commands, program.subcommands);
}

TEST_F(ManualPageTest, OptionsWithoutACommandAreThoseOfTheHelp) {
    std::set<std::string> expected;
    for (const HelpOption& option : program.options) {
        expected.insert(option.heading());
    }
    EXPECT_EQ(section("OPTIONS").headings(), expected);
}

TEST_F(ManualPageTest, VersionIsTheProgramsOwn) {
    const std::string version = runProgram({"--version"}).out;
    ASSERT_FALSE(version.empty());
    EXPECT_THAT(readFile(FILEDB_MANUAL_PAGE),
                HasSubstr(".TH FILEDB 1 \"\" \"" + version.substr(0, version.find('\n')) + "\" "));
}

}  // namespace
}  // namespace Kalt::Vemo::Test

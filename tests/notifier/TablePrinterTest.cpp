#include "console/TablePrinter.h"

#include <gtest/gtest.h>

#include <sstream>

#include "console/Printable.h"

namespace Kalt::Vemo::Tool {
namespace {

TEST(Printable, WritesOutWhatATerminalMustNotSee) {
    const struct {
        std::string text;
        std::string hexadecimal;
        std::string reversible;
    } rows[] = {
        {"", "", ""},
        {"plain text ~ 'quoted'", "plain text ~ 'quoted'", "plain text ~ 'quoted'"},
        {"a\nb\tc\rd", "a\\x0ab\\x09c\\x0dd", "a\\nb\\tc\\rd"},
        {"\x1b[2J", "\\x1b[2J", "\\x1b[2J"},
        {std::string("a\0b", 3), "a\\x00b", "a\\x00b"},
        {"\x7f", "\\x7f", "\\x7f"},
        {"back\\slash", "back\\slash", "back\\\\slash"},
        {"gro\xc3\x9f \xe2\x82\xac \xf0\x9f\x8f\xa0", "gro\xc3\x9f \xe2\x82\xac \xf0\x9f\x8f\xa0",
         "gro\xc3\x9f \xe2\x82\xac \xf0\x9f\x8f\xa0"},
        // A control character of two bytes; a mark that turns the direction of writing; a separator of lines.
        {"\xc2\x9b", "\\xc2\\x9b", "\\xc2\\x9b"},
        {"\xe2\x80\xae", "\\xe2\\x80\\xae", "\\xe2\\x80\\xae"},
        {"\xe2\x80\xa8", "\\xe2\\x80\\xa8", "\\xe2\\x80\\xa8"},
        // Cut short.
        {"\xc3", "\\xc3", "\\xc3"},
        {"\xe2\x82", "\\xe2\\x82", "\\xe2\\x82"},
        {"\xf0\x9f\x8f", "\\xf0\\x9f\\x8f", "\\xf0\\x9f\\x8f"},
        // Never part of a character.
        {"\xff\xfe", "\\xff\\xfe", "\\xff\\xfe"},
        // Longer than need be.
        {"\xc0\xaf", "\\xc0\\xaf", "\\xc0\\xaf"},
        {"\xe0\x80\xaf", "\\xe0\\x80\\xaf", "\\xe0\\x80\\xaf"},
        {"\xf0\x80\x80\xaf", "\\xf0\\x80\\x80\\xaf", "\\xf0\\x80\\x80\\xaf"},
        // Half of a pair; beyond the last character.
        {"\xed\xa0\x80", "\\xed\\xa0\\x80", "\\xed\\xa0\\x80"},
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80", "\\xf4\\x90\\x80\\x80"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(printable(row.text), row.hexadecimal);
        EXPECT_EQ(printable(row.text, Escapes::kReversible), row.reversible);
    }
}

std::string printed(const TableLayout& layout) {
    std::ostringstream out;
    printTable(out, layout, {{"id", true, ""}, {"name", false, "*name*"}, {"note", false, ""}},
               {{{"1", true, ""}, {"gro\xc3\x9f", false, ""}, {"x", false, ""}},
                {{"-20", true, ""}, {"\xe6\x9c\xa8", false, ""}, {"", false, ""}}});
    return out.str();
}

// A wide character takes two columns of a terminal, and one where characters are counted. Colours take none.
TEST(PrintTable, AlignsColumnsInEachLayout) {
    EXPECT_EQ(printed(kIndentedLayout),
              "   id   *name*   note\n"
              "    1   gro\xc3\x9f   x\n"
              "  -20   \xe6\x9c\xa8\n");
    EXPECT_EQ(printed(kUnderlinedLayout),
              " id  *name*  note\n"
              "---  ----  ----\n"
              "  1  gro\xc3\x9f  x\n"
              "-20  \xe6\x9c\xa8\n");
    EXPECT_EQ(printed(kAsciiBoxLayout),
              "+-----+------+------+\n"
              "|  id | *name* | note |\n"
              "+-----+------+------+\n"
              "|   1 | gro\xc3\x9f | x    |\n"
              "| -20 | \xe6\x9c\xa8   |      |\n"
              "+-----+------+------+\n");
    EXPECT_EQ(printed(kBoxLayout),
              "┌─────┬──────┬──────┐\n"
              "│  id │ *name* │ note │\n"
              "├─────┼──────┼──────┤\n"
              "│   1 │ gro\xc3\x9f │ x    │\n"
              "│ -20 │ \xe6\x9c\xa8   │      │\n"
              "└─────┴──────┴──────┘\n");
}

TEST(PrintTable, WithoutRowsPrintsTheHeading) {
    std::ostringstream out;
    printTable(out, kIndentedLayout, {{"id", false, ""}, {"name", false, ""}}, {});
    EXPECT_EQ(out.str(), "  id   name\n");
}

}  // namespace
}  // namespace Kalt::Vemo::Tool

#include "TablePrinter.h"

#include <gtest/gtest.h>

#include <sstream>

namespace Notifier {
namespace {

TEST(Printable, WritesOutWhatATerminalMustNotSee) {
    const struct {
        std::string text;
        std::string expected;
    } rows[] = {
        {"", ""},
        {"plain text ~ 'quoted'", "plain text ~ 'quoted'"},
        {"a\nb\tc\rd", "a\\nb\\tc\\rd"},
        {"\x1b[2J", "\\x1b[2J"},
        {std::string("a\0b", 3), "a\\x00b"},
        {"\x7f", "\\x7f"},
        {"back\\slash", "back\\\\slash"},
        {"gro\xc3\x9fmutter \xe2\x82\xac \xf0\x9f\x8f\xa0",
         "gro\xc3\x9fmutter \xe2\x82\xac \xf0\x9f\x8f\xa0"},
        {"\xc2\x9b", "\\xc2\\x9b"},                    // a control character of two bytes
        {"\xc3", "\\xc3"},                             // cut short
        {"\xe2\x82", "\\xe2\\x82"},                    //
        {"\xf0\x9f\x8f", "\\xf0\\x9f\\x8f"},           //
        {"\xff\xfe", "\\xff\\xfe"},                    // never part of a character
        {"\xc0\xaf", "\\xc0\\xaf"},                    // longer than need be
        {"\xe0\x80\xaf", "\\xe0\\x80\\xaf"},           //
        {"\xf0\x80\x80\xaf", "\\xf0\\x80\\x80\\xaf"},  //
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // half of a pair
        {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // beyond the last character
    };
    for (const auto& row : rows) {
        EXPECT_EQ(printable(row.text), row.expected);
    }
}

TEST(PrintTable, AlignsNumbersRightAndAllElseLeft) {
    std::ostringstream out;
    printTable(out, {"id", "name", "note"},
               {{"1", "gro\xc3\x9f", "x"}, {"-20", "a\nb", ""}, {"NULL", "long enough", "y"}});
    EXPECT_EQ(out.str(),
              "  id     name          note\n"
              "     1   gro\xc3\x9f          x\n"
              "   -20   a\\nb\n"
              "  NULL   long enough   y\n");
}

TEST(PrintTable, WithoutRowsPrintsTheHeading) {
    std::ostringstream out;
    printTable(out, {"id", "name"}, {});
    EXPECT_EQ(out.str(), "  id   name\n");
}

}  // namespace
}  // namespace Notifier

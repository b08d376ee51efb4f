#pragma once

#include <string>

namespace Kalt::Vemo::Tool {

/// What a field of a table file is worth in a column of some flag number, by what the engine's getters and
/// comparisons make of it.
struct ValueForm {
    enum class Kind {
        kStored,     // as a statement stores it
        kMended,     // reads as the same value as `text`, the stored form
        kReadable,   // reads as a value that the stored form has not, so it is to stay as it is
        kUnreadable  // only a guess could say what was meant
    };

    Kind kind = Kind::kUnreadable;
    std::string text;  // what to keep

    ///     INTEGER   -1 is 18446744073709551615, 1.0 and " 7" are 1 and 7; 5.5 and 'x', which an UPDATE of
    ///               several columns can have stored, stay
    ///     REAL      2.50 is 2.5; 3.14159265 stays, for six digits read as another number
    ///     TEXT      x is 'x'; it's without quotes around it stays, for inside of quotes it reads as it'
    static ValueForm of(long flag, const std::string& value);
};

}  // namespace Kalt::Vemo::Tool

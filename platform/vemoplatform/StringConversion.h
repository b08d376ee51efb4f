#pragma once

#include <cstdint>
#include <string>

#include "PlatformExport.h"

namespace Kalt::Vemo::Platform {

/// Numbers from text. Holds no state; callable from any thread.
///
/// Every conversion skips leading white space (blank, tab, line feed, vertical tab, form feed, carriage
/// return), takes an optional sign and then the longest part that reads as a number; what follows is ignored.
/// Text without digits there gives 0. Nothing throws, and the locale makes no difference.
///
///     StringConversion::stringToint64(" -12 apples");   // -12
///     StringConversion::stringTouint64("-1");           // 18446744073709551615
///     StringConversion::stringToFloat("2.5e3V");        // 2500
class VEMO_PLATFORM_EXPORT StringConversion {
public:
    /// Reads a decimal integer.
    /// @param text begins with the number
    /// @return the number; beyond either end of the type, that end
    static std::int64_t stringToint64(const std::string& text);

    /// Reads a decimal integer without its sign; a minus sign negates modulo 2^64.
    /// @param text begins with the number
    /// @return the number; for digits beyond the type's largest value that value, whatever the sign
    static std::uint64_t stringTouint64(const std::string& text);

    /// Reads a decimal number with optional fraction and exponent: "12", ".5", "1.", "-2.5e-3". Hexadecimal
    /// text, "inf" and "nan" are not numbers here.
    /// @param text begins with the number
    /// @return the nearest float; infinity with the text's sign for a number that is too large, 0 for a
    ///         number that is too small
    static float stringToFloat(const std::string& text);
};

}  // namespace Kalt::Vemo::Platform

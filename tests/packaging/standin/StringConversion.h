#pragma once

#include <cstdint>
#include <string>

namespace Kalt::Vemo::Platform {

class StringConversion {
public:
    static std::int64_t stringToint64(const std::string& text);
    static std::uint64_t stringTouint64(const std::string& text);
    static float stringToFloat(const std::string& text);
};

}  // namespace Kalt::Vemo::Platform

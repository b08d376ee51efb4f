#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the program with a message and exit status 1 when `condition` does not hold.
inline void check(bool condition, const char* what) {
    if (!condition) {
        static_cast<void>(std::fprintf(stderr, "not true: %s\n", what));
        std::exit(1);
    }
}

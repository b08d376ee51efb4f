#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Subject.h"

/// Something that is measured: what is timed, and what is done before and after it, outside of the time, so
/// that every round meets the same number of rows.
struct Operation {
    std::string name;
    bool changes;   ///< whether it writes, so that what is done for power cuts costs something
    bool onSqlite;  ///< whether SQLite has the same work to offer
    int repeats;    ///< how often `timed` does its work in one round
    std::function<void(Subject&, int rows)> before;
    std::function<void(Subject&, int rows)> timed;
    std::function<void(Subject&, int rows)> after;
};

/// Every operation of the subscription store, then every kind of statement.
const std::vector<Operation>& operations();

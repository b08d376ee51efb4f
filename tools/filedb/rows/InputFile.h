#pragma once

#include <cstddef>
#include <fstream>
#include <optional>
#include <string>

#include "rows/CountedInput.h"
#include "rows/ImportedRow.h"

namespace Kalt::Vemo::Tool {

/// The FILE of a command line that rows are read from; "-" is standard input.
class InputFile {
public:
    /// @param kinds what the file may be, for the message: "a CSV or JSON file"
    /// Throws: Trouble when it cannot be opened.
    InputFile(const std::string& file, const std::string& kinds);

    CountedInput& input() { return *input_; }

    /// Bytes of the file, 0 when they are not known.
    std::size_t size() const { return size_; }

    /// Throws: Trouble when reading has ended for another reason than the end of the file.
    void requireReadToEnd() const;

    /// Prints "FILE:LINE: error: what is wrong" on standard error.
    void report(const ImportError& error) const;

private:
    std::string name_;
    std::ifstream stream_;
    std::optional<CountedInput> input_;
    std::size_t size_ = 0;
};

}  // namespace Kalt::Vemo::Tool

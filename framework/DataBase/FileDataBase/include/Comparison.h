#pragma once

#include <string>
#include <string_view>

#include "Operators.h"

/// How values are compared: in conditions, and in the check of a primary key.
namespace Kalt::Vemo::Core::Database::Filedb {

/// How an ordering operator compares.
enum class ValueType : unsigned char { integer = 1, real = 2, text = 4 };

/// The text without the quotes that enclose it, doubled quotes inside as one; a lone quote inside swallows
/// the character behind it. Unchanged when it does not begin with a quote.
///
/// @param scratch holds the result when a quote inside had to be rewritten
std::string_view withoutQuotes(std::string_view text, std::string& scratch);

/// Whether the value matches the pattern, in which "%" stands for any text, at the pattern's ends only.
bool matchesPattern(std::string_view value, std::string_view pattern);

/// Whether `op`, one of the six that compare, holds: as text, as unsigned 64-bit integers or as
/// single-precision numbers, see ValueType. False for any other type code.
bool holds(Operator op, unsigned char type, std::string_view left, std::string_view right);

/// What an operator is applied to.
struct ComparedValue {
    /// Takes a field as it is stored.
    void take(std::string_view field);

    /// Becomes what an operator has given.
    void setResult(bool value);

    bool isTrue() const;

    std::string_view text;  ///< without quotes
    bool isNull = false;
    bool isResult = false;
    bool result = false;
    std::string scratch;  ///< holds a text that had to be rewritten
};

/// Applies an operator. A comparison with NULL does not hold.
///
/// @param type the type code by which the ordering operators compare
bool apply(const OperatorEntry& entry, unsigned char type, const ComparedValue& left,
           const ComparedValue& right);

}  // namespace Kalt::Vemo::Core::Database::Filedb

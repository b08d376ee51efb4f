#include "SqlText.h"

#include <utility>

#include "BoundValues.h"
#include "DatabaseException.h"
#include "Tokenizer.h"
#include "Utils.h"

namespace Kalt::Vemo::Core::Database::Filedb::SqlText {

namespace {

constexpr std::string_view kWhere = " WHERE ";
constexpr std::string_view kSelect = "SELECT";
constexpr std::string_view kFrom = "FROM ";
constexpr std::string_view kValues = "VALUES";
constexpr const char* kComma = ",";
constexpr int kHeadWords = 3;
constexpr std::size_t kNone = std::string_view::npos;

std::optional<Select> findSelect(std::string_view statement) {
    const auto isBoundary = [&](std::size_t position) {
        return position < statement.size() &&
               (statement[position] == '*' || Utils::isWhiteSpace(statement[position]));
    };
    const std::size_t select = statement.find_first_not_of(WHITESPACE);
    const std::size_t from = statement.find(kFrom);
    if (select == kNone || statement.compare(select, kSelect.size(), kSelect) != 0 ||
        !isBoundary(select + kSelect.size()) || from == kNone || !isBoundary(from - 1)) {
        return std::nullopt;
    }
    const std::size_t items = select + kSelect.size();
    const std::size_t table = from + kFrom.size();
    const std::optional<Condition> condition = findCondition(statement, table);
    // The blank before WHERE is part of the table's text, too, and trimmed with it.
    const std::size_t length = condition ? condition->keyword + 1 - table : kNone;
    return Select{List<Item>(statement.substr(items, from - items)), Name(statement.substr(table, length)),
                  condition};
}

SyntaxError selectError(int line = __builtin_LINE()) {
    return {"executeQuery", line, "DB Syntax Error: Error at SELECT or FROM clause"};
}

SyntaxError insertError(const char* message, int line = __builtin_LINE()) {
    return {"insertTable", line, message};
}

Change::Kind kindOf(const std::vector<std::string>& head) {
    using Kind = Change::Kind;
    if (head.size() < kHeadWords) {
        return Kind::incomplete;
    }
    if (head[0] == "INSERT" && head[1] == "INTO") {
        return Kind::insert;
    }
    if (head[0] == "UPDATE" && head[2] == "SET") {
        return Kind::update;
    }
    if (head[0] == "DELETE" && head[1] == "FROM") {
        return Kind::deleteRows;
    }
    if (head[1] != "TABLE") {
        return Kind::unknown;
    }
    if (head[0] == "CREATE") {
        return head[2] == "IF" ? Kind::createTableIfMissing : Kind::createTable;
    }
    return head[0] == "ALTER" ? Kind::alterTable : head[0] == "DROP" ? Kind::dropTable : Kind::unknown;
}

}  // namespace

void SyntaxError::raise() const {
    throw DatabaseException(raiser, line, "%s", message);
}

// ---- Pieces ----

Name::Name(std::string_view text) : written(text), name(Utils::columnName(written)) {}

const std::string& Name::checked() const {
    if (name.empty()) {
        static_cast<void>(Utils::validateColumnName(written));
    }
    Utils::logColumnName(written);
    return name;
}

template <typename Piece>
List<Piece>::List(std::string_view listText) : text(listText) {
    pieces.reserve(Utils::count(text, *kComma) + 1);
    Utils::splitAt(text, kComma, pieces);
}

template <typename Piece>
const std::vector<Piece>& List<Piece>::logged() const {
    Utils::logSplit(text, kComma);
    return pieces;
}

template struct List<Item>;
template struct List<Assignment>;

std::optional<Condition> findCondition(std::string_view statement, std::size_t from) {
    const std::size_t keyword = statement.find(kWhere, from);
    if (keyword == kNone) {
        return std::nullopt;
    }
    return Condition{keyword, static_cast<unsigned int>(keyword + kWhere.size())};
}

Item::Item(std::string_view text) : isStar(Utils::trimmed(text) == "*"), name(text) {}

Select parseSelect(std::string_view statement) {
    std::optional<Select> select = findSelect(statement);
    if (!select) {
        selectError().raise();
    }
    return std::move(*select);
}

Insert::Insert(std::string_view text) : error_(parse(text)) {}

std::optional<SyntaxError> Insert::parse(std::string_view text) {
    std::size_t position = text.find_first_not_of(WHITESPACE);
    if (position == kNone) {
        return insertError("Syntax Error: Wrong statement after TableName clause");
    }
    if (text[position] == '(') {
        const std::size_t close = text.find(')', position);
        if (close == kNone) {
            return insertError("No matching ) bracket for column list");
        }
        names_.emplace(text.substr(position + 1, close - position - 1));
        position = close + 1;
    } else {
        position = 0;
    }

    position = text.find_first_not_of(WHITESPACE, position);
    if (position == kNone || text.compare(position, kValues.size(), kValues) != 0) {
        return insertError("Syntax error: At VALUES phrase");
    }
    const std::size_t open = text.find_first_not_of(WHITESPACE, position + kValues.size());
    const std::size_t close = open == kNone ? open : text.find(')', open);
    if (close == kNone || text[open] != '(' || text.find_first_not_of(WHITESPACE, close + 1) != kNone) {
        return insertError("Syntax Error: At value phrase");
    }
    values_.emplace(text.substr(open + 1, close - open - 1));
    if (values_->pieces.size() < nameCount()) {
        return insertError("Syntax Error: At value phrase");
    }
    return std::nullopt;
}

void Insert::check() const {
    if (names_) {
        for (const Name& name : names_->logged()) {
            static_cast<void>(name.checked());
        }
    }
    if (values_) {
        static_cast<void>(values_->logged());
    }
    if (error_) {
        error_->raise();
    }
}

Assignment::Assignment(std::string_view text) {
    const std::size_t equal = text.find('=');
    if (equal != kNone) {
        name_.emplace(text.substr(0, equal));
        value_ = text.substr(equal + 1);
    }
}

const std::string& Assignment::checkedName() const {
    if (!name_) {
        throw DatabaseException("updateTable", __LINE__, "Syntax Error: Not found '=' in set clause");
    }
    return name_->checked();
}

std::vector<std::string> splitDefinitions(const std::string& text) {
    const std::size_t open = text.find_first_not_of(WHITESPACE);
    if (open == kNone || text[open] != '(' || text.back() != ')') {
        throw DatabaseException("createTable", __LINE__,
                                "DB Syntax Error: No proper start & end bracket after TableName.");
    }
    return List<std::string>(std::string_view(text).substr(open + 1, text.size() - open - 2)).logged();
}

// ---- Whole statements ----

Text::Text(std::string_view sql) : sql_(sql), placeholderCount_(BoundValues::countPlaceholders(sql_)) {
    static const std::string kTrailing = std::string(";") + WHITESPACE;
    const std::size_t last = sql_.find_last_not_of(kTrailing);
    if (last != kNone && sql_.find(';', last) != kNone) {
        statement_ = sql_.substr(0, last + 1);
    }
}

Query::Query(std::string_view sql) : Text(sql) {
    if (statement()) {
        select_ = findSelect(*statement());
    }
}

const Select& Query::select() const {
    if (!select_) {
        selectError().raise();
    }
    return *select_;
}

Change::Change(std::string_view sql) : Text(sql) {
    if (!statement()) {
        return;
    }
    Tokenizer words(*statement(), kHeadDelimiter);
    std::vector<std::string> head = words.split(kHeadWords);
    kind_ = kindOf(head);
    if (kind_ == Kind::incomplete) {
        return;
    }
    tableName_ = std::move(head[kind_ == Kind::update ? 1 : 2]);
    remainder_ = words.remainder();
    if (kind_ == Kind::insert) {
        insert_.emplace(remainder_);
    }
    if (kind_ == Kind::update || kind_ == Kind::deleteRows) {
        condition_ = findCondition(remainder_);
    }
    if (kind_ == Kind::update) {
        const std::string_view text = remainder_;
        assignments_.emplace(text.substr(0, condition_ ? condition_->keyword : text.size()));
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb::SqlText

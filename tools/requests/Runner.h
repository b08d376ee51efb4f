#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ISubscriptionDB.h"
#include "console/Printable.h"
#include "requests/Request.h"

namespace Kalt::Vemo::Requests {

/// What came of a request.
struct Outcome {
    bool succeeded = false;
    std::string found;  ///< what a save or a query has to tell, for a person; empty when there is nothing
};

/// "AT OPERATION: ok, FOUND" or "AT OPERATION: failed", for a person; the request's text "at" is escaped.
std::string resultLine(const Request& request, const Outcome& outcome, Tool::Escapes escapes);

class Runner;

/// One kind of request: its name, its fields, what it does.
struct Operation {
    const char* name;
    std::vector<Field> fields;
    const char* summary;
    Outcome (*run)(Runner& runner, const Request& request);
};

/// Plays the notification framework: holds one store and applies requests to it.
class Runner {
public:
    /// @param store not open; it is opened by `open` or by a request "init"
    /// @param path  what the store, and the other client of its database, are opened with
    Runner(std::unique_ptr<Notification::ISubscriptionDB> store, std::string path, int expirySeconds);

    bool open();
    void close();

    /// What the store was opened with last: a request "init" may name another path.
    const std::string& path() const { return path_; }

    /// Every kind of request there is: each operation of the store, and what another client of its database
    /// does.
    static const std::vector<Operation>& operations();

    /// The fields that an operation takes; null for an unknown one.
    static const std::vector<Field>* fieldsOf(const std::string& operation);

    Outcome run(const Request& request);

private:
    struct Handlers;
    struct Catalogue;

    std::unique_ptr<Notification::ISubscriptionDB> store_;
    std::string path_;
    int expirySeconds_;
    bool open_ = false;
};

}  // namespace Kalt::Vemo::Requests

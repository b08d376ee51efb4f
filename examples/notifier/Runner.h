#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ISubscriptionDB.h"
#include "Request.h"

namespace Notifier {

/// What came of a request.
struct Outcome {
    bool succeeded = false;
    std::string found;  ///< what a save or a query has to tell, for a person; empty when there is nothing
};

class Runner;

/// One kind of request: its name, its fields, what it does.
struct Operation {
    std::string name;
    std::vector<Field> fields;
    std::string summary;
    Outcome (*run)(Runner& runner, const Request& request);
};

/// Plays the notification framework: holds one store and applies requests to it.
class Runner {
public:
    /// The store is not open before `open` or a request "init".
    Runner(std::string path, int expirySeconds);

    bool open();

    /// Every kind of request there is: each operation of the store, and what another client of its database
    /// does.
    static const std::vector<Operation>& operations();

    /// The fields that an operation takes; null for an unknown one.
    static const std::vector<Field>* fieldsOf(const std::string& operation);

    Outcome run(const Request& request);

    /// Closes the store and prints both tables as they are stored.
    void printTables(std::ostream& out);

private:
    struct Requests;

    std::string path_;
    int expirySeconds_;
    bool open_ = false;
    std::unique_ptr<Kalt::Vemo::Notification::ISubscriptionDB> store_;
};

}  // namespace Notifier

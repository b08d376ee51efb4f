#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <iostream>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "SubscriptionRecord.h"
#include "console/ExitStatus.h"
#include "rows/RowWriter.h"
#include "subs/Replay.h"
#include "subs/SubscriptionStore.h"

namespace Kalt::Vemo::Tool {

namespace {

using Notification::ISubscriptionDB;
using Notification::SubscriptionRecord;
using Access = SubscriptionStore::Access;
using Records = std::list<SubscriptionRecord>;

constexpr const char* kFooter =
    R"(Without --mine the operations are about what others hold on this device's resources (table Subscriptions),
with it about what this device holds on others (table MySubscriptions). list and find never write.

Examples:
  filedb subs /tmp/home provision
  filedb subs /tmp/home save --device lamp --resource /light --uri /subs/1 --notify coap://lamp/n
  filedb subs /tmp/home --expiry 3600 save --device lamp --resource /light --uri /subs/2 --notify coap://lamp/n
  filedb subs /tmp/home list
  filedb subs /tmp/home find --resource /light
  filedb subs /tmp/home update --id 1 --device lamp --resource "/light /heat" --notify coap://lamp/n
  filedb subs /tmp/home delete --id 1
  filedb subs /tmp/home expire
  filedb subs /tmp/home replay requests.jsonl
  filedb subs /tmp/home save --mine --request 7 --device boiler --resource /heat --notify coap://me/n
  filedb subs /tmp/home update --mine --request 7 --uri /subs/9
  filedb subs /tmp/home delete --mine --device boiler --uri /subs/9
)";

struct Options {
    std::string path;
    int expirySeconds = 0;
    bool mine = false;
    std::int64_t id = 0;
    int requestId = 0;
    std::string device;
    std::vector<std::string> resources;
    std::string uri;
    std::string notify;
    std::string mode = "table";
    std::string file;
};

/// The options of one verb, and which of them were given.
class Verb {
public:
    Verb(CLI::App& subs, const std::string& name, const std::string& description,
         std::shared_ptr<Options> options)
        : command_(subs.add_subcommand(name, description)), options_(std::move(options)) {}

    Options& options() const { return *options_; }

    void addMine() {
        command_->add_flag("--mine", options_->mine, "The subscriptions that this device holds on others");
    }
    void addId() { command_->add_option("--id", options_->id, "The subscription's identifier"); }
    void addRequest() {
        command_->add_option("--request", options_->requestId,
                             "Number of the request that waits for its answer");
    }
    void addDevice() { command_->add_option("--device", options_->device, "The device at the other end"); }
    void addResources() { addResourceOption("A resource; may be given several times"); }
    void addAnyOfResources() { addResourceOption("A resource; several mean any of them"); }
    void addUri() { command_->add_option("--uri", options_->uri, "The URI of the subscription itself"); }
    void addNotify() { command_->add_option("--notify", options_->notify, "The URI for notifications"); }
    void addMode() { Tool::addMode(*command_, options_->mode); }
    void addFile() {
        command_->add_option("FILE", options_->file, "The file, - for standard input")->required();
    }

    bool has(const char* option) const { return command_->count(option) > 0; }

    /// Whether exactly these options were given, besides --mine and --mode.
    bool hasJust(std::initializer_list<const char*> names) const {
        std::size_t given = 0;
        for (const CLI::Option* option : command_->get_options()) {
            const std::string name = option->get_name();
            given += option->count() > 0 && name != "--mine" && name != "--mode" ? 1U : 0U;
        }
        for (const char* name : names) {
            if (!has(name)) {
                return false;
            }
        }
        return given == names.size();
    }

    /// Says which options make an operation of the verb.
    [[noreturn]] void refuse(const std::vector<std::string>& forms) const {
        std::string text = "these options do not make an operation; give ";
        for (std::size_t index = 0; index < forms.size(); ++index) {
            text += (index == 0 ? "" : ", or ") + forms[index];
        }
        throw Trouble(text);
    }

    /// What the verb does when the command line names it.
    void onRun(int& status, int (*body)(const Verb&)) const {
        const Verb self = *this;
        command_->callback([self, body, &status] {
            status = runCommand("subs " + self.command_->get_name(), [&] { return body(self); });
        });
    }

private:
    void addResourceOption(const char* description) {
        command_->add_option("--resource", options_->resources, description)->allow_extra_args(false);
    }

    CLI::App* command_;
    std::shared_ptr<Options> options_;
};

SubscriptionRecord recordOf(const Options& options) {
    SubscriptionRecord record;
    record.deviceId = options.device;
    for (const std::string& resource : options.resources) {
        record.subscribedResource += (record.subscribedResource.empty() ? "" : " ") + resource;
    }
    record.subscriptionUri = options.uri;
    record.notificationUri = options.notify;
    record.subscriptionId = options.id;
    return record;
}

int change(const Options& options, const SubscriptionStore::Operation& operation) {
    SubscriptionStore(PathArgument(options.path), Access::kChange, options.expirySeconds).run(operation);
    return kDone;
}

using Query = std::function<bool(ISubscriptionDB& store, Records& records)>;

int query(const Options& options, const Query& find) {
    SubscriptionStore store(PathArgument(options.path), Access::kLook, options.expirySeconds);
    Records records;
    store.run([&](ISubscriptionDB& opened) { return find(opened, records); });
    ResultSet result;
    result.columns = {{"id", Column::Type::kInteger},
                      {"device", Column::Type::kText},
                      {"resource", Column::Type::kText},
                      {"uri", Column::Type::kText},
                      {"notify", Column::Type::kText}};
    for (const SubscriptionRecord& record : records) {
        result.rows.push_back({std::to_string(record.subscriptionId), record.deviceId,
                               record.subscribedResource, record.subscriptionUri, record.notificationUri});
    }
    show(result, modeOf(options.mode));
    return kDone;
}

/// A query that finds at most one record, and leaves its record's identifier at 0 when there is none.
template <typename Find>
Query atMostOne(Find find) {
    return [find](ISubscriptionDB& store, Records& records) {
        SubscriptionRecord record;
        const bool succeeded = find(store, record);
        if (record.subscriptionId != 0) {
            records.push_back(record);
        }
        return succeeded;
    };
}

int save(const Verb& verb) {
    const Options& options = verb.options();
    SubscriptionRecord record = recordOf(options);
    if (options.mine != verb.has("--request")) {
        verb.refuse({"--device D --resource R --uri U --notify N",
                     "--mine --request NUMBER --device D --resource R [--uri U] --notify N"});
    }
    change(options, [&](ISubscriptionDB& store) {
        return options.mine ? store.savePendingMySubscription(options.requestId, record)
                            : store.saveSubscription(record);
    });
    std::cout << "saved as " << record.subscriptionId << '\n';
    return kDone;
}

int list(const Verb& verb) {
    Options& options = verb.options();
    if (options.mine && verb.hasJust({"--device"})) {
        return query(options, [&](ISubscriptionDB& store, Records& records) {
            return store.getMySubscriptionByDeviceId(options.device, records);
        });
    }
    if (options.mine || !verb.hasJust({})) {
        verb.refuse({"no option", "--mine --device D"});
    }
    return query(options,
                 [](ISubscriptionDB& store, Records& records) { return store.getSubscriptions(records); });
}

int findMine(const Verb& verb) {
    Options& options = verb.options();
    if (verb.hasJust({"--uri"})) {
        return query(options, atMostOne([&](ISubscriptionDB& store, SubscriptionRecord& record) {
                         return store.getMySubscriptionBySubscriptionUri(options.uri, record);
                     }));
    }
    if (verb.hasJust({"--device", "--resource"})) {
        return query(options, [&](ISubscriptionDB& store, Records& records) {
            return options.resources.size() == 1
                       ? store.getMySubscriptionByResourcePaths(options.device, options.resources.front(),
                                                                records)
                       : store.getMySubscriptionContainingResourceList(
                             options.device, {options.resources.begin(), options.resources.end()}, records);
        });
    }
    verb.refuse({"--id ID", "--resource R (as a whole word of the resources)",
                 "--resource R --resource S (any of them, anywhere in the resources)", "--mine --uri U",
                 "--mine --device D --resource R"});
}

int find(const Verb& verb) {
    Options& options = verb.options();
    if (!options.mine && verb.hasJust({"--id"})) {
        return query(options, atMostOne([&](ISubscriptionDB& store, SubscriptionRecord& record) {
                         std::string id = std::to_string(options.id);
                         return store.getSubscriptionBySubscriptionID(id, record);
                     }));
    }
    if (!options.mine && verb.hasJust({"--resource"})) {
        return query(options, [&](ISubscriptionDB& store, Records& records) {
            return options.resources.size() == 1
                       ? store.getSubscriptionContainingResource(options.resources.front(), records)
                       : store.getSubscriptionContainingResourceList(
                             {options.resources.begin(), options.resources.end()}, records);
        });
    }
    return findMine(verb);
}

int update(const Verb& verb) {
    Options& options = verb.options();
    SubscriptionRecord record = recordOf(options);
    if (!options.mine && verb.hasJust({"--id", "--device", "--resource", "--notify"})) {
        return change(options, [&](ISubscriptionDB& store) { return store.updateSubscription(record); });
    }
    if (options.mine && verb.hasJust({"--request", "--uri"})) {
        return change(options, [&](ISubscriptionDB& store) {
            return store.updateMySubscription(options.requestId, options.uri);
        });
    }
    if (options.mine && verb.hasJust({"--uri", "--resource"})) {
        return change(options, [&](ISubscriptionDB& store) {
            return store.updateMySubscriptionBySubscriptionUri(options.uri, record.subscribedResource);
        });
    }
    verb.refuse({"--id ID --device D --resource R --notify N",
                 "--mine --request NUMBER --uri U (the answer to a request)", "--mine --uri U --resource R"});
}

int remove(const Verb& verb) {
    Options& options = verb.options();
    if (!options.mine && verb.hasJust({"--id"})) {
        return change(options, [&](ISubscriptionDB& store) {
            std::string id = std::to_string(options.id);
            return store.deleteSubscriptionBySubscriptionID(id);
        });
    }
    if (options.mine && verb.hasJust({"--request"})) {
        return change(options, [&](ISubscriptionDB& store) {
            return store.deletePendingMySubscription(options.requestId);
        });
    }
    if (options.mine && verb.hasJust({"--device", "--uri"})) {
        return change(options, [&](ISubscriptionDB& store) {
            return store.deleteMySubscriptionBySubscriptionUri(options.device, options.uri);
        });
    }
    verb.refuse(
        {"--id ID", "--mine --request NUMBER (a request without an answer)", "--mine --device D --uri U"});
}

int provision(const Verb& verb) {
    SubscriptionStore::provision(PathArgument(verb.options().path));
    return kDone;
}

int expire(const Verb& verb) {
    return change(verb.options(), [](ISubscriptionDB& store) { return store.deleteExpiredSubscriptions(); });
}

int replayFile(const Verb& verb) {
    const Options& options = verb.options();
    return replay(PathArgument(options.path), options.file, options.expirySeconds);
}

/// A verb, with its options in the order in which the help lists them.
struct VerbForm {
    const char* name;
    const char* description;
    std::vector<void (Verb::*)()> options;
    int (*run)(const Verb& verb);
};

std::vector<VerbForm> verbForms() {
    return {{"provision", "Make the database and both tables where they are missing", {}, provision},
            {"save",
             "Save a subscription",
             {&Verb::addMine, &Verb::addRequest, &Verb::addDevice, &Verb::addResources, &Verb::addUri,
              &Verb::addNotify},
             save},
            {"list", "List all subscriptions", {&Verb::addMine, &Verb::addDevice, &Verb::addMode}, list},
            {"find",
             "Find subscriptions",
             {&Verb::addMine, &Verb::addId, &Verb::addDevice, &Verb::addAnyOfResources, &Verb::addUri,
              &Verb::addMode},
             find},
            {"update",
             "Change a subscription",
             {&Verb::addMine, &Verb::addId, &Verb::addRequest, &Verb::addDevice, &Verb::addResources,
              &Verb::addUri, &Verb::addNotify},
             update},
            {"delete",
             "Delete a subscription",
             {&Verb::addMine, &Verb::addId, &Verb::addRequest, &Verb::addDevice, &Verb::addUri},
             remove},
            {"expire", "Delete the subscriptions whose life is over", {}, expire},
            {"replay", "Apply the requests of a file, one JSON object a line", {&Verb::addFile}, replayFile}};
}

}  // namespace

void addSubsCommand(CLI::App& app, int& status) {
    CLI::App* const subs = app.add_subcommand("subs", "The operations of the subscription store");
    const auto options = std::make_shared<Options>();
    addPath(*subs, options->path);
    subs->add_option("--expiry", options->expirySeconds,
                     "Seconds that a saved subscription lives; below 1 it does not expire")
        ->capture_default_str();
    subs->require_subcommand(1);
    subs->footer(kFooter);

    for (const VerbForm& form : verbForms()) {
        Verb verb(*subs, form.name, form.description, options);
        for (const auto addOption : form.options) {
            (verb.*addOption)();
        }
        verb.onRun(status, form.run);
    }
}

}  // namespace Kalt::Vemo::Tool

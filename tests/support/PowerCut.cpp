#include "PowerCut.h"

#include <algorithm>
#include <random>

namespace Kalt::Vemo::Test {

namespace {

constexpr std::size_t kBlock = 4096;

/// What may be on the disk of a write or a truncation. A truncation is there or not; a write that touches one
/// block has no first one of several.
enum class Part { all, none, size, half, firstBlock, laterBlocks };

std::size_t partsOf(const DiskStep& step) {
    if (step.kind == DiskStep::Kind::truncate) {
        return static_cast<std::size_t>(Part::none) + 1;
    }
    const bool isInOneBlock = step.offset / kBlock == (step.offset + step.bytes.size() - 1) / kBlock;
    return static_cast<std::size_t>(isInOneBlock ? Part::half : Part::laterBlocks) + 1;
}

void apply(std::string& content, const DiskStep& step, Part part = Part::all) {
    if (part == Part::none) {
        return;
    }
    if (step.kind == DiskStep::Kind::truncate) {
        content.resize(step.offset);
        return;
    }
    const std::size_t size = step.bytes.size();
    const std::size_t inFirstBlock = std::min(size, kBlock - step.offset % kBlock);
    std::size_t begin = 0;
    std::size_t end = size;
    switch (part) {
        case Part::size:
            end = 0;
            break;
        case Part::half:
            end = size / 2;
            break;
        case Part::firstBlock:
            end = inFirstBlock;
            break;
        case Part::laterBlocks:
            begin = inFirstBlock;
            break;
        case Part::all:
        case Part::none:
            break;
    }
    const bool hasWholeSize = part == Part::size || end == size;
    const std::size_t newSize = step.offset + (hasWholeSize ? size : end);
    content.resize(std::max(content.size(), newSize));
    content.replace(step.offset + begin, end - begin, step.bytes, begin, end - begin);
}

using Choice = std::vector<std::size_t>;

// Of so many things each two are left out together.
constexpr std::size_t kMostForPairs = 12;

/// Gives choices of one of `counts[i]` possibilities for each i, of which 0 is the common one: all of them,
/// or at most about `most`.
void forEachChoice(const Choice& counts, std::size_t most, const std::function<void(const Choice&)>& visit) {
    std::size_t all = 1;
    for (const std::size_t count : counts) {
        all = std::min(all * count, most + 1);
    }
    Choice choice(counts.size(), 0);
    if (all <= most) {
        for (std::size_t n = 0; n < all; ++n) {
            visit(choice);
            for (std::size_t i = 0; i < counts.size() && ++choice[i] == counts[i]; ++i) {
                choice[i] = 0;
            }
        }
        return;
    }
    const auto other = [&](std::size_t i) { return std::min<std::size_t>(1, counts[i] - 1); };
    visit(choice);
    Choice opposite(counts.size());
    for (std::size_t i = 0; i < counts.size(); ++i) {
        opposite[i] = other(i);
    }
    visit(opposite);
    Choice beginning = opposite;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        beginning[i] = 0;
        visit(beginning);
        for (std::size_t value = 0; value < counts[i]; ++value) {
            Choice one = choice;
            one[i] = value;
            visit(one);
        }
        Choice alone = opposite;
        alone[i] = 0;
        visit(alone);
    }
    for (std::size_t i = 0; i < counts.size() && counts.size() <= kMostForPairs; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            Choice two = choice;
            two[i] = other(i);
            two[j] = other(j);
            visit(two);
        }
    }
    std::mt19937 random(static_cast<unsigned int>(counts.size()));
    for (std::size_t n = 0; n < most; ++n) {
        for (std::size_t i = 0; i < counts.size(); ++i) {
            choice[i] = random() % counts[i];
        }
        visit(choice);
    }
}

}  // namespace

PowerCut::PowerCut(const DiskRecord& record, std::size_t steps) : base_(record.base()) {
    for (const auto& [node, content] : base_.contents) {
        files_[node].safe = content;
    }
    for (std::size_t i = 0; i < steps; ++i) {
        take(record.steps()[i]);
    }
}

void PowerCut::take(const DiskStep& step) {
    switch (step.kind) {
        case DiskStep::Kind::makeFile:
            files_[step.node] = {};
            change(parentOf(step.path), {{}, step.path, step.node});
            break;
        case DiskStep::Kind::makeDirectory:
            change(parentOf(step.path), {{}, step.path, 0});
            break;
        case DiskStep::Kind::rename:
            if (parentOf(step.path) == parentOf(step.to)) {
                change(parentOf(step.path), {step.path, step.to, step.node});
            } else {
                change(parentOf(step.path), {step.path, {}, 0});
                change(parentOf(step.to), {{}, step.to, step.node});
            }
            break;
        case DiskStep::Kind::remove:
            change(parentOf(step.path), {step.path, {}, 0});
            break;
        case DiskStep::Kind::write:
        case DiskStep::Kind::truncate:
            files_[step.node].later.push_back(&step);
            break;
        case DiskStep::Kind::syncFile: {
            File& file = files_[step.node];
            for (const DiskStep* const change : file.later) {
                apply(file.safe, *change);
            }
            file.later.clear();
            break;
        }
        case DiskStep::Kind::syncDirectory: {
            Directory& directory = directories_[step.path];
            directory.safe = directory.changes.size();
            break;
        }
    }
}

void PowerCut::change(const std::string& directory, NameChange change) {
    directories_[directory].changes.push_back(std::move(change));
}

void PowerCut::forEachState(std::size_t most, const std::function<void(const Disk& state)>& visit) const {
    Choice counts;
    for (const auto& [path, directory] : directories_) {
        counts.push_back(directory.changes.size() - directory.safe + 1);
    }
    forEachChoice(counts, most, [&](const Choice& missing) { forEachContent(names(missing), most, visit); });
}

// The names when the last changes of each directory are missing.
Disk PowerCut::names(const std::vector<std::size_t>& missing) const {
    Disk disk = base_;
    disk.contents.clear();
    auto next = missing.begin();
    for (const auto& [path, directory] : directories_) {  // a directory comes before those in it
        const std::size_t there = directory.changes.size() - *next++;
        if (!path.empty() && disk.directories.count(path) == 0) {
            continue;
        }
        for (std::size_t i = 0; i < there; ++i) {
            const NameChange& change = directory.changes[i];
            disk.names.erase(change.goes);
            disk.links.erase(change.goes);
            if (change.node != 0) {
                disk.names[change.appears] = change.node;
            } else if (!change.appears.empty()) {
                disk.directories.insert(change.appears);
            }
        }
    }
    return disk;
}

void PowerCut::forEachContent(Disk state, std::size_t most,
                              const std::function<void(const Disk& state)>& visit) const {
    std::set<Node> nodes;
    for (const auto& [name, node] : state.names) {
        nodes.insert(node);
    }
    Choice counts;
    for (const Node node : nodes) {
        for (const DiskStep* const step : files_.at(node).later) {
            counts.push_back(partsOf(*step));
        }
    }
    forEachChoice(counts, most, [&](const Choice& choice) {
        auto part = choice.begin();
        for (const Node node : nodes) {
            const File& file = files_.at(node);
            std::string& content = state.contents[node];
            content = file.safe;
            for (const DiskStep* const step : file.later) {
                apply(content, *step, static_cast<Part>(*part++));
            }
        }
        visit(state);
    });
}

}  // namespace Kalt::Vemo::Test

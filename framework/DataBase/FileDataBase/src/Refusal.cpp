#include "Refusal.h"

#include <new>

#include "EngineErrors.h"

namespace Kalt::Vemo::Core::Database::Filedb {

namespace {

thread_local Refusal refusal = Refusal::none;

}  // namespace

Refusal lastRefusal() {
    return refusal;
}

void forgetRefusal() {
    refusal = Refusal::none;
}

void noteRefusal(const std::exception& error) {
    if (dynamic_cast<const SystemRefusal*>(&error) != nullptr ||
        dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        refusal = Refusal::system;
    } else if (dynamic_cast<const ContentRefusal*>(&error) != nullptr) {
        refusal = Refusal::content;
    }
}

}  // namespace Kalt::Vemo::Core::Database::Filedb

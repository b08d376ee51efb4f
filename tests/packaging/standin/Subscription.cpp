#include "ISubscriptionDB.h"

namespace Kalt::Vemo::Notification {

ISubscriptionDB::~ISubscriptionDB() = default;

}  // namespace Kalt::Vemo::Notification

#include "companion/socket/CallRegistry.h"

#include <algorithm>

namespace vostel_companion {

void CallRegistry::add(const std::string& requestID, const std::shared_ptr<Cancellation>& call, Time now) {
    calls_.emplace(requestID, call);
    const auto early = std::ranges::find(early_, requestID, &Early::requestID);
    if (early == early_.end()) return;
    if (now < early->until) call->cancel();
    early_.erase(early);
}

void CallRegistry::remove(const std::string& requestID, const std::shared_ptr<Cancellation>& call) {
    const auto [first, last] = calls_.equal_range(requestID);
    const auto found = std::find_if(first, last, [&](const auto& entry) { return entry.second == call; });
    if (found != last) calls_.erase(found);
}

void CallRegistry::cancel(const std::string& requestID, Time now) {
    const auto [first, last] = calls_.equal_range(requestID);
    std::for_each(first, last, [](const auto& entry) { entry.second->cancel(); });
    if (first != last) return;

    std::erase_if(early_, [&](const Early& early) { return early.until <= now || early.requestID == requestID; });
    if (early_.size() == remembered) early_.pop_front();
    early_.push_back({requestID, now + memory});
}

void CallRegistry::cancelAll() {
    for (const auto& [requestID, call] : calls_) call->cancel();
}

} // namespace vostel_companion

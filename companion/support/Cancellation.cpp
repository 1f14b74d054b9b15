#include "companion/support/Cancellation.h"

#include <utility>

namespace vostel_companion {

void Cancellation::cancel() {
    const std::lock_guard lock{mutex_};
    if (cancelled_.exchange(true)) return;
    for (Listener* listener : listeners_) listener->wake_();
}

Cancellation::Listener::Listener(Cancellation& cancellation, std::function<void()> wake)
    : cancellation_{cancellation}, wake_{std::move(wake)} {
    const std::lock_guard lock{cancellation_.mutex_};
    if (cancellation_.isCancelled()) {
        wake_();
    } else {
        cancellation_.listeners_.push_back(this);
    }
}

Cancellation::Listener::~Listener() {
    const std::lock_guard lock{cancellation_.mutex_};
    std::erase(cancellation_.listeners_, this);
}

} // namespace vostel_companion

#include "server/CallCancellation.h"

#include <utility>

namespace vostel_mcp {

bool CallCancellation::cancel() {
    lines_.close();
    const std::lock_guard lock{mutex_};
    cancelled_ = true;
    return request_ != Request::notBegun;
}

bool CallCancellation::mayLaunch() {
    const std::lock_guard lock{mutex_};
    if (cancelled_) return false;
    request_ = Request::launching;
    return true;
}

bool CallCancellation::mayBeginRequest() {
    const std::lock_guard lock{mutex_};
    if (cancelled_ && request_ != Request::launching) return false;
    request_ = Request::beingWritten;
    return true;
}

void CallCancellation::endRequest() {
    std::vector<Waiting> waiting;
    {
        const std::lock_guard lock{mutex_};
        request_ = Request::out;
        waiting = std::exchange(waiting_, {});
    }
    for (const Waiting& each : waiting) each.executor->post(each.cancellation);
}

VostelMCPKit::Task<void> CallCancellation::requestIsOut() {
    Writing writing{*this};
    co_await writing;
}

bool CallCancellation::waits(Waiting cancellation) {
    const std::lock_guard lock{mutex_};
    if (request_ != Request::beingWritten) return false;
    waiting_.push_back(cancellation);
    return true;
}

} // namespace vostel_mcp

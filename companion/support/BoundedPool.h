// A bounded number of expensive objects, shared by many jobs.
#pragma once

#include "companion/support/Cancellation.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace vostel_companion {

/// Lends at most `limit` objects at a time. It makes them on demand and keeps them for the next borrower. Borrowers
/// beyond the limit wait in the order of their requests. Thread-safe. Outlives its leases.
template <class Thing, class Error>
class BoundedPool final {
public:
    using Make = std::function<std::expected<std::unique_ptr<Thing>, Error>()>;

    /// The right to use one object, until the lease is destroyed.
    class Lease final {
    public:
        Lease(BoundedPool& pool, std::unique_ptr<Thing> thing) : pool_{&pool}, thing_{std::move(thing)} {}
        Lease(Lease&& other) noexcept = default;
        Lease& operator=(Lease&&) = delete;
        ~Lease() {
            if (thing_) pool_->giveBack(std::move(thing_));
        }

        Thing& operator*() const { return *thing_; }
        Thing* operator->() const { return thing_.get(); }

    private:
        BoundedPool* pool_;
        std::unique_ptr<Thing> thing_;
    };

    /// `make` is called on borrowers' threads, possibly on several at once.
    BoundedPool(std::size_t limit, Make make) : limit_{std::max<std::size_t>(limit, 1)}, make_{std::move(make)} {}
    BoundedPool(const BoundedPool&) = delete;
    BoundedPool& operator=(const BoundedPool&) = delete;

    /// Waits until an object is free. Returns no lease when `cancellation` comes first, and an error when the object
    /// could not be made. A borrower that waits has `whileWaiting` called on its thread, at once and whenever the
    /// number changes: the number of leases that must end before it has its turn.
    [[nodiscard]] std::expected<std::optional<Lease>, Error>
    borrow(Cancellation& cancellation, const std::function<void(std::size_t)>& whileWaiting = {}) {
        const Cancellation::Listener listener{cancellation, [this] { wakeAll(); }};
        std::unique_lock lock{mutex_};
        const std::size_t ticket = nextTicket_++;
        waiting_.push_back(ticket);
        std::size_t told = 0;
        while (!cancellation.isCancelled()) {
            const std::size_t before = leasesBefore(ticket);
            if (before == 0) break;
            if (before == told || !whileWaiting) {
                turn_.wait(lock);
                continue;
            }
            told = before;
            lock.unlock();
            whileWaiting(before);
            lock.lock();
        }
        std::erase(waiting_, ticket);
        turn_.notify_all();
        if (cancellation.isCancelled()) return std::nullopt;

        ++lent_;
        if (!idle_.empty()) {
            std::unique_ptr<Thing> thing = std::move(idle_.back());
            idle_.pop_back();
            return Lease{*this, std::move(thing)};
        }
        lock.unlock();
        auto made = make_();
        if (made) return Lease{*this, *std::move(made)};
        giveBack(nullptr);
        return std::unexpected(std::move(made.error()));
    }

private:
    /// How many leases must end before the borrower with `ticket` has its turn.
    std::size_t leasesBefore(std::size_t ticket) const {
        const auto ahead = static_cast<std::size_t>(std::ranges::find(waiting_, ticket) - waiting_.begin());
        const std::size_t needed = lent_ + ahead + 1;
        return needed > limit_ ? needed - limit_ : 0;
    }

    void giveBack(std::unique_ptr<Thing> thing) {
        const std::lock_guard lock{mutex_};
        --lent_;
        if (thing) idle_.push_back(std::move(thing));
        turn_.notify_all();
    }

    void wakeAll() {
        const std::lock_guard lock{mutex_};
        turn_.notify_all();
    }

    const std::size_t limit_;
    const Make make_;
    std::mutex mutex_;
    std::condition_variable turn_;
    std::deque<std::size_t> waiting_;
    std::size_t nextTicket_ = 0;
    std::size_t lent_ = 0;
    std::vector<std::unique_ptr<Thing>> idle_;
};

} // namespace vostel_companion

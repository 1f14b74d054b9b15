// A bounded number of expensive objects, shared by many jobs.
#pragma once

#include "companion/support/Cancellation.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <expected>
#include <functional>
#include <iterator>
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

    using Clock = std::function<std::chrono::steady_clock::time_point()>;

    /// `make` is called on borrowers' threads, possibly on several at once.
    BoundedPool(std::size_t limit, Make make, Clock now = std::chrono::steady_clock::now)
        : limit_{std::max<std::size_t>(limit, 1)}, make_{std::move(make)}, now_{std::move(now)} {}
    BoundedPool(const BoundedPool&) = delete;
    BoundedPool& operator=(const BoundedPool&) = delete;

    /// Waits until an object is free. Returns no lease if `cancellation` comes first, and an error if the object could
    /// not be made. While it waits, `whileWaiting` is called on this thread with the number of leases that must end
    /// first: once at the beginning and whenever the number changes.
    [[nodiscard]] std::expected<std::optional<Lease>, Error>
    borrow(Cancellation& cancellation, const std::function<void(std::size_t)>& whileWaiting = {}) {
        const Cancellation::Listener listener{cancellation, [this] { wakeAll(); }};
        std::unique_lock lock{mutex_};
        const std::size_t ticket = nextTicket_++;
        waiting_.push_back(ticket);
        std::size_t reported = 0;
        while (!cancellation.isCancelled()) {
            const std::size_t before = leasesBefore(ticket);
            if (before == 0) break;
            if (before == reported || !whileWaiting) {
                turn_.wait(lock);
                continue;
            }
            reported = before;
            lock.unlock();
            whileWaiting(before);
            lock.lock();
        }
        std::erase(waiting_, ticket);
        turn_.notify_all();
        if (cancellation.isCancelled()) return std::nullopt;
        return lend(lock);
    }

    /// Borrows without waiting. Returns no lease if the limit is reached or another borrower waits.
    [[nodiscard]] std::expected<std::optional<Lease>, Error> tryBorrow() {
        std::unique_lock lock{mutex_};
        if (!waiting_.empty() || lent_ >= limit_) return std::nullopt;
        return lend(lock);
    }

    /// Whether a borrower waits.
    [[nodiscard]] bool isWanted() const {
        const std::lock_guard lock{mutex_};
        return !waiting_.empty();
    }

    [[nodiscard]] std::size_t limit() const { return limit_; }

    /// Destroys the objects that were not borrowed for `time` or longer. Returns their number.
    std::size_t destroyIdle(std::chrono::steady_clock::duration time) {
        std::vector<Idle> old;
        {
            const std::lock_guard lock{mutex_};
            const auto latest = now_() - time;
            const auto end = std::ranges::find_if(idle_, [&](const Idle& idle) { return idle.since > latest; });
            std::ranges::move(idle_.begin(), end, std::back_inserter(old));
            idle_.erase(idle_.begin(), end);
        }
        return old.size();
    }

private:
    struct Idle {
        std::unique_ptr<Thing> thing;
        std::chrono::steady_clock::time_point since;
    };

    std::expected<std::optional<Lease>, Error> lend(std::unique_lock<std::mutex>& lock) {
        ++lent_;
        if (!idle_.empty()) {
            std::unique_ptr<Thing> thing = std::move(idle_.back().thing);
            idle_.pop_back();
            return Lease{*this, std::move(thing)};
        }
        lock.unlock();
        auto made = make_();
        if (made) return Lease{*this, *std::move(made)};
        giveBack(nullptr);
        return std::unexpected(std::move(made.error()));
    }

    /// How many leases must end before the borrower with `ticket` has its turn.
    std::size_t leasesBefore(std::size_t ticket) const {
        const auto ahead = static_cast<std::size_t>(std::ranges::find(waiting_, ticket) - waiting_.begin());
        const std::size_t needed = lent_ + ahead + 1;
        return needed > limit_ ? needed - limit_ : 0;
    }

    void giveBack(std::unique_ptr<Thing> thing) {
        const std::lock_guard lock{mutex_};
        --lent_;
        if (thing) idle_.push_back({std::move(thing), now_()});
        turn_.notify_all();
    }

    void wakeAll() {
        const std::lock_guard lock{mutex_};
        turn_.notify_all();
    }

    const std::size_t limit_;
    const Make make_;
    const Clock now_;
    mutable std::mutex mutex_;
    std::condition_variable turn_;
    std::deque<std::size_t> waiting_;
    std::size_t nextTicket_ = 0;
    std::size_t lent_ = 0;
    /// In the order in which they were given back.
    std::vector<Idle> idle_;
};

} // namespace vostel_companion

#include "clients/cpp/BookCore.h"

namespace halvane::client {

Book::Book(Client& client, BookOptions options)
    : core_(std::make_unique<Core>(client.GetCore(), std::move(options))) {}

Book::~Book() = default;

bool Book::IsLive() const {
    const MutexLock guard(core_->lock);
    return core_->live;
}

bool Book::IsComplete() const {
    const MutexLock guard(core_->lock);
    return core_->complete;
}

bool Book::WaitLive(Duration timeout) const {
    Core& core = *core_;
    MutexLock guard(core.lock);
    return core.becameLive.wait_for(guard, timeout,
                                    [&core]() REQUIRES(core.lock) { return core.live; });
}

std::vector<Message> Book::Orders(std::string_view accountMask) const {
    const MutexLock guard(core_->lock);
    return core_->records.Orders().Select(accountMask);
}

std::vector<Message> Book::Fills(std::string_view accountMask) const {
    const MutexLock guard(core_->lock);
    return core_->records.Fills().Select(accountMask);
}

std::vector<Message> Book::Positions(std::string_view accountMask) const {
    const MutexLock guard(core_->lock);
    std::vector<Message> selected;
    for (const auto& [mask, positions] : core_->positions) {
        if (!accountMask.empty() && mask != accountMask) continue;
        selected.insert(selected.end(), positions.rows.begin(), positions.rows.end());
    }
    return selected;
}

std::vector<Message> Book::Accounts() const {
    const MutexLock guard(core_->lock);
    return core_->accounts;
}

std::optional<Message> Book::Order(std::string_view reportId) const {
    const MutexLock guard(core_->lock);
    const Message* order = core_->records.Orders().Find(reportId);
    return order ? std::optional(*order) : std::nullopt;
}

std::optional<Message> Book::Fill(std::string_view reportId) const {
    const MutexLock guard(core_->lock);
    const Message* fill = core_->records.Fills().Find(reportId);
    return fill ? std::optional(*fill) : std::nullopt;
}

std::vector<Message> Book::FillsOf(std::string_view orderId) const {
    const MutexLock guard(core_->lock);
    return core_->records.Fills().With(std::string(orderId));
}

std::vector<Message> Book::WithKey(std::string_view userKey1) const {
    const MutexLock guard(core_->lock);
    return core_->records.Orders().With(std::string(userKey1));
}

std::vector<Report> Book::LifeOf(std::string_view reportId) const {
    const MutexLock guard(core_->lock);
    return core_->lives.Of(reportId);
}

std::size_t Book::OrderCount() const {
    const MutexLock guard(core_->lock);
    return core_->records.Orders().All().size();
}

std::size_t Book::FillCount() const {
    const MutexLock guard(core_->lock);
    return core_->records.Fills().All().size();
}

std::optional<Time> Book::PositionsRead(std::string_view accountMask) const {
    const MutexLock guard(core_->lock);
    const auto found = core_->positions.find(accountMask);
    return found == core_->positions.end() ? std::nullopt : std::optional(found->second.read);
}

void Book::RefreshPositions() { core_->RefreshPositions(); }

} // namespace halvane::client

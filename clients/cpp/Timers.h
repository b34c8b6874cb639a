#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace halvane::client {

// What is to be done later, by the one thread that uses it. Times are those of SteadyTimeUs.
class Timers {
  public:
    using Id = std::pair<std::int64_t, std::int64_t>; // when, and a number

    Id At(std::int64_t timeUs, const void* owner, std::function<void()> work) {
        const Id id{timeUs, ++last_};
        waiting_.emplace(id, Entry{owner, std::move(work)});
        return id;
    }
    void Cancel(Id id) { waiting_.erase(id); }
    void CancelAllOf(const void* owner) {
        std::erase_if(waiting_, [=](const auto& each) { return each.second.owner == owner; });
    }

    // When the next is due; `never` when there is none.
    std::int64_t NextUs(std::int64_t never) const {
        return waiting_.empty() ? never : waiting_.begin()->first.first;
    }

    // Does what is due; the work may add and cancel.
    void Run(std::int64_t nowUs) {
        while (!waiting_.empty() && waiting_.begin()->first.first <= nowUs) {
            const auto due = waiting_.extract(waiting_.begin());
            due.mapped().work();
        }
    }

  private:
    struct Entry {
        const void* owner;
        std::function<void()> work;
    };

    std::map<Id, Entry> waiting_;
    std::int64_t last_ = 0;
};

} // namespace halvane::client

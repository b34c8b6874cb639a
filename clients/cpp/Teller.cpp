#include "clients/cpp/Teller.h"

namespace halvane::client {
namespace {

constexpr std::size_t kMostDroppable = 100'000;

void CallSafely(const std::function<void()>& work) {
    try {
        work();
    } catch (...) { // the user's: the calls of others go on
    }
}

} // namespace

Teller::Teller() : thread_([this] { Run(); }) {}

Teller::~Teller() {
    {
        const MutexLock guard(lock_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Teller::Tell(const void* owner, std::function<void()> call) {
    Post({owner, false, std::move(call)});
}

bool Teller::TellIfRoom(const void* owner, std::function<void()> call) {
    {
        const MutexLock guard(lock_);
        if (droppable_ >= kMostDroppable) return false;
        droppable_++;
    }
    Post({owner, true, std::move(call)});
    return true;
}

void Teller::Post(Call call) {
    {
        const MutexLock guard(lock_);
        calls_.push_back(std::move(call));
    }
    changed_.notify_all();
}

void Teller::Forget(const void* owner) {
    MutexLock guard(lock_);
    std::erase_if(calls_, [&](const Call& call) REQUIRES(lock_) {
        const bool found = call.owner == owner;
        if (found && call.droppable) droppable_--;
        return found;
    });
    changed_.wait(guard, [&]() REQUIRES(lock_) { return calling_ != owner; });
}

void Teller::Run() {
    MutexLock guard(lock_);
    while (true) {
        changed_.wait(guard, [this]() REQUIRES(lock_) { return ending_ || !calls_.empty(); });
        if (calls_.empty()) return;
        const Call call = std::move(calls_.front());
        calls_.pop_front();
        if (call.droppable) droppable_--;
        if (ending_ && call.droppable) continue;
        calling_ = call.owner;
        guard.unlock();
        CallSafely(call.work);
        guard.lock();
        calling_ = nullptr;
        changed_.notify_all();
    }
}

} // namespace halvane::client

#include "tests/hold/Turns.h"

#include <dlfcn.h>
#include <pthread.h>
#include <semaphore.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

namespace halvane {

constexpr std::int64_t kNever = INT64_MAX;

struct Runner {
    Runner() { sem_init(&turn, 0, 0); }

    sem_t turn{};
    bool ready = true;
    bool done = false;
    const void* waitsFor = nullptr; // while not ready
    std::int64_t untilMs = kNever;
    pthread_t thread{};
    void* (*start)(void*) = nullptr;
    void* argument = nullptr;
};

namespace {

thread_local Runner* self = nullptr;

template <class Function> Function Real(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// Touched by whoever has the turn, and by nobody else.
struct Scheduler {
    Scheduler() {
        self = Add(); // the main thread is the first to come here
    }

    Runner* Add() {
        return all.emplace_back(std::make_unique<Runner>()).get(); // kept: others may ask for it
    }

    void Wake(const void* what, bool everyone) {
        std::vector<Runner*> waiting;
        for (const auto& each : all)
            if (!each->ready && each->waitsFor == what) waiting.push_back(each.get());
        while (!waiting.empty()) {
            Runner*& chosen = waiting[random() % waiting.size()];
            chosen->ready = true;
            if (!everyone) return;
            std::swap(chosen, waiting.back());
            waiting.pop_back();
        }
    }

    Runner& Next() {
        std::vector<Runner*> ready;
        const auto collect = [&] {
            for (const auto& each : all)
                if (each->ready && !each->done) ready.push_back(each.get());
        };
        collect();
        if (ready.empty()) {
            JumpToNextSleeper();
            collect();
        }
        return *ready[ready.size() == 1 ? 0 : random() % ready.size()];
    }

    void JumpToNextSleeper() {
        std::int64_t next = kNever;
        for (const auto& each : all)
            if (!each->ready && !each->done) next = std::min(next, each->untilMs);
        if (next == kNever) {
            std::fprintf(stderr, "nobody can go on: all threads wait for each other\n");
            std::abort();
        }
        clock.nowMs_ = next;
        for (const auto& each : all)
            if (!each->ready && each->untilMs == next) each->ready = true;
    }

    void GiveTurn() {
        Runner* const me = self;
        Runner& next = Next();
        if (&next == me) return;
        sem_post(&next.turn);
        while (sem_wait(&me->turn) != 0) {
        }
    }

    void WaitFor(const void* what, std::int64_t untilMs = kNever) {
        self->waitsFor = what;
        self->untilMs = untilMs;
        self->ready = false;
        GiveTurn();
        self->untilMs = kNever;
    }

    void End() {
        self->done = true;
        Wake(self, true);
        sem_post(&Next().turn);
    }

    Turns clock;
    std::mt19937_64 random;
    std::vector<std::unique_ptr<Runner>> all;
};

namespace {

Scheduler& TheScheduler() {
    static auto* const scheduler = new Scheduler; // outlives all threads
    return *scheduler;
}

void* Run(void* argument) {
    self = static_cast<Runner*>(argument);
    while (sem_wait(&self->turn) != 0) {
    }
    void* const result = self->start(self->argument);
    TheScheduler().End();
    return result;
}

} // namespace

Turns& Turns::All() { return TheScheduler().clock; }

void Turns::Begin(std::uint64_t seed, std::uint32_t firstTick) {
    TheScheduler().random.seed(seed);
    nowMs_ = 0;
    firstTick_ = firstTick;
}

bool Turns::Sleep(std::uint32_t timeMs, std::stop_token stop) {
    Runner* const me = self;
    const std::stop_callback wake(stop, [me] { me->ready = true; });
    if (stop.stop_requested()) return false;
    TheScheduler().WaitFor(this, nowMs_ + timeMs);
    return !stop.stop_requested();
}

void Turns::MayPause() {
    if (TheScheduler().random() % 8 == 0) TheScheduler().GiveTurn();
}

} // namespace halvane

// The system's functions by which threads wait, in front of its own.
extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) {
    static const auto real = halvane::Real<decltype(&pthread_create)>("pthread_create");
    halvane::Runner* const runner = halvane::TheScheduler().Add();
    runner->start = start;
    runner->argument = argument;
    const int result = real(thread, attributes, halvane::Run, runner);
    runner->done = result != 0;
    runner->thread = *thread;
    return result;
}

int pthread_join(pthread_t thread, void** result) {
    static const auto real = halvane::Real<decltype(&pthread_join)>("pthread_join");
    auto& all = halvane::TheScheduler().all;
    const auto runner = std::ranges::find_if(
        all, [&](const auto& each) { return each->thread == thread && each->start != nullptr; });
    if (runner == all.end()) return ESRCH;
    while (!(*runner)->done)
        halvane::TheScheduler().WaitFor(runner->get());
    (*runner)->start = nullptr; // the system gives its number to the next
    return real(thread, result);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) {
    int result = 0;
    while ((result = pthread_mutex_trylock(mutex)) == EBUSY)
        halvane::TheScheduler().WaitFor(mutex);
    return result;
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    static const auto real = halvane::Real<decltype(&pthread_mutex_unlock)>("pthread_mutex_unlock");
    const int result = real(mutex);
    halvane::TheScheduler().Wake(mutex, true);
    return result;
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    pthread_mutex_unlock(mutex);
    halvane::TheScheduler().WaitFor(condition);
    return pthread_mutex_lock(mutex);
}

// By the system's clock, which goes its own way.
int pthread_cond_clockwait(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*) {
    std::fprintf(stderr, "somebody waits past the clock\n");
    std::abort();
}

int pthread_cond_signal(pthread_cond_t* condition) {
    halvane::TheScheduler().Wake(condition, false);
    return 0;
}

int pthread_cond_broadcast(pthread_cond_t* condition) {
    halvane::TheScheduler().Wake(condition, true);
    return 0;
}
}

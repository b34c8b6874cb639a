#include "app/WorkerTurns.h"

#include <algorithm>

namespace halvane {
namespace {

// A worker with work and without progress for so long is left alone while another is not. Shorter
// than most calls of the platform, longer than all that needs none.
constexpr std::uint32_t kStuckMs = 2;

// It is learned once all workers have connected, some milliseconds after the start. Should it never
// be, clients' own requests are left to learn from.
constexpr int kMostAsked = 1000;

} // namespace

void WorkerTurns::Look(std::uint32_t tick) {
    served_ = {};
    for (std::size_t n = 0; n < kWorkers; ++n) {
        Worker& worker = workers_[n];
        // A worker counts the bytes first: read last, they are no fewer than these requests had.
        const Amount served = {done_[n].requests, done_[n].bytes};
        served_ += served;
        const bool hasServed = served.requests != worker.served.requests;
        if (hasServed || worker.UnderWay().requests == 0) worker.since = tick;
        worker.served = served;
        worker.stuck = tick - worker.since >= kStuckMs;
    }
    const std::uint64_t underWay = (dealt_ - served_).requests;
    if (underWay == 0 && served_.requests != servedWhenIdle_) NoteIdle();
    const auto isPossible = [=](const Worker& each) {
        return each.UnderWay().requests <= underWay;
    };
    if (IsKnown() && !std::ranges::all_of(workers_, isPossible)) Forget();
}

// Nothing is under way: what each worker has served since the last time is what it was dealt.
void WorkerTurns::NoteIdle() {
    const auto asDealt = [](const Worker& each) { return each.UnderWay().requests == 0; };
    if (IsKnown() && !std::ranges::all_of(workers_, asDealt))
        Forget();
    else if (!IsKnown() && served_.requests == servedWhenIdle_ + 1)
        Learn();
    for (Worker& each : workers_) {
        each.servedWhenIdle = each.served;
        each.dealt = {};
    }
    servedWhenIdle_ = served_.requests;
}

// The last turn was that of the one who has served since.
void WorkerTurns::Learn() {
    ++learned_;
    const auto hasServed = [](const Worker& each) {
        return each.served.requests != each.servedWhenIdle.requests;
    };
    const auto worker =
        static_cast<std::size_t>(std::ranges::find_if(workers_, hasServed) - workers_.begin());
    auto& turn = turns_[(turn_ + kWorkers - 1) % kWorkers];
    if (turn == worker) return;
    if (turn.has_value() || std::ranges::count(turns_, std::optional(worker)) > 0) Forget();
    turn = worker;
    ++known_;
}

void WorkerTurns::Forget() {
    turns_.fill(std::nullopt);
    known_ = 0;
}

// An idle worker takes it before one that is not, and none is given much more than the others have.
bool WorkerTurns::IsForTheNext() const {
    const Worker& next = workers_[*turns_[turn_]];
    const auto underWay = [](const Worker& each) {
        return each.MayTake() ? each.UnderWay().requests : kMostUnderWay.requests;
    };
    return next.MayTake() &&
           underWay(next) <= 2 * underWay(std::ranges::min(workers_, {}, underWay));
}

WorkerTurns::Next WorkerTurns::WhatNext() const {
    const Amount underWay = dealt_ - served_;
    if (underWay.Reaches(kMostUnderWay)) return Next::Wait;
    if (!IsKnown()) return underWay.requests == 0 && learned_ < kMostAsked ? Next::Ask : Next::Deal;
    if (std::ranges::none_of(workers_, &Worker::MayTake)) return Next::Wait;
    return IsForTheNext() ? Next::Deal : Next::Pass;
}

void WorkerTurns::Dealt(std::uint64_t bytes) {
    dealt_ += {1, bytes};
    if (IsKnown()) workers_[*turns_[turn_]].dealt += {1, bytes};
    turn_ = (turn_ + 1) % kWorkers;
}

void WorkerTurns::Passed() { turn_ = (turn_ + 1) % kWorkers; }

} // namespace halvane

#include "app/WorkerTurns.h"

#include <algorithm>

namespace halvane {
namespace {

// A worker with work and without progress for so long is left alone while another is not. Shorter
// than most calls of the platform, longer than all that needs none.
constexpr std::uint32_t kStuckMs = 2;

// Enough under way to keep the workers busy while the broker is not at hand.
constexpr std::uint64_t kMostUnderWay = 256;

// So that large requests do not make everybody wait: one of the largest, on which the platform
// may be long, and as much again for everybody else.
constexpr std::uint64_t kMostBytesUnderWay = 2 * std::uint64_t{WorkerTurns::kLargestRequest};

// It is learned once all workers have connected, some milliseconds after the start. Should it never
// be, clients' own requests are left to learn from.
constexpr int kMostAsked = 1000;

} // namespace

void WorkerTurns::Look(std::uint32_t tick) {
    served_ = servedBytes_ = 0;
    for (std::size_t n = 0; n < kWorkers; ++n) {
        Worker& worker = workers_[n];
        const std::uint64_t served = done_[n].requests;
        servedBytes_ += done_[n].bytes;
        served_ += served;
        if (served != worker.served || worker.UnderWay() == 0) worker.since = tick;
        worker.served = served;
        worker.stuck = tick - worker.since >= kStuckMs;
    }
    if (served_ == dealt_ && served_ != servedWhenIdle_) NoteIdle();
    const std::uint64_t underWay = dealt_ - served_;
    const auto isPossible = [=](const Worker& each) { return each.UnderWay() <= underWay; };
    if (IsKnown() && !std::ranges::all_of(workers_, isPossible)) Forget();
}

// Nothing is under way: what each worker has served since the last time is what it was dealt.
void WorkerTurns::NoteIdle() {
    const auto asDealt = [](const Worker& each) { return each.UnderWay() == 0; };
    if (IsKnown() && !std::ranges::all_of(workers_, asDealt))
        Forget();
    else if (!IsKnown() && served_ == servedWhenIdle_ + 1)
        Learn();
    for (Worker& each : workers_) {
        each.servedWhenIdle = each.served;
        each.dealt = 0;
    }
    servedWhenIdle_ = served_;
}

// The last turn was that of the one who has served since.
void WorkerTurns::Learn() {
    ++learned_;
    const auto hasServed = [](const Worker& each) { return each.served != each.servedWhenIdle; };
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
        return each.stuck ? kMostUnderWay : each.UnderWay();
    };
    return !next.stuck && next.UnderWay() <= 2 * underWay(std::ranges::min(workers_, {}, underWay));
}

WorkerTurns::Next WorkerTurns::WhatNext() const {
    if (dealt_ - served_ >= kMostUnderWay || bytes_ - servedBytes_ >= kMostBytesUnderWay)
        return Next::Wait;
    if (!IsKnown()) return dealt_ == served_ && learned_ < kMostAsked ? Next::Ask : Next::Deal;
    if (std::ranges::all_of(workers_, &Worker::stuck)) return Next::Wait;
    return IsForTheNext() ? Next::Deal : Next::Pass;
}

void WorkerTurns::Dealt(std::uint64_t bytes) {
    ++dealt_;
    bytes_ += bytes;
    if (IsKnown()) ++workers_[*turns_[turn_]].dealt;
    turn_ = (turn_ + 1) % kWorkers;
}

void WorkerTurns::Passed() { turn_ = (turn_ + 1) % kWorkers; }

} // namespace halvane

#pragma once

#include "request/WorkDone.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace halvane {

// Keeps requests away from workers that are busy. The broker's back socket deals to the workers in
// turn, also to one that the platform keeps for half a minute, so that every fourth request of
// everybody would wait behind it. A turn can be passed: a message without an envelope is dropped by
// the socket of a worker. Whose turn it is nobody tells; it is learned from requests that were
// under way alone, by whose count has grown, and looked at again whenever nothing is under way.
// Until then requests are dealt as they come. Used by the broker's thread alone, but for the
// counts.
class WorkerTurns {
  public:
    static constexpr std::size_t kWorkers = 4;
    static constexpr int kLargestRequest = 16 << 20; // bytes

    // The counts of each worker, which they add to.
    WorkDone& DoneBy(std::size_t worker) { return done_[worker]; }

    // Takes over what has been served by now; `tick` is in ms.
    void Look(std::uint32_t tick);

    // What is best done with the next turn: to deal a request, or one of the broker's own since
    // nothing is under way and it is not known whose turn it is, to pass it, or to wait until some
    // reply has come.
    enum class Next : std::uint8_t { Deal, Ask, Pass, Wait };
    Next WhatNext() const;
    // What was done with it: a request of so many bytes was dealt, or what no worker will take.
    void Dealt(std::uint64_t bytes);
    void Passed();

  private:
    struct Amount {
        std::uint64_t requests = 0, bytes = 0;

        Amount& operator+=(const Amount& other) {
            requests += other.requests;
            bytes += other.bytes;
            return *this;
        }
        Amount operator-(const Amount& other) const {
            return {requests - other.requests, bytes - other.bytes};
        }
        bool Reaches(const Amount& most) const {
            return requests >= most.requests || bytes >= most.bytes;
        }
    };

    struct Worker {
        Amount served, servedWhenIdle;
        Amount dealt;            // since nothing was under way
        std::uint32_t since = 0; // tick, of its last progress
        bool stuck = false;

        Amount UnderWay() const { return dealt - (served - servedWhenIdle); }
        bool MayTake() const { return !stuck && !UnderWay().Reaches(kMostOfOne); }
    };

    // Enough under way to keep the workers busy while the broker is not at hand, and of one worker
    // no more than keeps it busy, or one that happens to be at hand is dealt all while the others
    // are busy for a moment. In bytes, so that large requests do not make everybody wait: for all
    // one of the largest, on which the platform may be long, and as much again.
    static constexpr Amount kMostUnderWay{256, 2 * std::uint64_t{kLargestRequest}};
    static constexpr Amount kMostOfOne{kMostUnderWay.requests / kWorkers, 2 << 20};

    void NoteIdle();
    void Learn();
    void Forget();
    bool IsKnown() const { return known_ == kWorkers; }
    bool IsForTheNext() const;

    std::array<WorkDone, kWorkers> done_;
    std::array<Worker, kWorkers> workers_;
    std::array<std::optional<std::size_t>, kWorkers> turns_; // the worker of each
    std::size_t known_ = 0;                                  // of these
    std::size_t turn_ = 0;                                   // the next one
    int learned_ = 0;                                        // tries
    Amount dealt_, served_;                                  // ever
    std::uint64_t servedWhenIdle_ = 0;
};

} // namespace halvane

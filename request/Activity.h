#pragma once

#include "foundation/support/Text.h"
#include "request/LatencyCounts.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace halvane {

// What the request workers do now and have done since the process started, for whoever watches the
// gateway. Times are in us, from a request's arrival at its worker to its reply.

// What is counted of the requests of one name. Safe from any thread.
struct OperationCounts {
    LatencyCounts latency;
    std::atomic<std::uint64_t> failures = 0; // replied to with "Fail", the platform's refusals too
};

// What one worker does now. Written by its worker alone, read by whoever asks.
class WorkerActivity {
  public:
    WorkerActivity();  // among the workers from now on
    ~WorkerActivity(); // and no more
    WorkerActivity(const WorkerActivity&) = delete;
    WorkerActivity& operator=(const WorkerActivity&) = delete;

    // A request has come; it turns out to be of this name, which lives for ever; it is replied to.
    // What has not begun does not end.
    void Begin(const wchar_t* name, OperationCounts& counts);
    void Recognise(const wchar_t* name, OperationCounts& counts);
    void End(bool failed);

  private:
    friend struct WorkerSnapshot;

    std::atomic<const wchar_t*> name_ = L"";
    std::atomic<std::int64_t> since_ = 0; // 0: nothing to do
    OperationCounts* counts_ = nullptr;
};

// One worker at this moment.
struct WorkerSnapshot {
    const wchar_t* request = L""; // "" when it waits for one
    std::int64_t runsUs = 0;      // how long it has been at it

    // Of all workers that there are, in the order of their making.
    static std::vector<WorkerSnapshot> All();
};

} // namespace halvane

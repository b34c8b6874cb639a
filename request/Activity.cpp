#include "request/Activity.h"

#include "foundation/support/Clock.h"
#include "foundation/support/Mutex.h"

#include <algorithm>

namespace halvane {
namespace {

struct Workers {
    Mutex lock;
    std::vector<const WorkerActivity*> list GUARDED_BY(lock);
};

Workers& TheWorkers() {
    static Workers workers;
    return workers;
}

} // namespace

WorkerActivity::WorkerActivity() {
    Workers& workers = TheWorkers();
    const MutexLock guard(workers.lock);
    workers.list.push_back(this);
}

WorkerActivity::~WorkerActivity() {
    Workers& workers = TheWorkers();
    const MutexLock guard(workers.lock);
    std::erase(workers.list, this);
}

void WorkerActivity::Begin(const wchar_t* name, OperationCounts& counts) {
    Recognise(name, counts);
    since_.store(SteadyTimeUs(), std::memory_order_release);
}

void WorkerActivity::Recognise(const wchar_t* name, OperationCounts& counts) {
    counts_ = &counts;
    name_.store(name, std::memory_order_relaxed);
}

void WorkerActivity::End(bool failed) {
    const std::int64_t since = since_.load(std::memory_order_relaxed);
    if (since == 0) return;
    counts_->latency.Add(SteadyTimeUs() - since);
    if (failed) counts_->failures.fetch_add(1, std::memory_order_relaxed);
    since_.store(0, std::memory_order_release);
}

std::vector<WorkerSnapshot> WorkerSnapshot::All() {
    Workers& workers = TheWorkers();
    const MutexLock guard(workers.lock);
    std::vector<WorkerSnapshot> all;
    const std::int64_t now = SteadyTimeUs();
    for (const WorkerActivity* worker : workers.list) {
        const std::int64_t since = worker->since_.load(std::memory_order_acquire);
        if (since == 0)
            all.emplace_back();
        else
            all.push_back({worker->name_, std::max<std::int64_t>(now - since, 0)});
    }
    return all;
}

} // namespace halvane

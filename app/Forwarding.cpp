#include "app/Forwarding.h"

#include "foundation/logger/Log.h"
#include "foundation/support/Clock.h"
#include "foundation/support/Utf.h"

#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace halvane {
namespace {

constexpr int kMessagesPerPoll = 64;
constexpr std::uint32_t kAgainMs = 10;

// Not an envelope, so that the socket of a worker drops it.
constexpr std::string_view kPassed = "-";

} // namespace

void Forwarding::Run(void* front, void* back, const std::string& secret, std::stop_token stop) {
    front_ = front;
    back_ = back;
    secret_ = secret;
    for (bool failed = false; !stop.stop_requested();) {
        try {
            Step();
            failed = false;
        } catch (const std::exception& error) {
            if (stop.stop_requested()) return;
            if (!std::exchange(failed, true))
                Log().Error(L"[RequestBroker]forwarding failed and is tried again: %s",
                            ReasonOf(error));
            TheClock().Sleep(kAgainMs, stop);
        }
    }
}

// Replies go first, and requests wait at the front while the workers can take no more. What has
// been served is counted ahead of its reply, which then wakes this loop.
void Forwarding::Step() {
    turns_.Look(TheClock().TickCount());
    const bool anyWorker = IsReady(back_, ZMQ_POLLOUT);
    if (anyWorker && turns_.WhatNext() == WorkerTurns::Next::Ask) Ask();
    const bool mayDeal = anyWorker && turns_.WhatNext() != WorkerTurns::Next::Wait;
    zmq_pollitem_t items[] = {
        {back_, 0, static_cast<short>(ZMQ_POLLIN | (anyWorker ? 0 : ZMQ_POLLOUT)), 0},
        {front_, 0, ZMQ_POLLIN, 0},
    };
    if (!replyWaits_ && zmq_poll(items, mayDeal ? 2 : 1, -1) < 0 && zmq_errno() != EINTR)
        throw std::runtime_error("the sockets cannot be waited for");
    for (int n = 0; n < kMessagesPerPoll && MoveReply();)
        ++n;
    turns_.Look(TheClock().TickCount());
    for (int n = 0; n < kMessagesPerPoll && anyWorker && FindWorker() && MoveRequest();)
        ++n;
}

// Moves one reply, its client's identity in the first frame, or drops it when that client reads
// none. False when there was none.
bool Forwarding::MoveReply() {
    if (!replyWaits_ && !ReceiveParts(back_, reply_, ZMQ_DONTWAIT)) return false;
    replyWaits_ = true;
    const bool isOurs = reply_.front().Bytes().empty(); // the answer to what was asked
    if (!isOurs && unread_.Admit(reply_.front().Bytes(), reply_.back())) SendParts(front_, reply_);
    replyWaits_ = false;
    return true;
}

// A worker answers its secret without a word in the log.
void Forwarding::Ask() {
    ZmqMessage nobody, secret(secret_); // both, or no message begins
    nobody.Send(back_, ZMQ_SNDMORE);
    secret.Send(back_, 0);
    turns_.Dealt(0);
}

// Passes turns until it is that of a worker who should have the next request. False when none
// should.
bool Forwarding::FindWorker() {
    for (;;) {
        const WorkerTurns::Next next = turns_.WhatNext();
        if (next != WorkerTurns::Next::Pass) return next != WorkerTurns::Next::Wait;
        zmq_send(back_, kPassed.data(), kPassed.size(), 0);
        turns_.Passed();
    }
}

// Moves one request. False when there was none. One without an empty frame before the last has no
// reply: it is dropped at the workers' end.
bool Forwarding::MoveRequest() {
    bool behind = false;
    std::uint64_t bytes = 0; // behind the empty frame
    for (bool first = true, more = true; more; first = false) {
        ZmqMessage part;
        if (!(first ? part.Receive(front_, ZMQ_DONTWAIT) : part.ReceiveRest(front_))) return false;
        more = part.HasMore();
        const std::size_t size = part.Bytes().size();
        bytes += behind ? size : 0;
        behind = behind || (size == 0 && more);
        part.Send(back_, more ? ZMQ_SNDMORE : 0);
    }
    if (behind)
        turns_.Dealt(bytes);
    else
        turns_.Passed();
    return true;
}

} // namespace halvane

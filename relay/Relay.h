#pragma once

#include "foundation/support/Seldom.h"
#include "relay/Health.h"
#include "relay/Options.h"
#include "relay/Stream.h"

#include <stop_token>

namespace halvane::relay {

// The relay at work: follows all feeds and publishes their rows, until it is told to stop. One
// thread publishes; each desk's rows are put into the outbox by a thread of its client's.
class Relay {
  public:
    explicit Relay(const Options& options);

    void Run(const std::stop_token& stop);

  private:
    void Follow(const std::stop_token& stop);
    void Publish(Stream& stream, std::vector<Row>& rows);
    void Finish(Stream& stream);
    void TellWhenDue();

    const Options options_;
    Outbox outbox_;
    Health health_;
    std::vector<std::unique_ptr<Desk>> desks_;
    Requests requests_;
    Seldom seldom_;                           // what is wrong with the engine
    std::int64_t statusUs_ = 0, linesUs_ = 0; // when each is due
};

} // namespace halvane::relay

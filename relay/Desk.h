#pragma once

#include "clients/cpp/halvane.h"
#include "relay/Outbox.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace halvane::relay {

struct DeskOptions {
    std::string name; // in subjects
    client::Options gateway;
};

// The feed of one gateway, which it puts into the outbox, as long as the outbox is open.
class Desk {
  public:
    Desk(DeskOptions options, std::size_t index, Outbox& outbox);
    ~Desk() = default;
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    // Follows the feed, from the row behind that position on; from the first that the gateway has
    // kept, when there is none.
    void Begin(const std::optional<Position>& position);
    void End(); // once the outbox is closed

    const std::string& Name() const { return options_.name; }
    std::size_t Index() const { return index_; }
    client::Client& GetClient() { return client_; }
    client::FeedState GetFeedState() const;
    std::string Trouble() const; // why rows do not come as they are published; "" when they do
    int Connects() const { return connects_; }

    // Rows larger than that are stated as gaps.
    void SetLargestRow(std::size_t bytes) { largest_ = bytes; }

  private:
    void Take(const client::FeedRow& row);
    void StateGap(const client::FeedRow& next, std::int64_t first, std::int64_t last);

    const DeskOptions options_;
    const std::size_t index_;
    Outbox& outbox_;
    std::atomic<int> connects_ = 0;
    std::atomic<std::size_t> largest_ = 0;
    std::optional<std::pair<std::int64_t, std::int64_t>> missing_; // of the handlers' thread
    client::Client client_;
    std::unique_ptr<client::Feed> feed_;
};

} // namespace halvane::relay

#include "clients/cpp/FeedCore.h"

namespace halvane::client {

Feed::Feed(Client& client, FeedOptions options)
    : core_(std::make_unique<Core>(client.GetCore(), std::move(options))) {}

Feed::~Feed() = default;

FeedState Feed::GetState() const { return core_->GetState(); }

} // namespace halvane::client

#pragma once

#include "clients/cpp/halvane.h"

#include <cstdint>
#include <string>
#include <vector>

namespace halvane::desk {

// What the page is sent of the gateway's records: of the hundred members of a position, say, those
// that it shows. Times that the desk has taken are ms since 1970 UTC.

std::int64_t Ms(client::Time time);

// When an order or a fill came to be, as far as the desk knows: its place among the others and, of
// an order, the time of its first state; `older`: it was there before, so it is older than that.
struct Birth {
    std::int64_t place = 0;
    std::int64_t atMs = 0;
    bool older = false;
};

std::string OrderRow(const client::Message& order, const Birth& birth);
std::string FillRow(const client::Message& fill, const Birth& birth);
bool IsWorking(const client::Message& order);

// All states of an order and its fills, oldest first.
std::string OrderLife(const std::vector<client::Report>& life,
                      const std::vector<client::Message>& fills);

std::string StateRow(const client::State& state);

// Of one account, by its mask.
std::string PositionsRow(const std::string& mask, const std::vector<client::Message>& positions);
std::string FundsRow(const std::string& mask, const std::vector<client::Message>& margins);
std::string AccountsRow(const std::vector<client::Message>& accounts);

// A reply to FEEDSTATUS; an empty one says that there is no feed.
std::string FeedRow(const client::Message& status);

// A reply to STATUS, and when it came.
std::string StatusRow(const client::Message& status, std::int64_t nowMs);

} // namespace halvane::desk

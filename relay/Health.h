#pragma once

#include "relay/Desk.h"
#include "relay/Requests.h"

#include <array>
#include <vector>

namespace halvane::relay {

// How the relay does: what is stored, how late, and what stands in the way. For one thread.
class Health {
  public:
    explicit Health(std::size_t desks) : tallies_(desks) {}

    void NoteStored(const Row& row);
    void NoteStart(std::size_t desk, const std::optional<Position>& position);
    void NoteEngine(bool connected, const std::string& trouble);

    // What is told on halvane.relay.status, and for each desk a line of the log.
    std::string Status(const std::vector<std::unique_ptr<Desk>>& desks,
                       const Requests& requests) const;
    std::vector<std::string> Lines(const std::vector<std::unique_ptr<Desk>>& desks,
                                   const Requests& requests) const;

    void BeginMinute(); // lags are those of a minute

  private:
    struct Tally {
        std::string header; // of the row behind which it goes on
        std::int64_t stored = 0;
        std::array<std::uint32_t, 2'001> lagsMs = {}; // how many rows were so late; the last: later
    };

    static std::int64_t LagMs(const Tally& tally, double part);

    std::vector<Tally> tallies_;
    bool connected_ = false;
    std::string trouble_ = "connecting";
    std::int64_t losses_ = 0;
};

} // namespace halvane::relay

#pragma once

#include "paper/base/Calendar.h"
#include "paper/market/Incident.h"

#include <cstdint>
#include <map>
#include <vector>

namespace halvane::paper {

// Knows which incidents go on. It has no thread and no lock, as the exchange that it belongs to.
class Incidents {
  public:
    // Those of the first day whose time has passed already do not come before the next day.
    Incidents(std::vector<Incident> incidents, LocalMs start);

    // Moves on to a time by the market's clock, `elapsedMs` after its start; what happens once and
    // has become due.
    std::vector<IncidentKind> Step(LocalMs now, std::int64_t elapsedMs);

    // The first of that kind that goes on now; null when there is none.
    const Incident* Active(IncidentKind kind) const;
    // Does it hit this occasion of its kind? Counts the occasions.
    bool Strikes(IncidentKind kind);
    bool Closes(TextView exchange) const;

  private:
    struct Row {
        Incident incident;
        Day lastDay{}; // on which it happened, or could no more
        bool over = false;
        bool active = false;
    };

    static bool IsDue(Row& row, LocalMs now, std::int64_t elapsedMs);

    std::vector<Row> rows_;
    std::map<IncidentKind, std::int64_t> occasions_; // since one of the kind has begun
};

} // namespace halvane::paper

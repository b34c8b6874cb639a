#include "paper/market/Incidents.h"

#include <algorithm>
#include <utility>

namespace halvane::paper {
namespace {

bool HappensOnce(IncidentKind kind) {
    return kind == IncidentKind::ResetReports || kind == IncidentKind::RollDay;
}

bool GoesOn(const Incident& incident, LocalMs now, std::int64_t elapsedMs) {
    const std::int64_t since =
        incident.afterMs ? elapsedMs - *incident.afterMs : TimeOfDayMs(now) - *incident.atMs;
    return since >= 0 && since < incident.forMs;
}

} // namespace

Incidents::Incidents(std::vector<Incident> incidents, LocalMs start) {
    for (Incident& incident : incidents) {
        const bool missed = incident.atMs && *incident.atMs < TimeOfDayMs(start);
        rows_.push_back({std::move(incident), missed ? DayOf(start) : Day()});
    }
}

bool Incidents::IsDue(Row& row, LocalMs now, std::int64_t elapsedMs) {
    if (row.incident.afterMs)
        return elapsedMs >= *row.incident.afterMs && !std::exchange(row.over, true);
    const Day today = DayOf(now);
    if (TimeOfDayMs(now) < *row.incident.atMs || row.lastDay == today) return false;
    row.lastDay = today;
    return true;
}

std::vector<IncidentKind> Incidents::Step(LocalMs now, std::int64_t elapsedMs) {
    std::vector<IncidentKind> due;
    for (Row& row : rows_) {
        const IncidentKind kind = row.incident.kind;
        if (HappensOnce(kind)) {
            if (IsDue(row, now, elapsedMs)) due.push_back(kind);
            continue;
        }
        const bool before = std::exchange(row.active, GoesOn(row.incident, now, elapsedMs));
        if (row.active && !before) occasions_[kind] = 0;
    }
    return due;
}

const Incident* Incidents::Active(IncidentKind kind) const {
    const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const Row& row) {
        return row.active && row.incident.kind == kind;
    });
    return found == rows_.end() ? nullptr : &found->incident;
}

bool Incidents::Strikes(IncidentKind kind) {
    const Incident* incident = Active(kind);
    return incident != nullptr && ++occasions_[kind] % incident->every == 0;
}

bool Incidents::Closes(TextView exchange) const {
    return std::any_of(rows_.begin(), rows_.end(), [&](const Row& row) {
        const Incident& incident = row.incident;
        return row.active && incident.kind == IncidentKind::CloseMarket &&
               (incident.exchange.empty() || incident.exchange == exchange);
    });
}

} // namespace halvane::paper

#pragma once

#include "paper/file/MarketValues.h"
#include "paper/market/MarketPlan.h"

namespace halvane::paper {

// Whether a member may stand in an object.
enum class Presence { Unfit, Optional, Required };

inline constexpr Presence kUnfit = Presence::Unfit;
inline constexpr Presence kOptional = Presence::Optional;
inline constexpr Presence kRequired = Presence::Required;

// A kind of incident as a file names it, and what goes with it.
struct IncidentRow {
    TextView name;
    IncidentKind kind;
    Presence lasts, delay, every, exchange;
};

// clang-format off
inline constexpr IncidentRow kIncidentRows[] = { //         for        delayMs    every      exchange
    {L"delayAnswers",  IncidentKind::DelayAnswers, kRequired, kRequired, kUnfit,    kUnfit},
    {L"refuseRows",    IncidentKind::RefuseRows,   kRequired, kUnfit,    kOptional, kUnfit},
    {L"rejectOrders",  IncidentKind::RejectOrders, kRequired, kUnfit,    kOptional, kUnfit},
    {L"disconnect",    IncidentKind::Disconnect,   kRequired, kUnfit,    kUnfit,    kUnfit},
    {L"closeMarket",   IncidentKind::CloseMarket,  kRequired, kUnfit,    kUnfit,    kOptional},
    {L"resetReports",  IncidentKind::ResetReports, kUnfit,    kUnfit,    kUnfit,    kUnfit},
    {L"rollDay",       IncidentKind::RollDay,      kUnfit,    kUnfit,    kUnfit,    kUnfit},
};
// clang-format on

// Tells what is wrong with the plan that was read from the object `root` and that no single value
// shows: what is there twice, names what is not there, contradicts itself, or leads to amounts that
// do not fit. The plan has an element for each one of the file, also where that could not be read;
// an option's security is that of its future. The market starts at `now` unless the plan says when.
void CheckMarket(const Passage& root, const MarketPlan& plan, LocalMs now);

} // namespace halvane::paper

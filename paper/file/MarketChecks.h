#pragma once

#include "paper/file/MarketValues.h"
#include "paper/market/MarketPlan.h"

namespace halvane::paper {

// Whether a member may stand in an object.
enum class Need { Unfit, Free, Needed };

// A kind of incident as a file names it, and what goes with it.
struct IncidentRow {
    TextView name;
    IncidentKind kind;
    Need lasts, delay, every, exchange;
};

// clang-format off
inline constexpr IncidentRow kIncidentRows[] = { //         for           delayMs       every        exchange
    {L"delayAnswers", IncidentKind::DelayAnswers, Need::Needed, Need::Needed, Need::Unfit, Need::Unfit},
    {L"refuseRows",   IncidentKind::RefuseRows,   Need::Needed, Need::Unfit,  Need::Free,  Need::Unfit},
    {L"rejectOrders", IncidentKind::RejectOrders, Need::Needed, Need::Unfit,  Need::Free,  Need::Unfit},
    {L"disconnect",   IncidentKind::Disconnect,   Need::Needed, Need::Unfit,  Need::Unfit, Need::Unfit},
    {L"closeMarket",  IncidentKind::CloseMarket,  Need::Needed, Need::Unfit,  Need::Unfit, Need::Free},
    {L"resetReports", IncidentKind::ResetReports, Need::Unfit,  Need::Unfit,  Need::Unfit, Need::Unfit},
    {L"rollDay",      IncidentKind::RollDay,      Need::Unfit,  Need::Unfit,  Need::Unfit, Need::Unfit},
};
// clang-format on

// Tells what is wrong with the plan that was read from the object `root` and that no single value
// shows: what is there twice, names what is not there, contradicts itself, or leads to amounts that
// do not fit. The plan has an element for each one of the file, also where that could not be read;
// an option's security is that of its future. The market starts at `now` unless the plan says when.
void CheckMarket(const Place& root, const MarketPlan& plan, LocalMs now);

} // namespace halvane::paper

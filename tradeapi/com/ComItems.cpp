#include "tradeapi/com/ComItems.h"

#include "tradeapi/ComponentIds.h"

namespace halvane {

TextView ComItem::GetText(std::int32_t id) { return text_ = ToText(object_.Get(id).Value()); }

std::int32_t ComItem::GetInt(std::int32_t id) { return ToInt(object_.Get(id).Value()); }

std::int64_t ComItem::GetInt64(std::int32_t id) { return ToInt64(object_.Get(id).Value()); }

TextView ComItem::GetNamed(TextView name) {
    if (namedRead_ == 0) return {};
    return text_ = ToText(object_.Ask(namedRead_, name).Value());
}

TextView ComItem::GetIndexed(std::int32_t id, std::int32_t index) {
    return text_ = ToText(object_.Ask(id, index).Value());
}

void ComOrderParameters::PutText(std::int32_t id, TextView value) { object_.Put(id, value); }

void ComOrderParameters::PutInt(std::int32_t id, std::int32_t value) { object_.Put(id, value); }

void ComOrderParameters::PutInt64(std::int32_t id, std::int64_t value) { object_.Put(id, value); }

Text ComPositionTracker::Entries() { return ToText(object_.Ask(kTrackerEntries).Value()); }

Text ComPositionTracker::Instruments(TextView entry) {
    return ToText(object_.Ask(kTrackerInstruments, entry).Value());
}

std::int64_t ComPositionTracker::Figure(TextView entry, TextView instrument, TextView name) {
    return ToInt64(object_.Ask(kTrackerFigure, entry, instrument, name).Value());
}

} // namespace halvane

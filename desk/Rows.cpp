#include "desk/Rows.h"

#include <utility>

namespace halvane::desk {

void Rows::Put(const std::string& key, std::string json) {
    const auto [place, isNew] = rows_.try_emplace(key);
    Row& row = place->second;
    if (isNew)
        byBirth_.push_back(key);
    else if (row.json == json)
        return;
    else
        byChange_.erase(row.changed);
    row.json = std::move(json);
    row.changed = ++last_;
    byChange_.emplace(row.changed, &*place);
}

void Rows::KeepNewest(std::size_t count) {
    for (; rows_.size() > count; byBirth_.pop_front()) {
        const auto oldest = rows_.find(byBirth_.front());
        byChange_.erase(oldest->second.changed);
        rows_.erase(oldest);
    }
}

void Rows::Clear() {
    rows_.clear();
    byChange_.clear();
    byBirth_.clear();
    ++life_;
}

bool Rows::AppendChanges(std::string_view head, Place& place, std::size_t bytes,
                         std::string& lines) const {
    const bool reset = place.life != life_;
    auto next = byChange_.upper_bound(place.seen);
    if (!reset && next == byChange_.end()) return false;
    const std::size_t start = lines.size();
    lines.append(head).append(reset ? ",\"reset\":true,\"rows\":[" : ",\"rows\":[");
    for (; next != byChange_.end() && lines.size() - start < bytes; ++next) {
        if (lines.back() != '[') lines += ',';
        lines += next->second->second.json;
        place.seen = next->first;
    }
    lines += "]}\n";
    place.life = life_;
    return next != byChange_.end();
}

} // namespace halvane::desk

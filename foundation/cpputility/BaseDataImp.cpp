#include "foundation/cpputility/BaseDataImp.h"

#include "foundation/support/Numbers.h"

#include <algorithm>

namespace CppUtility {

using halvane::Text;
using halvane::TextView;

BaseData* BaseData::CreateInstance() { return new BaseDataImp; }
void BaseData::Release() { delete static_cast<BaseDataImp*>(this); }

void ChangeSet::Add(ChangeKind kind, Entry entry) {
    switch (kind) {
    case ChangeKind::SetRecord: records[std::move(entry.key)] = entry.record; break;
    case ChangeKind::SetValue: values[std::move(entry.key)] = std::move(entry.text); break;
    case ChangeKind::RemoveRecord: removedRecords.push_back(std::move(entry.key)); break;
    case ChangeKind::RemoveValue: removedValues.push_back(std::move(entry.key)); break;
    case ChangeKind::Clear: clears.push_back(entry.type); break;
    }
}

BaseDataImp::~BaseDataImp() = default;

void BaseDataImp::AddClear(ChangeSet* changes, ChangeKind kind, DataType type) {
    changes->Add(kind, {.type = type});
}

void BaseDataImp::Remove(ChangeSet* changes, ChangeKind kind, const wchar_t* key) {
    changes->Add(kind, {.key = key});
}

void BaseDataImp::SetRecord(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                            BaseData* record) {
    changes->Add(kind, {.key = key, .record = record});
}

void BaseDataImp::SetInteger(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                             std::int64_t value) {
    changes->Add(kind, {.key = key, .text = halvane::DecimalText(value)});
}

void BaseDataImp::SetString(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                            const wchar_t* text) {
    changes->Add(kind, {.key = key, .text = text});
}

ChangeSet* BaseDataImp::BeginChange() { return new ChangeSet; }

void BaseDataImp::ApplyChange(ChangeSet* changes) {
    const std::unique_ptr<ChangeSet> owned(changes);
    {
        const halvane::MutexLock guard(dataLock_);
        Apply(*changes);
    }
    const halvane::MutexLock guard(listenerLock_);
    for (std::size_t i = 0; i < listeners_.size(); ++i)
        listeners_[i]->OnBaseData(this);
}

void BaseDataImp::Apply(const ChangeSet& changes) {
    for (const DataType type : changes.clears)
        Clear(type);
    for (const Text& key : changes.removedRecords)
        records_.erase(key);
    for (const Text& key : changes.removedValues)
        values_.erase(key);
    for (const auto& [key, record] : changes.records) {
        RecordPtr& slot = records_[key];
        if (slot.get() != record) slot.reset(record);
    }
    for (const auto& [key, text] : changes.values)
        values_[key] = text;
}

void BaseDataImp::Clear(DataType type) {
    if (type == DataType::Values)
        values_.clear();
    else
        records_.clear();
}

std::wstring BaseDataImp::GetString(const wchar_t* key) {
    const halvane::MutexLock guard(dataLock_);
    const auto found = values_.find(TextView(key));
    return found == values_.end() ? Text() : found->second;
}

std::int64_t BaseDataImp::GetInteger(const wchar_t* key, std::int64_t defaultValue) {
    const halvane::MutexLock guard(dataLock_);
    const auto found = values_.find(TextView(key));
    return found == values_.end() ? defaultValue : halvane::ToInt64(found->second);
}

BaseData* BaseDataImp::GetRecord(const wchar_t* key) {
    const halvane::MutexLock guard(dataLock_);
    const auto found = records_.find(TextView(key));
    return found == records_.end() ? nullptr : found->second.get();
}

void BaseDataImp::AddListener(ReceiveBaseData* listener) {
    const halvane::MutexLock guard(listenerLock_);
    listeners_.push_back(listener);
}

void BaseDataImp::RemoveListener(ReceiveBaseData* listener) {
    const halvane::MutexLock guard(listenerLock_);
    const auto found = std::ranges::find(listeners_, listener);
    if (found != listeners_.end()) listeners_.erase(found);
}

void BaseDataImp::GetRecords(std::vector<DataTableInfo>& records) {
    const halvane::MutexLock guard(dataLock_);
    records.clear();
    for (const auto& [key, record] : records_)
        records.push_back({key, record.get()});
}

void BaseDataImp::GetValues(std::vector<std::pair<std::wstring, std::wstring>>& values) {
    const halvane::MutexLock guard(dataLock_);
    values.assign(values_.begin(), values_.end());
}

} // namespace CppUtility

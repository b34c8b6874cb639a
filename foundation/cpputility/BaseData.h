#pragma once

#include "foundation/support/Export.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace CppUtility {

class BaseData;
class ChangeSet; // made by BeginChange, consumed by ApplyChange

// What a clear empties.
enum class DataType : int { Records = 0, Values = 1 };

// What an entry of a change set does. The caller of a setter supplies it.
enum class ChangeKind : int {
    SetRecord = 0,
    SetValue = 1,
    RemoveRecord = 2,
    RemoveValue = 3,
    Clear = 4,
};

struct DataTableInfo {
    std::wstring key;
    BaseData* data; // not owned by the array that this is part of
};

// Is told on the thread that applied a change set, after each of them. It must not add or remove
// listeners of the same record.
class ReceiveBaseData {
  public:
    virtual void OnBaseData(BaseData* record) = 0;

  protected:
    ~ReceiveBaseData() = default;
};

// A record of named texts and named nested records, changed only through change sets:
//
//     ChangeSet* changes = record->BeginChange();
//     record->SetString(changes, ChangeKind::SetValue, L"Name", L"value");
//     record->ApplyChange(changes);
//
// A change set is applied in a fixed order, whatever the order of the calls: clears, removals of
// records, removals of values, records, values. Of several sets of one key the last counts. Keys
// and texts end with a zero. Safe from any thread; but a nested record is only good until it is
// removed or replaced, so who reads nested records while others remove them needs a lock of their
// own.
//
// The order of the virtual operations is fixed.
class HALVANE_EXPORT BaseData {
  public:
    static BaseData* CreateInstance(); // a new empty record
    void Release();                    // frees it, and the nested records with it

    virtual void AddClear(ChangeSet* changes, ChangeKind kind, DataType type) = 0;
    virtual void Remove(ChangeSet* changes, ChangeKind kind, const wchar_t* key) = 0;
    // The nested record belongs to this one from the application of the change on; the one that it
    // replaces is released.
    virtual void SetRecord(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                           BaseData* record) = 0;
    virtual void SetInteger(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                            std::int64_t value) = 0; // as decimal text
    virtual void SetString(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                           const wchar_t* text) = 0;

    virtual ChangeSet* BeginChange() = 0;
    virtual void ApplyChange(ChangeSet* changes) = 0;

    virtual std::wstring GetString(const wchar_t* key) = 0; // "" when absent
    // The number that the text begins with, 0 when there is none; the default when the key is
    // absent.
    virtual std::int64_t GetInteger(const wchar_t* key, std::int64_t defaultValue) = 0;
    virtual BaseData* GetRecord(const wchar_t* key) = 0; // null when absent

    // Listeners are called in the order of their adding, as often as they were added. Removing
    // takes the first occurrence. They are not owned.
    virtual void AddListener(ReceiveBaseData* listener) = 0;
    virtual void RemoveListener(ReceiveBaseData* listener) = 0;

    // Replace the contents of the array.
    virtual void GetRecords(std::vector<DataTableInfo>& records) = 0;
    virtual void GetValues(std::vector<std::pair<std::wstring, std::wstring>>& values) = 0;

  protected:
    ~BaseData() = default; // Release is the way
};

} // namespace CppUtility

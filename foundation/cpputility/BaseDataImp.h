#pragma once

#include "foundation/cpputility/BaseData.h"
#include "foundation/support/Mutex.h"
#include "foundation/support/Text.h"

#include <map>
#include <memory>

namespace CppUtility {

// Changes that wait to be applied together. Each entry is filed under the kind that the caller
// gave.
class ChangeSet {
  public:
    struct Entry {
        halvane::Text key = {};
        halvane::Text text = {};
        BaseData* record = nullptr;
        DataType type = DataType::Records;
    };

    void Add(ChangeKind kind, Entry entry);

    std::vector<DataType> clears;
    std::vector<halvane::Text> removedRecords;
    std::vector<halvane::Text> removedValues;
    std::map<halvane::Text, BaseData*> records;
    std::map<halvane::Text, halvane::Text> values;
};

class BaseDataImp final : public BaseData {
  public:
    BaseDataImp() = default;
    ~BaseDataImp();
    BaseDataImp(const BaseDataImp&) = delete;
    BaseDataImp& operator=(const BaseDataImp&) = delete;

    void AddClear(ChangeSet* changes, ChangeKind kind, DataType type) override;
    void Remove(ChangeSet* changes, ChangeKind kind, const wchar_t* key) override;
    void SetRecord(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                   BaseData* record) override;
    void SetInteger(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                    std::int64_t value) override;
    void SetString(ChangeSet* changes, ChangeKind kind, const wchar_t* key,
                   const wchar_t* text) override;
    ChangeSet* BeginChange() override;
    void ApplyChange(ChangeSet* changes) override;
    std::wstring GetString(const wchar_t* key) override;
    std::int64_t GetInteger(const wchar_t* key, std::int64_t defaultValue) override;
    BaseData* GetRecord(const wchar_t* key) override;
    void AddListener(ReceiveBaseData* listener) override;
    void RemoveListener(ReceiveBaseData* listener) override;
    void GetRecords(std::vector<DataTableInfo>& records) override;
    void GetValues(std::vector<std::pair<std::wstring, std::wstring>>& values) override;

  private:
    struct Releaser {
        void operator()(BaseData* record) const { record->Release(); }
    };
    using RecordPtr = std::unique_ptr<BaseData, Releaser>;

    void Apply(const ChangeSet& changes) REQUIRES(dataLock_);
    void Clear(DataType type) REQUIRES(dataLock_);

    halvane::RecursiveMutex dataLock_;
    std::map<halvane::Text, halvane::Text, std::less<>> values_ GUARDED_BY(dataLock_);
    std::map<halvane::Text, RecordPtr, std::less<>> records_ GUARDED_BY(dataLock_);
    halvane::RecursiveMutex listenerLock_; // also held while listeners are called
    std::vector<ReceiveBaseData*> listeners_ GUARDED_BY(listenerLock_);
};

} // namespace CppUtility

#pragma once

#include "foundation/support/Export.h"

namespace CppUtility {

class BaseData;

// The process-wide board that maps a topic's name to a record. It never owns the records: one that
// is replaced is neither released nor told. Safe from any thread.
extern "C" {
HALVANE_EXPORT void SetTopic(const wchar_t* name, BaseData* record);
HALVANE_EXPORT BaseData* GetDataFromTopic(const wchar_t* name); // null when there is none
}

} // namespace CppUtility

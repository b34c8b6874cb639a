#pragma once

#include "tradeapi/Automation.h"

namespace halvane {

// Creation of the platform's objects. May be called from any thread; initialises COM on it.

// Creates an object from the component's file, which is looked for in the platform's own folder
// above the executable, without the registry. The file stays loaded once it has given an object. It
// gets so many attempts, 200 ms apart. Null when the class is not one of those whose identifiers
// are known, or when the file does not give it.
ComPtr<IDispatch> CreateComponentObject(const wchar_t* progId, int attempts = 3);

// Where that file has to be; "" when the executable does not lie below the platform's folder.
const Text& ComponentFile();

// The same, and where that fails an object from the class that the registry has under this name.
ComPtr<IDispatch> CreateAutomationObject(const wchar_t* progId);

// Lets go of the component's file, when the component itself says that it can go: it may have
// objects that others still hold and threads that still run, and without its code they would crash.
// A component that says no, or nothing, stays until the process ends. No class may be asked for
// afterwards.
void UnloadComponentModules();

} // namespace halvane

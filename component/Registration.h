#pragma once

#include "foundation/support/Text.h"

#include <windows.h>

namespace halvane {

// The component's classes in the registry: for all users where this process may write that, else
// for its own user. Classes of these names that another component has registered are never touched,
// so a machine with the platform on it keeps the platform.

// `file` is the component's full path. Refuses when another component has one of the names.
HRESULT RegisterClasses(const Text& file);

HRESULT UnregisterClasses();

} // namespace halvane

#pragma once

#include "tradeapi/Automation.h"
#include "tradeapi/ComponentIds.h"

#include <vector>

namespace halvane {

// All classes of the component: those that callers can create from the file, and the two that they
// find through the registry alone.
const std::vector<ComponentClass>& AllComponentClasses();

// A new object of the class, with one reference.
ComPtr<IDispatch> MakeComponentObject(const ComponentClass& componentClass);

// The class factory of a class identifier; null when the component has no such class.
ComPtr<IClassFactory> MakeClassFactory(REFCLSID classId);

} // namespace halvane

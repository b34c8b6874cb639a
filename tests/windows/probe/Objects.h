#pragma once

#include <windows.h>

#include <oaidl.h>

// The objects of the probe: one kind for every class, which differ in their names alone. All of
// them offer connection points, for any events.

// A new object with one reference.
IUnknown* MakeProbeObject(const wchar_t* name);

HRESULT FireEvent(REFIID events, DISPID id, VARIANT* arguments, UINT count, WORD flags);

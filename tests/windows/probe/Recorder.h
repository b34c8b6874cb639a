#pragma once

#include <windows.h>

#include <oaidl.h>

#include <string>

// The probe's memory of what it was asked, and of what it was told to answer. Safe from any thread.

std::wstring Describe(const VARIANT& value);

// Writes the call down and does as the test has told.
HRESULT RecordAndAnswer(const std::wstring& object, DISPID id, WORD flags,
                        const DISPPARAMS& parameters, VARIANT* result, EXCEPINFO* exception);

void ResetRecorder();
void TellAnswer(DISPID id, const VARIANT& value);
void TellAnswerByReference(DISPID id, const VARIANT& value);
void TellFailure(DISPID id, HRESULT code, SCODE exceptionCode, const wchar_t* description);

void MendFailure(DISPID id);

// The calls since the last time.
std::wstring TakeCalls();

// The calls so far; the text stays until the next call of this function.
const wchar_t* RecordedCalls();

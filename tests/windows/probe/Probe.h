#pragma once

#include <windows.h>

#include <oaidl.h>

// What a test can tell the probe, a component whose objects write down every call and do as they
// were told. The test finds the functions through the exported ProbeControls.
struct ProbeControls {
    // Forgets calls, answers and failures.
    void (*reset)();

    // The result of this dispatch id from now on, on every object; nothing until then.
    void (*answer)(DISPID id, const VARIANT& value);
    // What the id puts where an argument is a variant by reference.
    void (*answerByReference)(DISPID id, const VARIANT& value);
    // The id fails with this code; DISP_E_EXCEPTION carries the other two.
    void (*fail)(DISPID id, HRESULT code, SCODE exceptionCode, const wchar_t* description);

    // One line for each call: class, kind, id, arguments first to last with their types, and "="
    // when a result was wanted.
    const wchar_t* (*calls)();

    // Objects and class factories of the probe that are still referred to.
    int (*liveObjects)();

    // Sends an event to the sink of this interface, on a thread of the probe's own, and gives the
    // sink's answer. Arguments are last to first, as automation has them.
    HRESULT (*fire)(REFIID events, DISPID id, VARIANT* arguments, UINT count, WORD flags);
};

// Things that must be told before the probe is loaded, as environment variables:
//   PROBE_FAIL     how many times the class factory still fails (counts down)
//   PROBE_CREATED  how many times it was asked (counts up)
//   PROBE_REFUSE   a class identifier that the file does not have
//   PROBE_WANDER   1: the class factory changes the current directory
//   PROBE_DEAF     an event interface that it does not offer
//   PROBE_CRASH    1: it crashes when asked whether it can be unloaded; 2: when it is unloaded
//   PROBE_ASKED    a file: it writes there how many of its objects are referred to when it is asked
//                  whether it can be unloaded
//   PROBE_PORT     the port from which it is told what to do (Remote.h)
extern "C" const ProbeControls* ProbeGetControls();

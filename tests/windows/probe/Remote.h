#pragma once

// A probe in a process of its own is told what to do, and says what it was asked, over a connection
// to a port of this machine: PROBE_PORT of the environment. Commands are lines of UTF-8 with fields
// between tabs; each gets one answer, which ends with a zero byte.
//
//   answer ID VALUE                  the result of this dispatch id from now on
//   reference ID VALUE               what the id puts where an argument is a variant by reference
//   fail ID CODE EXCEPTIONCODE TEXT  the id fails from now on
//   mend ID                          it does no longer
//   fire host|trade ID VALUE...      sends an event, arguments first to last; answers with what the
//                                    sink said
//   calls                            the calls since the last time, a line each
//   objects                          how many objects and factories are referred to
//   resources                        how many handles and modules the process has
//   guest FILE                       loads that module and answers what its GuestReport() gives
//   go                               the setting-up is done
//
// A value is I4:5, I8:5, BSTR:text, EMPTY, or one of these after "&", which passes it by reference.
// Numbers are decimal.

// Connects, the first time that it is called, and does what it is told until "go"; a thread goes on
// from there. Nothing without PROBE_PORT.
void StartRemote();

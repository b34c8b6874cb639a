#pragma once

// Marks a member with the lock that must be held to touch it. Clang checks it; others read it.
#if defined(__clang__)
#define GUARDED_BY(lock) __attribute__((guarded_by(lock)))
#else
#define GUARDED_BY(lock)
#endif

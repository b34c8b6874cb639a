#pragma once

// What Clang checks of locks (-Wthread-safety) and others read: a member is marked with the lock
// that must be held to touch it, a function with the lock that its caller must hold.
#if defined(__clang__)
#define THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define THREAD_SAFETY(attribute)
#endif

#define GUARDED_BY(lock) THREAD_SAFETY(guarded_by(lock))
#define REQUIRES(...) THREAD_SAFETY(requires_capability(__VA_ARGS__))

// For locks themselves.
#define CAPABILITY(name) THREAD_SAFETY(capability(name))
#define SCOPED_CAPABILITY THREAD_SAFETY(scoped_lockable)
#define ACQUIRE(...) THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define RELEASE(...) THREAD_SAFETY(release_capability(__VA_ARGS__))

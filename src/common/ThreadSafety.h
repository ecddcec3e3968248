// SPDX-License-Identifier: Apache-2.0
// Says which lock guards what, for Clang's -Wthread-safety to check. Other compilers see nothing of it.
#pragma once

#if defined(__clang__)
#define NAVO_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define NAVO_THREAD_SAFETY(attribute)
#endif

// Types: a lock, and what holds one for a scope.
#define LOCK_TYPE NAVO_THREAD_SAFETY(capability("mutex"))
#define SCOPED_LOCK_TYPE NAVO_THREAD_SAFETY(scoped_lockable)

// Members that are touched under a lock alone.
#define GUARDED_BY(lock) NAVO_THREAD_SAFETY(guarded_by(lock))

// Functions: take the lock, give it back, want it held, or look past it for the reason that stands there.
#define ACQUIRES(...) NAVO_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define RELEASES(...) NAVO_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define REQUIRES_LOCK(...) NAVO_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define UNCHECKED_LOCKING NAVO_THREAD_SAFETY(no_thread_safety_analysis)

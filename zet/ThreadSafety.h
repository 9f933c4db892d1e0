/// \file
/// Marks for clang's thread safety analysis (`-Wthread-safety`): they say which lock a member, or the caller
/// of a function, needs. Other compilers see nothing.
#pragma once

#if defined(__clang__)
#define ZET_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
/// An attribute of clang; nothing for other compilers.
#define ZET_THREAD_SAFETY(attribute)
#endif

/// A class that is a lock. The text names it in warnings.
#define ZET_CAPABILITY(name) ZET_THREAD_SAFETY(capability(name))
/// A class that takes a lock in its constructor and gives it back in its destructor.
#define ZET_SCOPED_CAPABILITY ZET_THREAD_SAFETY(scoped_lockable)
/// A member that is read and written only with this lock.
#define ZET_GUARDED_BY(lock) ZET_THREAD_SAFETY(guarded_by(lock))
/// The caller of the function must have these locks.
#define ZET_REQUIRES(...) ZET_THREAD_SAFETY(requires_capability(__VA_ARGS__))
/// The caller of the function must not have these locks.
#define ZET_EXCLUDES(...) ZET_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
/// The function takes these locks; without arguments, its own object.
#define ZET_ACQUIRE(...) ZET_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
/// The function gives these locks back; without arguments, its own object.
#define ZET_RELEASE(...) ZET_THREAD_SAFETY(release_capability(__VA_ARGS__))
/// The function returns a reference to this lock.
#define ZET_RETURN_CAPABILITY(lock) ZET_THREAD_SAFETY(lock_returned(lock))
/// The caller of the function has this lock, which the analysis cannot see there.
#define ZET_ASSERT_CAPABILITY(...) ZET_THREAD_SAFETY(assert_capability(__VA_ARGS__))

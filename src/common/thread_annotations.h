#pragma once
// clang's thread-safety attributes; nothing for other compilers.

#if defined(__clang__)
#define GRPOWNER_ATTRIBUTE(x) __attribute__((x))
#else
#define GRPOWNER_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) GRPOWNER_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY GRPOWNER_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) GRPOWNER_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) GRPOWNER_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) GRPOWNER_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) GRPOWNER_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) GRPOWNER_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) GRPOWNER_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) GRPOWNER_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define RETURN_CAPABILITY(x) GRPOWNER_ATTRIBUTE(lock_returned(x))
#define NO_THREAD_SAFETY_ANALYSIS GRPOWNER_ATTRIBUTE(no_thread_safety_analysis)

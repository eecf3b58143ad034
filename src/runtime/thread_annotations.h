#pragma once

// Macros for the thread-safety analysis of clang. A declaration states with them which lock guards
// a field and which locks the caller of a function holds; a build with the `fuzz` preset fails on
// each violation. They expand to nothing for other compilers.

#if defined(__clang__)
#define VANTRY_ANNOTATION(x) __attribute__((x))
#else
#define VANTRY_ANNOTATION(x)
#endif

#define CAPABILITY(x) VANTRY_ANNOTATION(capability(x))
#define SCOPED_CAPABILITY VANTRY_ANNOTATION(scoped_lockable)
#define GUARDED_BY(x) VANTRY_ANNOTATION(guarded_by(x))
#define REQUIRES(...) VANTRY_ANNOTATION(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) VANTRY_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) VANTRY_ANNOTATION(release_capability(__VA_ARGS__))
#define RETURN_CAPABILITY(x) VANTRY_ANNOTATION(lock_returned(x))
#define TRY_ACQUIRE(...) VANTRY_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS VANTRY_ANNOTATION(no_thread_safety_analysis)

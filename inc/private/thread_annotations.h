/// @file
/// What the compiler is told about locks. Clang checks it with -Wthread-safety; other compilers see nothing.
#ifndef ZELO_THREAD_ANNOTATIONS_H
#define ZELO_THREAD_ANNOTATIONS_H

#if defined(__clang__)
#define ZELO_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define ZELO_THREAD_ANNOTATION(x)
#endif

#define CAPABILITY(name) ZELO_THREAD_ANNOTATION(capability(name))
#define SCOPED_CAPABILITY ZELO_THREAD_ANNOTATION(scoped_lockable)
#define GUARDED_BY(lock) ZELO_THREAD_ANNOTATION(guarded_by(lock))
#define PT_GUARDED_BY(lock) ZELO_THREAD_ANNOTATION(pt_guarded_by(lock))
#define ACQUIRED_AFTER(...) ZELO_THREAD_ANNOTATION(acquired_after(__VA_ARGS__))
#define REQUIRES(...) ZELO_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) ZELO_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define ACQUIRE(...) ZELO_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define RELEASE(...) ZELO_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS ZELO_THREAD_ANNOTATION(no_thread_safety_analysis)

#endif

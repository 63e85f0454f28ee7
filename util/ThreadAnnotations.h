// Names for clang's thread-safety attributes: which lock guards a member, which lock a function needs.
#ifndef UTIL_THREAD_ANNOTATIONS_H
#define UTIL_THREAD_ANNOTATIONS_H

#define VRN_CAPABILITY(name) __attribute__((capability(name)))
#define VRN_SCOPED_CAPABILITY __attribute__((scoped_lockable))
#define VRN_GUARDED_BY(lock) __attribute__((guarded_by(lock)))
#define VRN_PT_GUARDED_BY(lock) __attribute__((pt_guarded_by(lock)))
#define VRN_REQUIRES(...) __attribute__((requires_capability(__VA_ARGS__)))
#define VRN_EXCLUDES(...) __attribute__((locks_excluded(__VA_ARGS__)))
#define VRN_ACQUIRE(...) __attribute__((acquire_capability(__VA_ARGS__)))
#define VRN_TRY_ACQUIRE(...) __attribute__((try_acquire_capability(__VA_ARGS__)))
#define VRN_RELEASE(...) __attribute__((release_capability(__VA_ARGS__)))
#define VRN_NO_THREAD_SAFETY_ANALYSIS __attribute__((no_thread_safety_analysis))

#endif

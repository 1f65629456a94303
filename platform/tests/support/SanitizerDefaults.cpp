// What sanitizers are told about libraries that they do not see into, and about the children of tests.

#include <cstdlib>

#ifdef __SANITIZE_ADDRESS__
// Children that are traced, or that end in the middle of their work, cannot be searched for leaks.
[[maybe_unused]] static const int childrenMayLeak = ::setenv("ASAN_OPTIONS", "detect_leaks=0", 0);
#endif

// The C library guards its time zone with a lock of its own, which ThreadSanitizer does not know. Nor does it
// see how the C++ library counts references to an exception, which a future's two ends share.
// NOLINTBEGIN(bugprone-reserved-identifier): looked up by name
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:tzset_internal\nrace:std::__exception_ptr::exception_ptr::_M_release\n"
           "race:std::__future_base::_Result<void>::_M_destroy\n";
}
// Children of tests start threads of their own.
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "die_after_fork=0";
}
// NOLINTEND(bugprone-reserved-identifier)

// What sanitizers are told about libraries that they do not see into.

// The C library guards its time zone with a lock of its own, which ThreadSanitizer does not know.
// NOLINTBEGIN(bugprone-reserved-identifier): looked up by name
extern "C" [[gnu::visibility("default")]] const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "race:tzset_internal\n";
}
// NOLINTEND(bugprone-reserved-identifier)

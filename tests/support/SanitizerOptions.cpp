// Under the address sanitizer, an allocation that cannot be met must come back
// as a failure, as it does in a normal build, so that the tests can see the
// system's out-of-memory messages instead of the sanitizer's abort.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1:detect_leaks=1";
}

// Fontconfig keeps a cache it never frees for the life of the process; Qt
// reaches it through the first font of a figure. It is not ours to free.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}

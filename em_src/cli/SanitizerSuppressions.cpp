// Under the leak sanitizer: fontconfig keeps a cache it never frees for the
// life of the process, reached through the first font of a figure. It is not
// ours to free, and a leak report would change the program's exit code.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig.so\n";
}
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}

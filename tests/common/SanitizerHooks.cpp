// Sanitizer builds only read these. Every test executable links them (see tests/CMakeLists.txt).
//
// Memory that libraries keep for the life of the process on purpose, which the leak checker
// would report at exit: the OpenSSL legacy provider, loaded once for old key files, and
// libssh2's global state. OpenSSL is built without frame pointers, so the fast unwinder stops
// inside it and never sees the loading call; allocations are unwound the slow way instead.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:OSSL_provider_init\nleak:libssh2.so\n";
}

extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

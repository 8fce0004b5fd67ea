// Memory that libraries keep for the life of the process on purpose, which the leak checker of
// sanitizer builds would report at exit: the OpenSSL legacy provider, loaded once for old key
// files, and libssh2's global state. Every test executable links this (see tests/CMakeLists.txt).
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:OSSL_provider_init\nleak:libssh2.so\n";
}

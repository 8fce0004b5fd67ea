#include <QCoreApplication>

#include <gmock/gmock.h>

#include "TestSupport.h"

// Memory that libraries keep for the life of the process on purpose, which the leak checker of
// sanitizer builds would report at exit: the OpenSSL legacy provider, loaded once for old key
// files, and libssh2's global state.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:OSSL_provider_init\nleak:libssh2.so\n";
}

// Every test binary gets a QCoreApplication on the main thread: queued signals and
// QEventLoop need one, and the engine delivers results on the client's thread.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    NorvikTest::installFastRetries();
    return RUN_ALL_TESTS();
}

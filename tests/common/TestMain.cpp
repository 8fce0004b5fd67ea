#include <QCoreApplication>

#include <gmock/gmock.h>

#include "LogArchive.h"
#include "TestSupport.h"

// Every test binary gets a QCoreApplication on the main thread: queued signals and
// QEventLoop need one, and the engine delivers results on the client's thread.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    NorvikTest::installFastRetries();
    NorvikTest::LogArchive::install();
    return RUN_ALL_TESTS();
}

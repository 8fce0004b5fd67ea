#pragma once

#include <NorvikCore/NorvikDebug.h>

namespace NorvikTest {

// Every test process keeps its log lines at info level and above in a file of its own under
// $CLOUDTEST_RUN/logs, where the suite's last test searches them for credentials. Lines at
// warning level and above still reach standard error as well.
class LogArchive
{
public:
    // Opens the process's file and makes the archive the log's sink; called by the test mains.
    static void install();
    // The sink that install() set: the one a temporary sink gives back, empty before install().
    static NorvikDebug::Sink sink();
    static void write(NorvikDebug::Level level, const QString& category, const QString& message);
};

} // namespace NorvikTest

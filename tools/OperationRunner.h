#pragma once

#include <QSharedPointer>
#include <QString>

namespace Norvik::Cloud {
class IOperation;
}

namespace NorvikTool {

// Runs one operation to its end on the calling thread's event loop and reports failures
// the way the tool prints them: "error <code>: <message>".
class OperationRunner
{
public:
    struct Outcome
    {
        bool ok = false;
        int code = 0;
        QString message;
        QString cloudError;
        QString describe() const;
    };

    // A null operation means the library refused the input.
    static Outcome run(const QSharedPointer<Norvik::Cloud::IOperation>& operation);
};

} // namespace NorvikTool

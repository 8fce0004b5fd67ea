#pragma once

#include <QUuid>

#include <atomic>
#include <memory>

class QIODevice;

namespace curlpp {
class Easy;
}

namespace Norvik::Network::Internal {

// Installs the callbacks that watch one transfer: the progress callback (progress reports
// under id, the abort test of terminate() and of cancel) and the debug callback (the text
// trace into trace, when given, and the hand-over of exceptions raised by the read and
// write callbacks to curlpp, which rethrows them from Easy::perform()). The state of the
// hooks is owned by the handle's option list, so it lives exactly as long as the handle.
void installTransferHooks(curlpp::Easy& request, const QUuid& id, QIODevice* trace,
                          std::shared_ptr<std::atomic<bool>> cancel = {});

// Called from a catch block inside a read or write callback: keeps the exception in flight
// so that the transfer's debug callback can hand it to curlpp after libcurl has aborted.
// Norvik exceptions keep their type; other std::exceptions arrive as std::runtime_error.
void keepCurrentException();

// Drops an exception kept by an earlier callback whose transfer never collected it.
void discardStaleException();

} // namespace Norvik::Network::Internal

#pragma once

// The behaviour every storage must show, written once and run against each storage row.
//
// A row (see README.md) names a storage and builds its configuration map; the suite makes the
// connection from that map, reads what the storage can do from its descriptor and connection,
// and registers only the cases that those capabilities call for.

#include "connection/IConnection.h"
#include "engine/IOperation.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVariant>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace Conformance {

using ConfigMap = QMap<QString, QVariant>;

// What the storage under test can do. Read from the descriptor and the connection, except
// the metadata kept (the descriptor does not say) and the switches that a row turns off for
// a server that lacks what the library supports.
struct Capabilities
{
    bool multipart = false;
    bool parallelParts = false;
    bool continueUpload = false;
    bool signedUrl = false;
    bool emptyFolder = false;
    bool containers = false;
    quint64 maxDeleteCount = 0;
    // The part size of multipart cases: the storage's smallest part, at least 1 MiB.
    quint64 partSize = 0;
    // The row gives a wrong-credentials variant and the server checks credentials.
    bool checksCredentials = false;
    // A truncated listing can be continued from its marker.
    bool pagedListings = true;
    // A range of the first byte alone brings that byte.
    bool firstByteRange = true;
    // Keys of the metadata map that survive a round trip.
    QStringList keptMetadata;
    // The storage is reached over TCP and its configuration can be pointed at a proxy.
    bool routable = false;
    // Its requests go as plain HTTP, which a proxy can read and answer (not through TLS).
    bool plainHttp = false;
    // The service refuses requests from a client whose clock is off, and names its own time.
    bool reportsClockSkew = false;
    bool reportsServerTime = false;
};

// A capability that the server of a row lacks although the library supports it, and why.
struct ServerLimit
{
    bool Capabilities::*capability;
    const char* reason;
};

struct Row
{
    QString name;
    // The configuration map; empty when the row's server is not there (its endpoint file is
    // missing), which fails the run.
    std::function<ConfigMap()> configuration;
    // The "params" of a new container, for storages that have containers.
    std::function<QJsonObject(const QString& name)> containerParams;
    // Spoils the credentials of a configuration; null for a storage without credentials.
    std::function<void(ConfigMap&)> breakCredentials;
    // The error code that an operation with spoilt credentials ends with.
    int wrongCredentialsCode = 0;
    QStringList keptMetadata;
    QList<ServerLimit> limits;
    // The code of a multipart upload with spoilt credentials, where it differs: when beginning
    // sends no request, the refused part is the upload's only and last result, and the last
    // result closes the operation without copying its code (deliberately, as UploadMultipart
    // says). -1: wrongCredentialsCode.
    int wrongCredentialsMultipartCode = -1;
    // The container string of the container made under that name, for a connection whose
    // container strings are not plain names; null: the name itself.
    std::function<QString(Norvik::Cloud::Api::IConnection&, const QString& name)> containerString = nullptr;
    // The row's service checks the request time (the clock-skew run, label reliability), and
    // whether its refusal carries the service's own time.
    bool reportsClockSkew = false;
    bool reportsServerTime = false;
    // The error document the service sends with a status of 429 or 5xx, which the wire-fault run
    // answers with in its place, and its media type; null: an empty body.
    std::function<QByteArray(int status)> errorDocument = nullptr;
    QByteArray errorDocumentType = QByteArray();
};

// Adds a row; call it from a static initialiser in the family's row file.
bool addRow(const Row& row);

// How a row's configuration is pointed at a TCP proxy on 127.0.0.1:port; returns the
// "host:port" it stood for. Rows without one use the configuration's HTTP endpoint, if any.
using Route = std::function<QString(ConfigMap& config, quint16 port)>;
bool addRoute(const QString& row, const Route& route);

// Points config at a TCP proxy on 127.0.0.1:port; returns the "host:port" that the proxy is to
// forward to, or an empty text for a storage not reached over TCP.
QString routeThrough(const Row& row, ConfigMap& config, quint16 port);

// The endpoint that the CTest fixture of that name wrote; empty when it is missing.
QString serverEndpoint(const QString& fixture);

// Base of every case: the storage of the row, a connection to it, and a path prefix of the
// test's own. Helpers drive the operations a client uses, through the OperationManager.
class StorageTest : public ::testing::Test
{
public:
    static void setStorage(const Row& row, const Capabilities& capabilities, const ConfigMap& config);
    static const Row& row();
    static const Capabilities& caps();
    // The row's configuration with the suite's container and part size.
    static const ConfigMap& config();
    static QString container();

protected:
    void SetUp() override;

    Norvik::Cloud::Api::IConnection& connection() { return *m_connection; }
    // The test's own prefix, with a leading and a trailing "/"; path() puts it in front.
    const QString& prefix() const { return m_prefix; }
    QString path(const QString& name) const { return m_prefix + name; }

    // Runs the operation to its end and drops it from the registry. True when it ended in
    // the expected state; otherwise a failure names its code and message.
    static bool run(const QSharedPointer<Norvik::Cloud::IOperation>& operation,
                    Norvik::Cloud::IOperation::State expected = Norvik::Cloud::IOperation::StateComplete);
    // Several at once: all are started before the first is waited for.
    static bool runAll(const QList<QSharedPointer<Norvik::Cloud::IOperation>>& operations);

    bool put(const QString& name, const QByteArray& data, const ConfigMap& metaData = {});
    QByteArray get(const QString& name, ConfigMap* metaData = nullptr);
    bool remove(const QJsonObject& object);

    struct Entry
    {
        QString name; // below prefix(); folders end in "/"
        bool folder;
        quint64 size;
        QJsonObject record;
    };
    // Every page of a listing below prefix() + below, with Listing operations of pageSize.
    QList<Entry> list(const QString& below, const QString& delimiter, quint16 pageSize, int* pages = nullptr);
    static QStringList names(const QList<Entry>& entries);

    static QByteArray sha256(const QByteArray& data);

private:
    std::unique_ptr<Norvik::Cloud::Api::IConnection> m_connection;
    QString m_prefix;
};

using Applies = bool (*)(const Capabilities&);
using Make = StorageTest* (*)();
bool addCase(const char* name, Applies applies, Make make);

} // namespace Conformance

// Defines a case that runs on every row whose capabilities satisfy applies; the second form
// derives it from a fixture of StorageTest with helpers of its own.
#define CONFORMANCE_CASE(name, applies) CONFORMANCE_FIXTURE_CASE(name, Conformance::StorageTest, applies)
#define CONFORMANCE_FIXTURE_CASE(name, fixture, applies)                                                     \
    class name : public fixture                                                                              \
    {                                                                                                        \
        void TestBody() override;                                                                            \
    };                                                                                                       \
    [[maybe_unused]] const bool name##Added =                                                                \
        Conformance::addCase(#name, applies, []() -> Conformance::StorageTest* { return new name; });        \
    void name::TestBody()

#include "Conformance.h"

#include "connection/CloudFactory.h"
#include "connection/Exception.h"
#include "connection/ICloud.h"
#include "connection/ListingObject.h"
#include "engine/OperationConfig.h"
#include "engine/OperationManager.h"
#include "info/Config.h"
#include "info/InfoBase.h"
#include "info/InfoFactory.h"
#include "operations/Download2Stream.h"
#include "operations/Listing.h"

#include "LogArchive.h"
#include "TestSupport.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>
#include <QJsonArray>
#include <QUrl>
#include <QUuid>

#include <gmock/gmock.h>

#include <algorithm>
#include <iostream>

using Norvik::Cloud::IOperation;
using Norvik::Cloud::OperationManager;
namespace Api = Norvik::Cloud::Api;
namespace Operation = Norvik::Cloud::Operation;

namespace Conformance {

namespace {

constexpr quint64 MiB = 1024 * 1024;
constexpr int OperationTimeoutMs = 120000;

QMap<QString, Row>& rows()
{
    static QMap<QString, Row> registry;
    return registry;
}

struct Case
{
    const char* name;
    Applies applies;
    Make make;
};

QList<Case>& cases()
{
    static QList<Case> registry;
    return registry;
}

const Row* s_row = nullptr;
Capabilities s_capabilities;
ConfigMap s_config;

QString uniqueName(const QString& stem)
{
    return stem + QLatin1Char('-') + QUuid::createUuid().toString(QUuid::Id128).left(12);
}

Capabilities capabilitiesOf(const Api::IConnection& connection, const Row& row)
{
    const QSharedPointer<Norvik::Cloud::Info::Base> info =
        Norvik::Cloud::Info::InfoFactory::create(connection.type());
    Capabilities caps;
    caps.multipart = info->supportMultipart();
    caps.parallelParts = connection.supportMultypartThread();
    caps.continueUpload = info->supportContinueUpload();
    caps.signedUrl = info->supportSignedUrl();
    caps.emptyFolder = connection.supportEmptyFolder();
    caps.containers = dynamic_cast<const Api::ICloud*>(&connection) != nullptr;
    // The connection's own answer: an S3 connection that signs with version 2 has no batch delete.
    caps.maxDeleteCount = connection.maxDeleteCount();
    caps.partSize = std::max(connection.minimumChunkSize(), MiB);
    caps.checksCredentials = static_cast<bool>(row.breakCredentials);
    caps.keptMetadata = row.keptMetadata;
    caps.reportsClockSkew = row.reportsClockSkew;
    caps.reportsServerTime = row.reportsServerTime;
    for (const ServerLimit& limit : row.limits) {
        caps.*limit.capability = false;
        std::cout << "server limit: " << limit.reason << '\n';
    }
    return caps;
}

// Every object of the container, then the container; what stays is only reported.
void removeContainer(Api::IConnection& connection, const QString& container)
{
    try {
        QString marker;
        do {
            const QJsonArray page = connection.listing(container, QString(), marker, QString(), 1000).array();
            for (const QJsonValue& entry : page)
                connection.delete_(container, entry.toObject());
        } while (!marker.isEmpty());
        dynamic_cast<Api::ICloud&>(connection).removeContainers(container);
    } catch (const Api::Exception::NoContent&) {
        // The answer of a removal without a body.
    } catch (const Api::Exception::Base& e) {
        std::cerr << "container " << container.toStdString() << " left behind: " << e.message().toStdString()
                  << '\n';
    }
}

int runRow(const Row& row)
{
    ConfigMap config = row.configuration();
    if (config.isEmpty()) {
        std::cerr << "row " << row.name.toStdString() << " has no configuration: did its server start?\n";
        return 1;
    }
    std::unique_ptr<Api::IConnection> connection(Api::CloudFactory::create(config));
    if (!connection) {
        std::cerr << "the factory made no connection for row " << row.name.toStdString() << '\n';
        return 1;
    }
    Capabilities caps = capabilitiesOf(*connection, row);
    ConfigMap probe = config;
    caps.routable = !routeThrough(row, probe, 1).isEmpty();
    caps.plainHttp =
        caps.routable &&
        probe.value(Norvik::Cloud::Api::Config::Http::Endpoint).toUrl().scheme() == QLatin1String("http");
    QString container;
    if (caps.containers) {
        container = uniqueName(QStringLiteral("conformance"));
        try {
            if (!row.containerParams ||
                !dynamic_cast<Api::ICloud&>(*connection).createContainers(row.containerParams(container))) {
                std::cerr << "the container " << container.toStdString() << " could not be made\n";
                return 1;
            }
        } catch (const Api::Exception::Base& e) {
            std::cerr << "the container could not be made: " << e.message().toStdString() << '\n';
            return 1;
        }
        if (row.containerString)
            container = row.containerString(*connection, container);
    }
    config.insert(Norvik::Cloud::OperationConfig::ContainerName, container);
    config.insert(Norvik::Cloud::OperationConfig::ChunkSize, caps.partSize);
    StorageTest::setStorage(row, caps, config);

    const std::string suite = "Conformance/" + row.name.toStdString();
    for (const Case& c : cases()) {
        if (!c.applies(caps)) {
            std::cout << "not for this storage: " << c.name << '\n';
            continue;
        }
        ::testing::RegisterTest(suite.c_str(), c.name, nullptr, row.name.toUtf8().constData(), __FILE__,
                                __LINE__, c.make);
    }
    OperationManager::instance();
    const int result = RUN_ALL_TESTS();
    if (caps.containers)
        removeContainer(*connection, container);
    OperationManager::instance().stop();
    return result;
}

} // namespace

bool addRow(const Row& row)
{
    rows().insert(row.name, row);
    return true;
}

bool addCase(const char* name, Applies applies, Make make)
{
    cases().append({name, applies, make});
    return true;
}

QMap<QString, Route>& routes()
{
    static QMap<QString, Route> all;
    return all;
}

bool addRoute(const QString& row, const Route& route)
{
    routes().insert(row, route);
    return true;
}

QString routeThrough(const Row& row, ConfigMap& config, quint16 port)
{
    if (const Route route = routes().value(row.name))
        return route(config, port);
    const QString key = Norvik::Cloud::Api::Config::Http::Endpoint;
    QUrl endpoint = config.value(key).toUrl();
    if (!endpoint.isValid() || endpoint.host().isEmpty())
        return QString();
    const QString target = endpoint.host() + QLatin1Char(':') + QString::number(endpoint.port(80));
    endpoint.setHost(QStringLiteral("127.0.0.1"));
    endpoint.setPort(port);
    config.insert(key, endpoint);
    // A changed configuration is a new connection.
    config.insert(Norvik::Cloud::Config::Id, QUuid::createUuid());
    return target;
}

QString serverEndpoint(const QString& fixture)
{
    QFile file(QString::fromLocal8Bit(qgetenv("NORVIK_SERVERS_DIR")) + QLatin1Char('/') + fixture +
               QStringLiteral(".endpoint"));
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll().trimmed());
}

void StorageTest::setStorage(const Row& row, const Capabilities& capabilities, const ConfigMap& config)
{
    s_row = &row;
    s_capabilities = capabilities;
    s_config = config;
}

const Row& StorageTest::row()
{
    return *s_row;
}

const Capabilities& StorageTest::caps()
{
    return s_capabilities;
}

const ConfigMap& StorageTest::config()
{
    return s_config;
}

QString StorageTest::container()
{
    return s_config.value(Norvik::Cloud::OperationConfig::ContainerName).toString();
}

void StorageTest::SetUp()
{
    m_connection.reset(Api::CloudFactory::create(s_config));
    ASSERT_TRUE(m_connection);
    m_prefix =
        QLatin1Char('/') +
        uniqueName(QString::fromLatin1(::testing::UnitTest::GetInstance()->current_test_info()->name())) +
        QLatin1Char('/');
}

bool StorageTest::run(const QSharedPointer<IOperation>& operation, IOperation::State expected)
{
    if (!runAll({operation}))
        return false;
    if (operation->state() == expected)
        return true;
    ADD_FAILURE() << operation->type().toStdString() << " ended in state " << operation->state() << ", code "
                  << operation->errorCode() << ": " << operation->errorMessage().toStdString();
    return false;
}

bool StorageTest::runAll(const QList<QSharedPointer<IOperation>>& operations)
{
    bool all = true;
    for (const auto& operation : operations) {
        if (!operation) {
            ADD_FAILURE() << "the manager refused to make an operation";
            return false;
        }
        operation->exec();
    }
    for (const auto& operation : operations) {
        if (!NorvikTest::waitFor([&] { return operation->isComplite(); }, OperationTimeoutMs)) {
            ADD_FAILURE() << operation->type().toStdString() << " did not end";
            all = false;
        }
        operation->remove();
    }
    return all;
}

bool StorageTest::put(const QString& name, const QByteArray& data, const ConfigMap& metaData)
{
    QBuffer device;
    device.setData(data);
    device.open(QIODevice::ReadOnly);
    const auto upload = OperationManager::instance().upload(config(), path(name), metaData, &device);
    return run(upload);
}

QByteArray StorageTest::get(const QString& name, ConfigMap* metaData)
{
    QBuffer out;
    out.open(QIODevice::WriteOnly);
    const auto download = qSharedPointerCast<Operation::Download2Stream>(
        OperationManager::instance().download2Stream(config(), path(name), &out));
    if (run(download) && metaData)
        *metaData = download->metaData();
    return out.data();
}

bool StorageTest::remove(const QJsonObject& object)
{
    return run(OperationManager::instance().deleteOnce(config(), object));
}

QList<StorageTest::Entry> StorageTest::list(const QString& below, const QString& delimiter, quint16 pageSize,
                                            int* pages)
{
    // Listings name objects with or without the leading "/" of their path, by storage.
    const QString stem = m_prefix.mid(1);
    QList<Entry> entries;
    QString marker;
    int count = 0;
    do {
        const auto page = qSharedPointerCast<Operation::Listing>(
            OperationManager::instance().listing(config(), m_prefix + below, marker, delimiter, pageSize));
        if (!run(page))
            break;
        EXPECT_LE(page->data().size(), pageSize);
        for (const QJsonValue& value : page->data()) {
            const Api::ListingObject object(value.toObject());
            QString name = object.name();
            if (name.startsWith(QLatin1Char('/')))
                name.remove(0, 1);
            EXPECT_TRUE(name.startsWith(stem)) << name.toStdString();
            name.remove(0, stem.size());
            if (object.isFolder() && !name.endsWith(QLatin1Char('/')))
                name += QLatin1Char('/');
            entries.append({name, object.isFolder(), object.size(), object.json()});
        }
        marker = page->marker();
        if (++count > 1000) {
            ADD_FAILURE() << "the listing never ends";
            break;
        }
    } while (!marker.isEmpty());
    if (pages)
        *pages = count;
    return entries;
}

QStringList StorageTest::names(const QList<Entry>& entries)
{
    QStringList result;
    for (const Entry& entry : entries)
        result << entry.name;
    result.sort();
    return result;
}

QByteArray StorageTest::sha256(const QByteArray& data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256).toHex();
}

} // namespace Conformance

// One storage row per run: conformance <row>.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleMock(&argc, argv);
    NorvikTest::installFastRetries();
    NorvikTest::LogArchive::install();
    const QMap<QString, Conformance::Row>& rows = Conformance::rows();
    if (argc != 2 || !rows.contains(QString::fromLocal8Bit(argv[1]))) {
        std::cerr << "usage: " << argv[0]
                  << " ROW; rows: " << rows.keys().join(QLatin1Char(' ')).toStdString() << '\n';
        return 2;
    }
    return Conformance::runRow(rows[QString::fromLocal8Bit(argv[1])]);
}

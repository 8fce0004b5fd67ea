#pragma once

// The azurite server that the "azurite" fixture starts, and connections to it.

#include "azure/CloudAzureBlob.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QVariant>

#include <memory>

namespace NorvikTest::Azurite {

// azurite's well-known account.
inline const QString Account = QStringLiteral("devstoreaccount1");
inline const QString Key = QStringLiteral(
    "Eby8vdM02xNOcqFlqUwJPLlmEtlCDXJ1OUzFT50uSRZ6IFsuFq2UVErCz4I6tq/K1SZFPTOtr/KBHBeksoGMGw==");

// The path-style endpoint the fixture wrote (http://127.0.0.1:PORT/devstoreaccount1); empty
// when it did not start the server.
QUrl pathStyleEndpoint();
// A connection string for the service's own clients.
QString connectionString();
// Our configuration: the account goes in front of "blob.localhost", which libcurl resolves to
// the loopback, as it goes in front of the service's host name.
QMap<QString, QVariant> config(const QString& key = Key);
std::unique_ptr<Norvik::Cloud::Api::CloudAzureBlob> connect(const QMap<QString, QVariant>& config);

// A container of its own for each test, created on the server.
QString newContainer(Norvik::Cloud::Api::CloudAzureBlob& azure, const char* prefix);

QByteArray downloadAll(Norvik::Cloud::Api::CloudAzureBlob& azure, const QString& container,
                       const QString& path, QMap<QString, QVariant>* metaData = nullptr);

} // namespace NorvikTest::Azurite

#pragma once

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

namespace NorvikTest {

struct AwsRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Debian's awscli (not whatever comes first on PATH) with settings of the test's own: path-style
// addressing, the given keys, nothing of the machine's user.
class AwsCli
{
public:
    // Runs the installer named by NORVIK_S3_CLIENT_INSTALLER once: a fresh machine has no
    // client, and the installer's failure is the test's.
    static bool install()
    {
        static const bool installed =
            QProcess::execute(QStringLiteral("/bin/bash"),
                              {QString::fromLocal8Bit(qgetenv("NORVIK_S3_CLIENT_INSTALLER"))}) == 0;
        return installed;
    }

    AwsCli(const QString& endpoint, const QString& accessKey, const QString& secretKey,
           const QString& caFile = QString())
        : m_endpoint(endpoint)
        , m_environment(QProcessEnvironment::systemEnvironment())
    {
        QFile config(scratch.filePath("aws-config"));
        if (config.open(QIODevice::WriteOnly))
            config.write("[default]\nregion = us-east-1\ns3 =\n    addressing_style = path\n");
        for (const auto& [name, value] :
             QList<std::pair<QString, QString>>{{"AWS_ACCESS_KEY_ID", accessKey},
                                                {"AWS_SECRET_ACCESS_KEY", secretKey},
                                                {"AWS_CONFIG_FILE", config.fileName()},
                                                {"AWS_SHARED_CREDENTIALS_FILE", scratch.filePath("none")},
                                                {"AWS_EC2_METADATA_DISABLED", "true"},
                                                {"AWS_PAGER", QString()},
                                                {"AWS_CA_BUNDLE", caFile}})
            m_environment.insert(name, value);
        if (caFile.isEmpty())
            m_environment.remove(QStringLiteral("AWS_CA_BUNDLE"));
        m_environment.remove(QStringLiteral("AWS_PROFILE"));
    }

    AwsRun run(const QStringList& arguments) const
    {
        QProcess process;
        process.setProcessEnvironment(m_environment);
        process.start(QStringLiteral("/usr/bin/aws"),
                      QStringList{"--endpoint-url", m_endpoint, "--output", "json"} + arguments);
        const bool finished = process.waitForFinished(180000);
        return {finished && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                process.readAllStandardOutput(),
                process.readAllStandardError() + process.errorString().toUtf8()};
    }

    QTemporaryDir scratch;

private:
    QString m_endpoint;
    QProcessEnvironment m_environment;
};

} // namespace NorvikTest

#include "FileSystemStorageFixture.h"

#include "info/Config.h"

#include "TestSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <sys/mount.h>

using Norvik::Cloud::Api::CloudFileSystem;
namespace Config = Norvik::Cloud::Config;

void FileSystemStorageTest::SetUp()
{
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    m_base = NorvikTest::scratchDir(QString::fromLatin1(test->test_suite_name()) + QLatin1Char('.') +
                                    QString::fromLatin1(test->name()));
    m_root = m_base + QStringLiteral("/root");
    m_outside = m_base + QStringLiteral("/outside");
    ASSERT_TRUE(QDir().mkpath(m_root));
    ASSERT_TRUE(QDir().mkpath(m_outside + QStringLiteral("/etc")));
    QFile sentinel(m_outside + QStringLiteral("/etc/passwd"));
    ASSERT_TRUE(sentinel.open(QIODevice::WriteOnly));
    sentinel.write("root:x:0:0\n");
    sentinel.close();
    ASSERT_TRUE(m_storage.setConfig(config(m_root)));
}

void FileSystemStorageTest::TearDown()
{
    for (auto it = m_mounts.crbegin(); it != m_mounts.crend(); ++it)
        ::umount2(QFile::encodeName(*it).constData(), MNT_DETACH);
}

QMap<QString, QVariant> FileSystemStorageTest::config(const QString& rootPath) const
{
    return {{Config::Id, QUuid::createUuid()}, {Config::FileSystem::Path, rootPath}};
}

QMap<QString, QByteArray> FileSystemStorageTest::snapshot(const QString& folder)
{
    QMap<QString, QByteArray> entries;
    QDirIterator it(folder, QDir::NoDotAndDotDot | QDir::Hidden | QDir::System | QDir::AllEntries,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString relative = QDir(folder).relativeFilePath(path);
        if (it.fileInfo().isDir()) {
            entries.insert(relative + QLatin1Char('/'), QByteArray());
        } else {
            QFile file(path);
            file.open(QIODevice::ReadOnly);
            entries.insert(relative, file.readAll());
        }
    }
    return entries;
}

void FileSystemStorageTest::writeFile(const QString& relativePath, const QByteArray& data) const
{
    const QString path = m_root + QLatin1Char('/') + relativePath;
    ASSERT_TRUE(QDir().mkpath(QFileInfo(path).absolutePath()));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    ASSERT_EQ(file.write(data), data.size());
}

QByteArray FileSystemStorageTest::readFile(const QString& relativePath) const
{
    QFile file(m_root + QLatin1Char('/') + relativePath);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    return file.readAll();
}

bool FileSystemStorageTest::existsBelowRoot(const QString& relativePath) const
{
    return QFileInfo::exists(m_root + QLatin1Char('/') + relativePath);
}

bool FileSystemStorageTest::mountTmpfs(const QString& folder, const QString& size)
{
    if (!QDir().mkpath(folder))
        return false;
    const QByteArray options = "size=" + size.toLatin1();
    if (::mount("tmpfs", QFile::encodeName(folder).constData(), "tmpfs", 0, options.constData()) != 0)
        return false;
    m_mounts << folder;
    return true;
}

bool FileSystemStorageTest::remountReadOnly(const QString& folder)
{
    return ::mount(nullptr, QFile::encodeName(folder).constData(), nullptr, MS_REMOUNT | MS_RDONLY,
                   nullptr) == 0;
}

#include <NorvikCore/FileInfo.h>
#include <NorvikCore/Preallocate.h>
#include <NorvikCore/StreamCopy.h>
#include <NorvikCore/StringFilters.h>
#include <NorvikStreams/SourceFileException.h>

#include "TestSupport.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Norvik::Utility::preallocateFile;
using Norvik::Utility::StreamCopy;

TEST(Preallocate, ClaimsTheSpaceOfAnOpenFile)
{
    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    ASSERT_TRUE(preallocateFile(file.handle(), 3 * 1024 * 1024 + 7));
    struct stat st {};
    ASSERT_EQ(::fstat(file.handle(), &st), 0);
    EXPECT_EQ(st.st_size, 3 * 1024 * 1024 + 7);
    EXPECT_GE(static_cast<long long>(st.st_blocks) * 512, 3 * 1024 * 1024);
    EXPECT_TRUE(preallocateFile(file.handle(), 0));
}

TEST(Preallocate, FailsWithErrnoOnImpossibleRequests)
{
    errno = 0;
    EXPECT_FALSE(preallocateFile(-1, 10));
    EXPECT_EQ(errno, EBADF);

    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    errno = 0;
    EXPECT_FALSE(preallocateFile(file.handle(), ULLONG_MAX));
    EXPECT_NE(errno, 0);

    errno = 0;
    // Far more than any test machine's disk: the file system must refuse it.
    EXPECT_FALSE(preallocateFile(file.handle(), 1ULL << 60));
    EXPECT_TRUE(errno == EFBIG || errno == ENOSPC) << errno;

    const int readOnly = ::open(file.fileName().toLocal8Bit().constData(), O_RDONLY);
    ASSERT_GE(readOnly, 0);
    errno = 0;
    EXPECT_FALSE(preallocateFile(readOnly, 4096));
    EXPECT_EQ(errno, EBADF);
    ::close(readOnly);
}

TEST(StreamCopy, CopiesExactlyTheCountAskedFromTheCurrentPosition)
{
    QByteArray source = NorvikTest::randomBytes(100000, 7);
    QBuffer in(&source);
    ASSERT_TRUE(in.open(QIODevice::ReadOnly));
    ASSERT_TRUE(in.seek(123));
    QByteArray target;
    QBuffer out(&target);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));

    StreamCopy copy(4096);
    EXPECT_EQ(copy.exec(out, in, 50001), 50001);
    EXPECT_EQ(target, source.mid(123, 50001));
    EXPECT_EQ(in.pos(), 123 + 50001);

    // The source ends before the count: the count copied says so.
    EXPECT_EQ(copy.exec(out, in, 1000000), 100000 - 123 - 50001);
    EXPECT_EQ(target, source.mid(123));
}

TEST(StreamCopy, RefusesUnusableDevicesWithAMessage)
{
    QByteArray data("abc");
    QBuffer closed(&data);
    QByteArray target;
    QBuffer out(&target);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    StreamCopy copy(16);
    EXPECT_EQ(copy.exec(out, closed, 3), 0);
    EXPECT_FALSE(copy.errorString().isEmpty());

    QBuffer in(&data);
    ASSERT_TRUE(in.open(QIODevice::ReadOnly));
    QBuffer readOnlyOut(&target);
    ASSERT_TRUE(readOnlyOut.open(QIODevice::ReadOnly));
    EXPECT_EQ(copy.exec(readOnlyOut, in, 3), 0);
    EXPECT_FALSE(copy.errorString().isEmpty());

    EXPECT_EQ(copy.exec(out, in, -5), 0);
    EXPECT_TRUE(target.isEmpty());
}

// A source that throws the way the application's file readers do when a file is deleted.
class VanishingSource : public QIODevice
{
public:
    explicit VanishingSource(qint64 goodBytes)
        : m_goodBytes(goodBytes)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        if (m_goodBytes <= 0)
            throw Norvik::Stream::Exception::SourceFileDeleted(QStringLiteral("/data/file.bin"));
        const qint64 n = std::min(maxSize, m_goodBytes);
        memset(data, 'x', static_cast<size_t>(n));
        m_goodBytes -= n;
        return n;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    qint64 m_goodBytes;
};

TEST(StreamCopy, PassesTheSourcesExceptionsThrough)
{
    VanishingSource source(5000);
    QByteArray target;
    QBuffer out(&target);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    StreamCopy copy(1024);
    try {
        copy.exec(out, source, 10000);
        FAIL() << "the source's exception was swallowed";
    } catch (const Norvik::Stream::Exception::SourceFileDeleted& e) {
        EXPECT_EQ(e.path(), QStringLiteral("/data/file.bin"));
        EXPECT_FALSE(e.message().isEmpty());
        EXPECT_STREQ(e.what(), e.message().toUtf8().constData());
    }
    EXPECT_EQ(target.size(), 5000);
}

TEST(SourceFileExceptions, AreCaughtThroughTheirBases)
{
    auto thrower = [](int which) {
        if (which == 0)
            throw Norvik::Stream::Exception::SourceFileModified(QStringLiteral("/a"));
        throw Norvik::Stream::Exception::UnsupportedOperation(QStringLiteral("seek on a pipe"));
    };
    EXPECT_THROW(thrower(0), Norvik::Stream::Exception::SourceFileBase);
    EXPECT_THROW(thrower(1), Norvik::Exception::Base);
    try {
        thrower(1);
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "seek on a pipe");
    }
}

TEST(FileInfo, ReadsSizeModeAndSuffix)
{
    const QString dir = NorvikTest::scratchDir(QStringLiteral("fileinfo"));
    const QString path = dir + QStringLiteral("/report.final.HTML");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("hello");
    file.close();
    ASSERT_EQ(::chmod(path.toLocal8Bit().constData(), 0640), 0);

    const Norvik::Core::FS::FileInfo info(path);
    EXPECT_TRUE(info.exists());
    EXPECT_TRUE(info.isFile());
    EXPECT_FALSE(info.isDir());
    EXPECT_EQ(info.size(), 5);
    EXPECT_EQ(info.mode(), 0640u);
    EXPECT_EQ(info.suffix(), QStringLiteral("HTML"));
    EXPECT_EQ(info.fileName(), QStringLiteral("report.final.HTML"));
    EXPECT_EQ(info.permissions(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup);

    const Norvik::Core::FS::FileInfo missing(dir + QStringLiteral("/nothing"));
    EXPECT_FALSE(missing.exists());
    EXPECT_EQ(missing.size(), 0);
    EXPECT_TRUE(Norvik::Core::FS::FileInfo(dir).isDir());
    EXPECT_TRUE(Norvik::Core::FS::FileInfo(dir + QStringLiteral("/noext")).suffix().isEmpty());
}

TEST(StringFilters, EscapesQuotesAndBackslashes)
{
    using Norvik::Utility::StringFilters;
    EXPECT_EQ(StringFilters::escape(QStringLiteral(R"(a "b" \c)")), QStringLiteral(R"(a \"b\" \\c)"));
    EXPECT_EQ(StringFilters::escape(QString()), QString());
    EXPECT_EQ(StringFilters::safeFileName(QStringLiteral("a/b:c*d\n")), QStringLiteral("a_b_c_d_"));
}

} // namespace

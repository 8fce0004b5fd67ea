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
    struct stat st
    {
    };
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

TEST(StringFilters, EscapesQuotesAndBackslashes)
{
    using Norvik::Utility::StringFilters;
    EXPECT_EQ(StringFilters::escape(QStringLiteral(R"(a "b" \c)")), QStringLiteral(R"(a \"b\" \\c)"));
    EXPECT_EQ(StringFilters::escape(QString()), QString());
    EXPECT_EQ(StringFilters::safeFileName(QStringLiteral("a/b:c*d\n")), QStringLiteral("a_b_c_d_"));
}

} // namespace

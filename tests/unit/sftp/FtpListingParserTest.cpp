// Long listing lines as file servers send them, read into entries.

#include "storage/FSFtpInfo.h"

#include <gtest/gtest.h>

using Norvik::Cloud::Api::FSFtpInfo;

namespace {

const int ThisYear = QDate::currentDate().year();

struct Line
{
    const char* text;
    bool folder, link;
    quint64 size;
    const char* name;
    QDateTime modified; // null: not checked
};

QDateTime utc(int year, int month, int day, int hour = 0, int minute = 0)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute), Qt::UTC);
}

class ListingLine : public testing::TestWithParam<Line>
{
};

TEST_P(ListingLine, ParsesAsTheServerMeantIt)
{
    const Line& line = GetParam();
    const FSFtpInfo info(QStringLiteral("/base/dir"), QString::fromUtf8(line.text));
    ASSERT_TRUE(info.isValid()) << line.text;
    EXPECT_EQ(info.isFolder(), line.folder);
    EXPECT_EQ(info.isLink(), line.link);
    EXPECT_EQ(info.size(), line.size);
    EXPECT_EQ(info.name(), QString::fromUtf8(line.name));
    if (line.modified.isValid()) {
        EXPECT_EQ(info.lastModified(), line.modified);
    }
}

// vsftpd (numeric owners, year only for old files), OpenSSH's internal-sftp, ProFTPD, busybox,
// pure-ftpd and a NAS, as recorded.
INSTANTIATE_TEST_SUITE_P(
    Servers, ListingLine,
    testing::Values(
        Line{"-rw-r--r--    1 1001     1001           12 Nov 23 21:00 notes.txt", false, false, 12,
             "notes.txt", utc(ThisYear, 11, 23, 21, 0)},
        Line{"drwxr-xr-x    2 1001     1001         4096 Jan 02  2019 old folder", true, false, 4096,
             "old folder", utc(2019, 1, 2)},
        Line{"-rw-r--r--    1 cloudtest cloudtest  5368709121 Feb 29  2020 big.iso", false, false,
             5368709121ULL, "big.iso", utc(2020, 2, 29)},
        Line{"lrwxrwxrwx    1 cloudtest cloudtest        11 Mar  7 08:05 current -> release", false, true, 11,
             "current -> release", utc(ThisYear, 3, 7, 8, 5)},
        Line{"drwxr-xr-x   2 ftp      ftp          4096 Mar  7  2021 pub", true, false, 4096, "pub",
             utc(2021, 3, 7)},
        Line{"-rw-r--r--    1 root     root            0 Jan  1 00:00  two  blanks ", false, false, 0,
             " two  blanks ", utc(ThisYear, 1, 1)},
        Line{"-rw-r--r--    1 u g  1,5k Jan  2 10:30 a b.txt", false, false, 1500, "a b.txt",
             utc(ThisYear, 1, 2, 10, 30)},
        Line{"-rw-r--r-- 1 u g 2.5G Dec 31 1999 disk.img", false, false, 2500000000ULL, "disk.img",
             utc(1999, 12, 31)},
        Line{"-rw-------    1 u g 18446744073709551615 Jul  4  2030 full", false, false,
             18446744073709551615ULL, "full", utc(2030, 7, 4)},
        Line{
            "-rw-r--r--    1 u g 7 Apr  1 12:00 файл #1 100%.txt", false, false, 7, "файл #1 100%.txt", {}}));

TEST(ListingLine, WhatIsNoEntryIsDropped)
{
    for (const char* text :
         {"drwxr-xr-x    5 u g 4096 Nov 23 21:00 .", "drwxr-xr-x    5 u g 4096 Nov 23 21:00 ..", "total 12",
          "rw-r--r--    1 u g 12 Nov 23 21:00 x", "-rw-r--r--    1 u g twelve Nov 23 21:00 x",
          "-rw-r--r--    1 u g -5 Nov 23 21:00 x", "01-02-20  10:30AM       <DIR>          folder",
          "-rw-r--r--    1 u g 12 Nov 23 21:00", "   "}) {
        const FSFtpInfo info(QStringLiteral("/base/dir"), QString::fromUtf8(text));
        EXPECT_FALSE(info.isValid()) << text;
        EXPECT_TRUE(info.path().isEmpty()) << text;
    }
}

TEST(ListingLine, EveryLetterButReadAndWriteCountsAsExecute)
{
    using P = QFile::Permission;
    const FSFtpInfo info(QStringLiteral("/"), QStringLiteral("-rw-r----x 1 u g 1 Jan 2 10:30 f"));
    EXPECT_EQ(info.permissions(), QFile::Permissions(P::ReadOwner | P::WriteOwner | P::ExeOwner |
                                                     P::ReadGroup | P::ExeGroup | P::ExeOther));
}

} // namespace

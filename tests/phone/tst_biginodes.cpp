// Files whose inode numbers are above 2^32, as large or stacked file systems have them: a 32-bit
// processor has to count further than its words.
// SPDX-License-Identifier: MIT
#include "support/literal.h"
#include "support/phone.h"
#include "support/programs.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace {

const QString configuration = QStringLiteral("/data/QVXApplication/LoggerModule/syslog");
const QString leftover = configuration + QStringLiteral("/sip/.new.7");
const QString log = QStringLiteral("/var/log/qvxsipua.log");

bool succeeds(const QStringList &command)
{
    return runProgram(command).status == 0;
}

/// Lays an overlay file system over @p directory, whose own files then have numbers with the
/// highest bit set (the kernel's overlayfs.rst, "xino"), until the phone ends.
/// @return whether the kernel can do that, and did
bool lift(const QString &directory)
{
    const QString upper = "/run/upper-"_s + QDir(directory).dirName();
    return succeeds({"mkdir"_s, upper})
        && succeeds({"mount"_s, "-t"_s, "tmpfs"_s, "upper"_s, upper})
        && succeeds({"mkdir"_s, upper + "/files"_s, upper + "/work"_s})
        && succeeds(
               {"mount"_s, "-t"_s, "overlay"_s, "-o"_s,
                QStringLiteral("xino=on,userxattr,lowerdir=%1,upperdir=%2/files,workdir=%2/work")
                    .arg(directory, upper),
                "lifted"_s, directory});
}

bool isAbove32Bits(const QString &path)
{
    const Outcome number = runProgram({"stat"_s, "-c"_s, "%i"_s, path});
    return number.output.trimmed().toULongLong() >> 32 != 0;
}

} // namespace

class tst_BigInodes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void configurationIsChanged();
    void logIsRead();
};

void tst_BigInodes::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    Phone::resetConfiguration();
    Phone::stopBootedService();
    Phone::write(leftover, "of a process that was killed");
    Phone::write(log, "one\ntwo\n");
    if (!lift(configuration) || !lift("/var/log"_s) || !isAbove32Bits(leftover)) {
        QSKIP("the kernel lays no overlay file system with large inode numbers here");
    }
}

void tst_BigInodes::configurationIsChanged()
{
    const Phone::Service service;
    QVERIFY(!QFile::exists(leftover));
    QCOMPARE(Phone::text("level"_s, {"qvxsipua"_s, "debug"_s}),
             "Level debug for facility : qvxsipua OK"_s);
    QVERIFY(Phone::read(Phone::facilityFile("qvxsipua"_s)).startsWith("7\n"));
    QVERIFY(Phone::syslogAccepts(Phone::liveConfig));
}

void tst_BigInodes::logIsRead()
{
    const Phone::Service service;
    QVERIFY(isAbove32Bits(log));
    const Outcome newest = runProgram({"loggerctl"_s, "log"_s, "qvxsipua"_s, "-n"_s, "1"_s});
    QCOMPARE(newest.output, QByteArray("two\n"));
    QCOMPARE(newest.errors, QByteArray());
    QCOMPARE(newest.status, 0);
}

QTEST_GUILESS_MAIN(tst_BigInodes)
#include "tst_biginodes.moc"

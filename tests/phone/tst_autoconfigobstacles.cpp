// The set-up script of the phone where its files are none, or where a run of it was cut off.
// SPDX-License-Identifier: MIT
#include "support/cutoff.h"
#include "support/setupfiles.h"

#include <sys/stat.h>
#include <unistd.h>

using namespace SetUpFiles;

namespace {

const QByteArray missing = "<missing>";
const QString target = "/tmp/target"_s;
const QString targets = "/tmp/targets"_s;

/// Where links lead to, by the name of their kind.
const QMap<QString, QByteArray> links {{"link"_s, "/tmp/target"},
                                       {"relative link"_s, "../../../../../../../../tmp/target"},
                                       {"dangling link"_s, "/tmp/targets/nothing"},
                                       {"link to a directory"_s, "/tmp/targets"},
                                       {"link to a fifo"_s, "/tmp/targets/fifo"}};

void makeNode(const QString &path, mode_t kind)
{
    if (mknod(QFile::encodeName(path).constData(), kind | 0644, 0) != 0) {
        qFatal("cannot make %s", qPrintable(path));
    }
}

void makeLink(const QString &path, const QByteArray &destination)
{
    if (symlink(destination.constData(), QFile::encodeName(path).constData()) != 0) {
        qFatal("cannot make %s", qPrintable(path));
    }
}

/// Brings every file into its state.
void put(const States &states)
{
    for (auto state = states.cbegin(); state != states.cend(); ++state) {
        if (state.value() == missing) {
            QFile::remove(state.key());
        } else {
            Phone::write(state.key(), state.value());
        }
    }
}

} // namespace

class tst_AutoConfigObstacles : public SetUpFilesTest
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void notARegularFile_data();
    void notARegularFile();
    void everythingIsNoRegularFile();
    void directoriesAreKeptSideBySide();
    void killedAtAnyMoment_data();
    void killedAtAnyMoment();
    void staleFilesAreCleaned();
};

void tst_AutoConfigObstacles::cleanup()
{
    SetUpFilesTest::cleanup();
    Faults::removeAll(target);
    Faults::removeAll(targets);
}

void tst_AutoConfigObstacles::notARegularFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("kind");
    const QStringList kinds
        = QStringList {"fifo"_s, "socket"_s, "empty directory"_s, "directory"_s, "link to itself"_s}
        + links.keys();
    const QMap<QString, QString> places {
        {"live"_s, Phone::liveConfig}, {"backup"_s, Phone::backup}, {"facility"_s, someFile}};
    for (auto place = places.cbegin(); place != places.cend(); ++place) {
        for (const QString &kind : kinds) {
            QTest::addRow("%s is %s", qPrintable(place.key()), qPrintable(kind))
                << place.value() << kind;
        }
    }
}

void tst_AutoConfigObstacles::notARegularFile()
{
    QFETCH(QString, path);
    QFETCH(QString, kind);
    const QByteArray good = Phone::read(path);
    // The link leads to something that would do, so only the link itself can be what is refused.
    Phone::write(target, good);
    const QByteArray targetBefore = identity(target);
    Faults::makeDirectory(targets);
    makeNode(targets + "/fifo"_s, S_IFIFO);
    QVERIFY(QFile::remove(path));
    if (kind == "fifo"_s) {
        makeNode(path, S_IFIFO);
    } else if (kind == "socket"_s) {
        makeNode(path, S_IFSOCK);
    } else if (kind == "empty directory"_s) {
        QVERIFY(QDir().mkdir(path));
    } else if (kind == "directory"_s) {
        Faults::makeDirectory(path);
    } else {
        makeLink(path, links.value(kind, QFile::encodeName(path)));
    }
    QVERIFY(!isRegular(path));

    const Outcome outcome = runScript();
    QCOMPARE(outcome.status, 0);
    QCOMPARE(outcome.errors, QByteArray());
    QVERIFY(isRegular(path));
    QCOMPARE(Phone::read(path), good);
    QCOMPARE(identity(target), targetBefore);
    QCOMPARE(entriesOf(targets), QStringList({"fifo"_s, "inside"_s}));
    QCOMPARE(Phone::read(targets + "/inside"_s), QByteArray("inside\n"));
    QStringList expected = goodTree();
    if (kind == "directory"_s) {
        QCOMPARE(Phone::read(path + ".bad/inside"_s), QByteArray("inside\n"));
        expected.append(path + ".bad"_s);
        expected.sort();
    }
    QCOMPARE(tree(), expected);
}

void tst_AutoConfigObstacles::everythingIsNoRegularFile()
{
    for (const QString &file : allFiles()) {
        QVERIFY(QFile::remove(file));
        makeNode(file, S_IFIFO);
    }
    QCOMPARE(runScript().status, 0);
    for (const QString &file : allFiles()) {
        QVERIFY2(isRegular(file), qPrintable(file));
    }
    QCOMPARE(notGood(), QStringList());
}

void tst_AutoConfigObstacles::directoriesAreKeptSideBySide()
{
    for (const QString &file : allFiles()) {
        for (const char *content : {"first", "second", "third"}) {
            Faults::makeDirectory(file);
            Phone::write(file + "/inside"_s, content);
            QCOMPARE(runScript().status, 0);
            QVERIFY(isRegular(file));
        }
        QCOMPARE(Phone::read(file + ".bad/inside"_s), QByteArray("first"));
        QCOMPARE(Phone::read(file + ".bad.1/inside"_s), QByteArray("second"));
        QCOMPARE(Phone::read(file + ".bad.2/inside"_s), QByteArray("third"));
    }
}

void tst_AutoConfigObstacles::killedAtAnyMoment_data()
{
    QTest::addColumn<bool>("everything");
    QTest::newRow("everything is half written") << true;
    QTest::newRow("live file is missing, a facility file is broken") << false;
}

void tst_AutoConfigObstacles::killedAtAnyMoment()
{
    QFETCH(bool, everything);
    const States good = goodStates(m_generated);
    States damaged = good;
    if (everything) {
        for (QByteArray &content : damaged) {
            content.truncate(content.size() / 2);
        }
    } else {
        damaged[Phone::liveConfig] = missing;
        damaged[someFile] = "not valid\n";
    }
    CutOff::Run run;
    for (int step = 0; step == 0 || run.cut; ++step) {
        put(damaged);
        run = CutOff::run({Phone::setUpScript, "start"_s}, step);
        if (run.steps == 0 && !run.cut && run.status != 0) {
            QSKIP("no process may trace another one here");
        }
        for (auto state = damaged.cbegin(); state != damaged.cend(); ++state) {
            const QByteArray now = Faults::state(state.key());
            QVERIFY2(now == state.value() || now == good.value(state.key()),
                     qPrintable(state.key() + QLatin1Char('\n') + QString::fromUtf8(now)));
        }
        if (run.cut) {
            QCOMPARE(runScript().status, 0);
        }
        QCOMPARE(notGood(), QStringList());
    }
    QCOMPARE(run.status, 0);
    // Each of the two files comes from a file of its own, which is written, synced and moved.
    QVERIFY2(run.steps >= 10, qPrintable(QString::number(run.steps)));
}

void tst_AutoConfigObstacles::staleFilesAreCleaned()
{
    const QString stale = directory + ".autoConfigSyslog."_s;
    // The number of this very process: it lives, and is no run of the script.
    const QString own = QString::number(getpid());
    for (const QString &name : {own, "99999999"_s, QString(), "text"_s}) {
        QVERIFY(QDir().mkpath(stale + name + "/facility"_s));
        Phone::write(stale + name + "/facility/sipmmi.conf"_s, "half");
    }
    makeNode(stale + "1x"_s, S_IFIFO);
    Phone::write(target, "untouched\n");
    makeLink(stale + "2x"_s, QFile::encodeName(target));
    makeLink(stale + "3x"_s, "/nowhere");

    QCOMPARE(runScript().status, 0);
    QCOMPARE(tree(), goodTree());
    QCOMPARE(Phone::read(target), QByteArray("untouched\n"));
}

QTEST_GUILESS_MAIN(tst_AutoConfigObstacles)
#include "tst_autoconfigobstacles.moc"

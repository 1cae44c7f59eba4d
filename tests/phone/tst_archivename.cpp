// The archive's fixed name in a directory that anybody may write: whatever a neighbour puts there,
// nothing of it is followed, waited for or written to.
// SPDX-License-Identifier: MIT
#include "support/faults.h"
#include "support/phone.h"
#include "support/users.h"

#include <QDBusArgument>
#include <QDir>
#include <QProcess>
#include <QTest>

#include <sys/stat.h>

namespace {

const QString directory = QStringLiteral("/var/volatile/tmp");
const QString archive = directory + QStringLiteral("/all_logs.tar.gz");
const QString published = QStringLiteral("/www/pages/all_logs.tar.gz");
const QString record = QStringLiteral("/run/phone/archive.record");
const QString statusFile = QStringLiteral("/run/phone/archive.status");
const QString victim = QStringLiteral("/run/phone/victim");
const QString absent = QStringLiteral("/tmp/absent");

QString generate()
{
    const QDBusMessage reply = Phone::call(QStringLiteral("generateLogsForWeb"));
    return qdbus_cast<QVariantMap>(reply.arguments().value(0))
        .value(QStringLiteral("msg"))
        .toString();
}

const QString success = QStringLiteral("Generate logs successfully");
const QString failure = QStringLiteral("Error on exit");

/// A shell command line as a neighbour runs it; "$0" is the archive's name.
QStringList asNeighbour(const QString &line)
{
    const QStringList command {QStringLiteral("sh"), QStringLiteral("-c"), line, archive};
    return Users::exist() ? Users::asVisitor(command) : command;
}

bool run(QStringList command)
{
    const QString program = command.takeFirst();
    return QProcess::execute(program, command) == 0;
}

/// Owner, permission bits and kind of what stands under the archive's name.
QByteArray archiveStatus()
{
    struct stat status = {};
    if (lstat(QFile::encodeName(archive).constData(), &status) != 0) {
        return "missing";
    }
    return QByteArray::number(status.st_uid) + ' ' + QByteArray::number(status.st_mode, 8);
}

/// What else has the archive's name with something behind it.
QStringList setAside()
{
    return QDir(directory).entryList({QStringLiteral("all_logs.tar.gz.*")},
                                     QDir::AllEntries | QDir::Hidden | QDir::System);
}

bool isWholeArchive()
{
    return run({QStringLiteral("sh"), QStringLiteral("-c"),
                QStringLiteral("tar -tzf \"$0\" >/dev/null"), archive});
}

} // namespace

class tst_ArchiveName : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void plantedOneGivesWay_data();
    void plantedOneGivesWay();
    void quickNeighbourLoses();
    void nameThatCannotBeHadIsAnError();
    void nobodyElseReadsItBeforeItIsDone_data();
    void nobodyElseReadsItBeforeItIsDone();
};

void tst_ArchiveName::initTestCase()
{
    QVERIFY2(Phone::isBox(), "runs in the phone in a box only");
    QCOMPARE(Faults::mode(directory), 01777);
}

void tst_ArchiveName::init()
{
    Faults::removeAll(archive);
    Faults::removeAll(published);
    Faults::removeAll(record);
    Faults::removeAll(absent);
    Phone::write(victim, "kept\n");
}

void tst_ArchiveName::cleanup()
{
    const QStringList names = setAside();
    for (const QString &name : names) {
        Faults::removeAll(directory + QLatin1Char('/') + name);
    }
    init();
}

void tst_ArchiveName::plantedOneGivesWay_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<bool>("isSetAside");
    const auto row = [](const char *name, const char *command, bool isSetAside = false) {
        QTest::newRow(name) << QString::fromLatin1(command) << isSetAside;
    };
    row("nothing", "true");
    row("link to a file", "ln -s /run/phone/victim \"$0\"");
    row("link to what is not there", "ln -s /tmp/absent \"$0\"");
    row("link to itself", "ln -s \"$0\" \"$0\"");
    row("link to a directory", "ln -s /tmp \"$0\"");
    row("FIFO", "mkfifo -m 666 \"$0\"");
    row("file", "echo planted >\"$0\" && chmod 666 \"$0\"");
    row("empty directory", "mkdir -m 777 \"$0\"");
    row("directory", "mkdir -m 777 \"$0\" && echo kept >\"$0/inside\"", true);
    row("directory with a link", "mkdir \"$0\" && ln -s /run/phone/victim \"$0/inside\"", true);
}

void tst_ArchiveName::plantedOneGivesWay()
{
    QFETCH(QString, command);
    QFETCH(bool, isSetAside);
    QVERIFY(run(asNeighbour(command)));
    QCOMPARE(generate(), success);
    QCOMPARE(archiveStatus(), QByteArray("0 100644"));
    QVERIFY(isWholeArchive());
    QCOMPARE(Phone::read(victim), QByteArray("kept\n"));
    QCOMPARE(Faults::state(absent), QByteArray("<missing>"));

    const QStringList aside = setAside();
    QCOMPARE(aside.size(), isSetAside ? 1 : 0);
    for (const QString &name : aside) {
        QCOMPARE(Phone::read(directory + QLatin1Char('/') + name + QStringLiteral("/inside")),
                 QByteArray("kept\n"));
    }
}

void tst_ArchiveName::quickNeighbourLoses()
{
    QProcess neighbour;
    QStringList command
        = asNeighbour(QStringLiteral("while :; do ln -s /run/phone/victim \"$0\"; done 2>&-"));
    const QString program = command.takeFirst();
    neighbour.start(program, command);
    QTRY_VERIFY(QFileInfo(archive).isSymLink());
    for (int round = 0; round < 20; ++round) {
        const QString answer = generate();
        if (answer == success) {
            QCOMPARE(archiveStatus(), QByteArray("0 100644"));
        } else {
            QCOMPARE(answer, failure); // it was quicker each time
        }
        QCOMPARE(Phone::read(victim), QByteArray("kept\n"));
        Faults::removeAll(archive);
    }
    neighbour.kill();
    QVERIFY(neighbour.waitForFinished());
}

void tst_ArchiveName::nameThatCannotBeHadIsAnError()
{
    // Nobody can take away what something is mounted on.
    Faults::makeDirectory(archive);
    if (mount("neighbour", QFile::encodeName(archive).constData(), "tmpfs", 0, nullptr) != 0) {
        QSKIP("the kernel lets nobody mount here");
    }
    const QString answer = generate();
    const QByteArray state = Faults::state(archive);
    umount2(QFile::encodeName(archive).constData(), MNT_DETACH);
    QCOMPARE(answer, failure);
    QCOMPARE(state, QByteArray("<directory>"));
    QCOMPARE(Faults::state(published), QByteArray("<missing>"));
}

void tst_ArchiveName::nobodyElseReadsItBeforeItIsDone_data()
{
    QTest::addColumn<QByteArray>("mask");
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("mode");
    QTest::newRow("as the unit has it")
        << QByteArray("022") << QByteArray("0") << success << QByteArray("644");
    QTest::newRow("for a group") << QByteArray("027") << QByteArray("0") << success
                                 << QByteArray("640");
    QTest::newRow("for nobody") << QByteArray("077") << QByteArray("0") << success
                                << QByteArray("600");
    QTest::newRow("tar fails") << QByteArray("022") << QByteArray("1") << failure
                               << QByteArray("644");
}

void tst_ArchiveName::nobodyElseReadsItBeforeItIsDone()
{
    QFETCH(QByteArray, mask);
    QFETCH(QByteArray, status);
    QFETCH(QString, answer);
    QFETCH(QByteArray, mode);
    Phone::write(statusFile, status);
    const QString program = QStringLiteral("/run/phone/masked");
    Phone::write(program,
                 "#!/bin/sh\numask " + mask + "\nexec " + Phone::serviceProgram.toUtf8() + '\n');
    Faults::setMode(program, 0755);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PATH"),
                       Faults::fake(QStringLiteral("archive-looking")) + QLatin1Char(':')
                           + environment.value(QStringLiteral("PATH")));
    const Phone::Service service(environment, true, program);
    QCOMPARE(generate(), answer);
    QCOMPARE(Phone::read(record), QByteArray("0 600 regular empty file\n"));
    QCOMPARE(archiveStatus(), "0 100" + mode);
}

QTEST_GUILESS_MAIN(tst_ArchiveName)
#include "tst_archivename.moc"

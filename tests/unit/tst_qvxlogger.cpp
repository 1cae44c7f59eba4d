// The platform's logger: names, the level configured for each of them, and where lines go.
// SPDX-License-Identifier: MIT
#include "support/logcapture.h"

#include <QVX/qvxlogger.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace {

const QString audio = QStringLiteral("qvxaudio");
const QString phone = QStringLiteral("qvxsipua");

int levelOf(const QString &name)
{
    return logger(name).getConfiguredLevel();
}

} // namespace

class TestQVXLogger : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void nameIsTheIdentifier_data();
    void nameIsTheIdentifier();
    void emptyNameStandsForTheApplication();
    void levelIsTheFirstLine_data();
    void levelIsTheFirstLine();
    void levelWithoutAFile();
    void levelOfOtherEntries();
    void levelOfTheApplication();
    void nameReadsNoFileElsewhere_data();
    void nameReadsNoFileElsewhere();
    void fileIsReadAtFirstUse();
    void incompleteFileIsReadAgain();
    void announcedLevelOutlivesAnIncompleteFile();
    void levelIsSetForOneName();
    void levelIsSetForAllNames();
    void levelThatDoesNotExistIsNotSet();
    void levelOfANameNotUsedYetComesFromItsFile();
    void settingALevelTouchesNoFile();
    void manyNames();
    void sinkGetsWhatIsWritten();
    void linesAreWrittenWhateverTheLevel();
    void laterSinkReplacesTheFirst();
    void handlesAreCopied();
    void severalThreads();

private:
    void configure(const QString &name, const QByteArray &content);

    QString m_realPath;
    QScopedPointer<LogCapture> m_log;
    QScopedPointer<QTemporaryDir> m_directory;
};

void TestQVXLogger::initTestCase()
{
    m_realPath = QVXLogger::facilityConfigFilesPath;
}

void TestQVXLogger::cleanupTestCase()
{
    QVXLogger::facilityConfigFilesPath = m_realPath;
}

void TestQVXLogger::init()
{
    m_log.reset(new LogCapture);
    m_directory.reset(new QTemporaryDir);
    QVERIFY(m_directory->isValid());
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("facility")));
    QVXLogger::facilityConfigFilesPath = m_directory->path() + QStringLiteral("/facility/");
    QVXLogger::forgetConfiguredLevels();
}

void TestQVXLogger::cleanup()
{
    m_directory.reset();
    m_log.reset();
}

void TestQVXLogger::configure(const QString &name, const QByteArray &content)
{
    QFile file(QVXLogger::facilityConfigFilesPath + name + QStringLiteral(".conf"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

void TestQVXLogger::nameIsTheIdentifier_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("name") << audio;
    QTest::newRow("blank") << QStringLiteral(" ");
    QTest::newRow("path") << QStringLiteral("../x");
    QTest::newRow("Unicode") << QString::fromUtf8("ü😀");
    QTest::newRow("every name") << QStringLiteral("all");
}

void TestQVXLogger::nameIsTheIdentifier()
{
    QFETCH(QString, name);
    QCOMPARE(logger(name).identifier(), name);
    QCOMPARE(QVXLogger(name).identifier(), name);
}

void TestQVXLogger::emptyNameStandsForTheApplication()
{
    QCOMPARE(logger(QString()).identifier(), QStringLiteral("tst_qvxlogger"));
    QCOMPARE(logger(QStringLiteral("")).identifier(), QStringLiteral("tst_qvxlogger"));
}

void TestQVXLogger::levelIsTheFirstLine_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("level");

    for (const int level : {0, 1, 2, 3, 4, 5, 6, 7}) {
        QTest::addRow("level %d", level)
            << QByteArray(QByteArray::number(level)
                          + "\n19\nfile(\"/var/log/x.log\")\nfacility signature field\n")
            << level;
    }
    QTest::newRow("one line") << QByteArray("7\n") << 7;
    QTest::newRow("no line feed") << QByteArray("7") << 7;
    QTest::newRow("carriage return") << QByteArray("7\r\n19\r\n") << 7;
    QTest::newRow("blanks") << QByteArray(" 7 \n") << 7;
    QTest::newRow("sign") << QByteArray("+7\n") << 7;
    QTest::newRow("leading zero") << QByteArray("07\n") << 7;
    QTest::newRow("second line is no number") << QByteArray("7\nfacility\n") << 7;
    QTest::newRow("empty file") << QByteArray() << 3;
    QTest::newRow("empty line") << QByteArray("\n7\n") << 3;
    QTest::newRow("level name") << QByteArray("debug\n7\n") << 3;
    QTest::newRow("text behind the number") << QByteArray("7x\n") << 3;
    QTest::newRow("two numbers") << QByteArray("7 7\n") << 3;
    QTest::newRow("fraction") << QByteArray("7.0\n") << 3;
    QTest::newRow("hexadecimal") << QByteArray("0x7\n") << 3;
    QTest::newRow("too large") << QByteArray("99999999999\n") << 3;
    QTest::newRow("very long line") << QByteArray(1000000, 'x') << 3;
}

void TestQVXLogger::levelIsTheFirstLine()
{
    QFETCH(QByteArray, content);
    configure(audio, content);
    QTEST(levelOf(audio), "level");
}

void TestQVXLogger::levelWithoutAFile()
{
    QCOMPARE(levelOf(audio), 3);
    QVXLogger::facilityConfigFilesPath = m_directory->path() + QStringLiteral("/absent/");
    QCOMPARE(levelOf(phone), 3);
    QVERIFY(!QFile::exists(m_directory->filePath(QStringLiteral("absent"))));
}

void TestQVXLogger::levelOfOtherEntries()
{
    // The second one would block a reader for ever.
    QVERIFY(QDir().mkpath(QVXLogger::facilityConfigFilesPath + audio + QStringLiteral(".conf")));
    const QString pipe = QVXLogger::facilityConfigFilesPath + phone + QStringLiteral(".conf");
    QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    QCOMPARE(levelOf(audio), 3);
    QCOMPARE(levelOf(phone), 3);
}

void TestQVXLogger::levelOfTheApplication()
{
    configure(QStringLiteral("tst_qvxlogger"), "5\n");
    QCOMPARE(levelOf(QString()), 5);
    QVXLogger::setConfiguredLevel(QStringLiteral("tst_qvxlogger"), 6);
    QCOMPARE(levelOf(QString()), 6);
    QCOMPARE(levelOf(QStringLiteral("tst_qvxlogger")), 6);
}

void TestQVXLogger::nameReadsNoFileElsewhere_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("outside") << QStringLiteral("../outside");
    QTest::newRow("below") << QStringLiteral("below/file");
    QTest::newRow("same directory, with a slash") << QStringLiteral("./qvxaudio");
    QTest::newRow("absolute") << QStringLiteral("/file");
    QTest::newRow("slash at the end") << QStringLiteral("below/");
    QTest::newRow("NUL inside") << QString(audio + QStringLiteral(".conf") + QChar(QChar::Null)
                                           + QLatin1Char('x'));
    QTest::newRow("NUL at the end") << QString(audio + QChar(QChar::Null));
    QTest::newRow("100 kB") << QString(100 * 1024, QLatin1Char('x'));
}

void TestQVXLogger::nameReadsNoFileElsewhere()
{
    QFETCH(QString, name);
    QVERIFY(QDir().mkpath(QVXLogger::facilityConfigFilesPath + QStringLiteral("below")));
    for (const QString &file : {QStringLiteral("../outside"), QStringLiteral("below/file"), audio,
                                QStringLiteral("file"), QStringLiteral("below/")}) {
        configure(file, "7\n");
    }
    QCOMPARE(levelOf(audio), 7);
    QCOMPARE(levelOf(name), 3);
    // Such a name is a name for all that: it can be set and written under.
    QVXLogger::setConfiguredLevel(name, 6);
    QCOMPARE(levelOf(name), 6);
    logger(name).error(QStringLiteral("text"));
    QCOMPARE(m_log->lines().size(), 1);
    QCOMPARE(m_log->lines().constFirst().identifier, name);
}

void TestQVXLogger::fileIsReadAtFirstUse()
{
    const QVXLogger log = logger(audio);
    configure(audio, "6\n19\n");
    QCOMPARE(log.getConfiguredLevel(), 6);
    configure(audio, "7\n19\n");
    QCOMPARE(log.getConfiguredLevel(), 6);
    QCOMPARE(levelOf(audio), 6);
    QVXLogger::forgetConfiguredLevels();
    QCOMPARE(log.getConfiguredLevel(), 7);
}

void TestQVXLogger::incompleteFileIsReadAgain()
{
    // A facility file is missing or half written while its level changes.
    QCOMPARE(levelOf(audio), 3);
    configure(audio, "6\n");
    QCOMPARE(levelOf(audio), 6);
    configure(audio, "7\n19\n");
    QCOMPARE(levelOf(audio), 7);
}

void TestQVXLogger::announcedLevelOutlivesAnIncompleteFile()
{
    QCOMPARE(levelOf(audio), 3);
    QVXLogger::setConfiguredLevel(audio, 5);
    QCOMPARE(levelOf(audio), 5);
    configure(audio, "3\n19\n");
    QCOMPARE(levelOf(audio), 5);
}

void TestQVXLogger::levelIsSetForOneName()
{
    configure(audio, "6\n");
    const QVXLogger log = logger(audio);
    QCOMPARE(log.getConfiguredLevel(), 6);
    QCOMPARE(levelOf(phone), 3);
    QVXLogger::setConfiguredLevel(audio, 0);
    QCOMPARE(log.getConfiguredLevel(), 0);
    QCOMPARE(levelOf(audio), 0);
    QCOMPARE(levelOf(phone), 3);
    QVXLogger::setConfiguredLevel(audio, 7);
    QCOMPARE(log.getConfiguredLevel(), 7);
    QCOMPARE(levelOf(QStringLiteral("Qvxaudio")), 3);
}

void TestQVXLogger::levelThatDoesNotExistIsNotSet()
{
    levelOf(audio);
    QVXLogger::setConfiguredLevel(audio, 5);
    QVXLogger::setConfiguredLevel(audio, -1);
    QVXLogger::setConfiguredLevel(audio, 8);
    QVXLogger::setConfiguredLevel(QStringLiteral("all"), 99);
    QCOMPARE(levelOf(audio), 5);
}

void TestQVXLogger::levelIsSetForAllNames()
{
    configure(audio, "6\n");
    QCOMPARE(levelOf(audio), 6);
    QCOMPARE(levelOf(phone), 3);
    QCOMPARE(levelOf(QString()), 3);
    QVXLogger::setConfiguredLevel(QStringLiteral("all"), 5);
    QCOMPARE(levelOf(audio), 5);
    QCOMPARE(levelOf(phone), 5);
    QCOMPARE(levelOf(QString()), 5);
    QVXLogger::setConfiguredLevel(QStringLiteral("All"), 7);
    QCOMPARE(levelOf(audio), 5);
}

void TestQVXLogger::levelOfANameNotUsedYetComesFromItsFile()
{
    configure(audio, "6\n");
    QVXLogger::setConfiguredLevel(QStringLiteral("all"), 5);
    QCOMPARE(levelOf(audio), 6);
    QCOMPARE(levelOf(phone), 3);
}

void TestQVXLogger::settingALevelTouchesNoFile()
{
    configure(audio, "6\n19\n");
    QCOMPARE(levelOf(audio), 6);
    QVXLogger::setConfiguredLevel(audio, 7);
    QVXLogger::setConfiguredLevel(phone, 7);
    QVXLogger::setConfiguredLevel(QStringLiteral("all"), 4);
    QCOMPARE(QDir(QVXLogger::facilityConfigFilesPath).entryList(QDir::Files),
             QStringList {QStringLiteral("qvxaudio.conf")});
    QFile file(QVXLogger::facilityConfigFilesPath + QStringLiteral("qvxaudio.conf"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("6\n19\n"));
}

void TestQVXLogger::manyNames()
{
    configure(audio, "6\n");
    for (int number = 0; number < 2000; ++number) {
        QCOMPARE(levelOf(QString::number(number)), 3);
    }
    QCOMPARE(levelOf(audio), 6);
}

void TestQVXLogger::sinkGetsWhatIsWritten()
{
    const QVXLogger log = logger(audio);
    log.error(QStringLiteral("an error"));
    log.warning(QStringLiteral("a warning %s %n %1"));
    log.info(QString::fromUtf8("ü😀\nsecond line"));
    log.debug(QString());
    logger(QString()).error(QStringLiteral("own"));

    const QList<LogCapture::Line> lines = m_log->lines();
    QCOMPARE(lines.size(), 5);
    const auto matches = [&](int index, const QString &identifier, QVXLogger::Priority priority,
                             const QString &text) {
        QCOMPARE(lines.at(index).identifier, identifier);
        QCOMPARE(static_cast<int>(lines.at(index).priority), static_cast<int>(priority));
        QCOMPARE(lines.at(index).text, text);
    };
    matches(0, audio, QVXLogger::Error, QStringLiteral("an error"));
    matches(1, audio, QVXLogger::Warning, QStringLiteral("a warning %s %n %1"));
    matches(2, audio, QVXLogger::Info, QString::fromUtf8("ü😀\nsecond line"));
    matches(3, audio, QVXLogger::Debug, QString());
    matches(4, QStringLiteral("tst_qvxlogger"), QVXLogger::Error, QStringLiteral("own"));
}

void TestQVXLogger::linesAreWrittenWhateverTheLevel()
{
    QCOMPARE(levelOf(audio), 3);
    QVXLogger::setConfiguredLevel(audio, 0);
    logger(audio).error(QStringLiteral("error"));
    logger(audio).warning(QStringLiteral("warning"));
    logger(audio).info(QStringLiteral("info"));
    logger(audio).debug(QStringLiteral("debug"));
    QCOMPARE(m_log->lines().size(), 4);
}

void TestQVXLogger::laterSinkReplacesTheFirst()
{
    QStringList texts;
    QVXLogger::setSink([&texts](const QString &, QVXLogger::Priority, const QString &text) {
        texts.append(text);
    });
    logger(audio).error(QStringLiteral("text"));
    m_log.reset(); // takes its sink, which is the current one, with it
    m_log.reset(new LogCapture);
    logger(audio).error(QStringLiteral("another"));
    QCOMPARE(texts, QStringList {QStringLiteral("text")});
    QCOMPARE(m_log->errors(), QStringList {QStringLiteral("another")});
}

void TestQVXLogger::handlesAreCopied()
{
    QVXLogger first = logger(audio);
    const QVXLogger copy = first;
    first = logger(phone);
    QCOMPARE(copy.identifier(), audio);
    QCOMPARE(first.identifier(), phone);
}

void TestQVXLogger::severalThreads()
{
    constexpr int threadCount = 8;
    constexpr int rounds = 500;
    configure(audio, "6\n");
    const QVXLogger shared = logger(phone);
    std::atomic_bool levelsAreSane {true};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            const QString name = QString::number(thread);
            for (int round = 0; round < rounds; ++round) {
                const QVXLogger log = logger(name);
                log.error(QString::number(round));
                shared.debug(name);
                QVXLogger::setConfiguredLevel(audio, 4 + round % 4);
                QVXLogger::setConfiguredLevel(QStringLiteral("all"), round % 8);
                const int level = logger(audio).getConfiguredLevel();
                if (level < 0 || level > 7) {
                    levelsAreSane = false;
                }
                if (round % 100 == 0) {
                    QVXLogger::forgetConfiguredLevels();
                }
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    QVERIFY(levelsAreSane);

    // Nothing is lost, and each thread's lines are in order.
    QCOMPARE(m_log->lines().size(), 2 * threadCount * rounds);
    QHash<QString, int> next;
    for (const LogCapture::Line &line : m_log->lines()) {
        if (line.identifier == phone) {
            QCOMPARE(static_cast<int>(line.priority), static_cast<int>(QVXLogger::Debug));
        } else {
            QCOMPARE(line.text, QString::number(next[line.identifier]++));
        }
    }
    QCOMPARE(next.size(), threadCount);
}

QTEST_GUILESS_MAIN(TestQVXLogger)
#include "tst_qvxlogger.moc"

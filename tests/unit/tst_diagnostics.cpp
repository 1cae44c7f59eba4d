// The guard before each line of the service's own log: at which configured level it is written, and
// that its text is put together only then.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "support/logcapture.h"

#include <QTest>

namespace {

/// A text that counts how often it is put together.
struct CountedText
{
    int &built;

    operator QString() const
    {
        ++built;
        return QStringLiteral("counted");
    }
};

using Write = void (*)(const CountedText &);

} // namespace

Q_DECLARE_METATYPE(Write)

class TestDiagnostics : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void lineIsWrittenAboveItsThreshold_data();
    void lineIsWrittenAboveItsThreshold();
    void linesGoToTheServicesOwnLog();
    void textsArePutTogether();
    void levelOfAnotherLogMakesNoDifference();

private:
    QScopedPointer<LogCapture> m_log;
};

void TestDiagnostics::init()
{
    m_log.reset(new LogCapture);
}

void TestDiagnostics::cleanup()
{
    m_log.reset();
}

void TestDiagnostics::lineIsWrittenAboveItsThreshold_data()
{
    QTest::addColumn<Write>("write");
    QTest::addColumn<int>("priority");
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("written");

    struct Kind
    {
        const char *name;
        Write write;
        QVXLogger::Priority priority;
        int threshold;
    };
    const Kind kinds[] = {{"error", &logError<CountedText>, QVXLogger::Error, 2},
                          {"warning", &logWarning<CountedText>, QVXLogger::Warning, 3},
                          {"info", &logInfo<CountedText>, QVXLogger::Info, 5},
                          {"debug", &logDebug<CountedText>, QVXLogger::Debug, 6}};
    for (const Kind &kind : kinds) {
        for (int level = 0; level <= 7; ++level) {
            QTest::addRow("%s at configured level %d", kind.name, level)
                << kind.write << static_cast<int>(kind.priority) << level
                << (level > kind.threshold);
        }
    }
}

void TestDiagnostics::lineIsWrittenAboveItsThreshold()
{
    QFETCH(Write, write);
    QFETCH(int, priority);
    QFETCH(int, level);
    QFETCH(bool, written);

    LogCapture::setLevel(level);
    int built = 0;
    write(CountedText {built});
    QCOMPARE(built, written ? 1 : 0);
    QCOMPARE(m_log->lines().size(), written ? 1 : 0);
    if (written) {
        QCOMPARE(static_cast<int>(m_log->lines().constFirst().priority), priority);
        QCOMPARE(m_log->lines().constFirst().text, QStringLiteral("counted"));
    }
}

void TestDiagnostics::linesGoToTheServicesOwnLog()
{
    logError(QStringLiteral("error"));
    logWarning(QStringLiteral("warning"));
    logInfo(QStringLiteral("info"));
    logDebug(QStringLiteral("debug"));
    const QList<LogCapture::Line> lines = m_log->lines();
    QCOMPARE(lines.size(), 4);
    for (const LogCapture::Line &line : lines) {
        QCOMPARE(line.identifier, QCoreApplication::applicationName());
    }
    QCOMPARE(m_log->texts(QVXLogger::Error), QStringList {QStringLiteral("error")});
    QCOMPARE(m_log->texts(QVXLogger::Warning), QStringList {QStringLiteral("warning")});
    QCOMPARE(m_log->texts(QVXLogger::Info), QStringList {QStringLiteral("info")});
    QCOMPARE(m_log->texts(QVXLogger::Debug), QStringList {QStringLiteral("debug")});
}

void TestDiagnostics::textsArePutTogether()
{
    const QString path = QStringLiteral("/x %1 %s %n");
    logError(QStringLiteral("file: ") + path + QStringLiteral("failed"));
    logError(path);
    logError(QString());
    logError(QString::fromUtf8("ü😀\nsecond line"));
    QCOMPARE(m_log->errors(),
             (QStringList {QStringLiteral("file: /x %1 %s %nfailed"), path, QString(),
                           QString::fromUtf8("ü😀\nsecond line")}));
}

void TestDiagnostics::levelOfAnotherLogMakesNoDifference()
{
    const QString other = QStringLiteral("qvxaudio");
    static_cast<void>(logger(other).getConfiguredLevel());
    QVXLogger::setConfiguredLevel(other, 0);
    logDebug(QStringLiteral("debug"));
    QCOMPARE(m_log->debugs(), QStringList {QStringLiteral("debug")});

    LogCapture::setLevel(0);
    QVXLogger::setConfiguredLevel(other, 7);
    logError(QStringLiteral("error"));
    QCOMPARE(m_log->errors(), QStringList());
}

QTEST_GUILESS_MAIN(TestDiagnostics)
#include "tst_diagnostics.moc"

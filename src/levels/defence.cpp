// Counts, reads and trims the defence log in flash.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "syslogconf/textfile.h"

#include <QFile>

namespace {

const QString defenceLog = QStringLiteral("/log/Defence.log");

QString joined(const QStringList &lines)
{
    QString text;
    for (const QString &line : lines) {
        text += line;
        text += QLatin1Char('\n');
    }
    return text;
}

} // namespace

QString LoggerModule::defence(int position, const QString &todo)
{
    const QString notOpened
        = QStringLiteral("[DEFENCE] impossible to open in read/write mode") + defenceLog;
    QFile file(defenceLog);
    QStringList lines;
    // A log that could not be read to its end must not be taken for a short one and cut.
    if (!openRegularFile(file, QIODevice::ReadWrite | QIODevice::Text)
        || !readLines(file, &lines)) {
        logError(QStringLiteral("[Method : Defence()] impossible to open in read/write mode")
                 + defenceLog);
        return notOpened;
    }
    file.close();

    // In 64 bits: the position may be the smallest integer there is.
    const qint64 count = lines.size();
    qint64 newest = position;
    if (todo == QLatin1String("size")) {
        return QStringLiteral("[DEFENCE] Total messages saved in flash sector:")
            + QString::number(count);
    }
    QString output;
    if (newest > count) {
        if (todo != QLatin1String("read")) {
            output = QStringLiteral("Only ") + QString::number(count)
                + QStringLiteral(" lines in file : Defence.log \n");
        }
        newest = count;
    }
    const int kept = static_cast<int>(qMin(count, count - newest));
    if (todo == QLatin1String("read")) {
        output += joined(lines.mid(kept));
        // A string on the bus ends at its first NUL, which a power cut may leave in a file.
        output.replace(QChar::Null, QChar::ReplacementCharacter);
        return output;
    }
    if (todo == QLatin1String("delete")) {
        output += joined(lines.mid(0, kept));
        file.remove();
        if (!file.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Text)
            || !writeTextAndClose(file, output)) {
            logError(QStringLiteral("[Method : Defence()] -- impossible to open in read/write mode")
                     + defenceLog);
            return notOpened;
        }
        restart(); // syslog-ng still writes to the file that was removed
        return QStringLiteral("[DEFENCE] delete ") + QString::number(newest)
            + QStringLiteral(" lines OK");
    }
    return QStringLiteral(
        "bad input parameter(s) -- use : defence --help command, for more information");
}

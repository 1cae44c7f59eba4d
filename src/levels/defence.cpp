// Counts, reads and trims the defence log in flash.
// SPDX-License-Identifier: MIT
#include "app/diagnostics.h"
#include "app/loggermodule.h"
#include "logtail.h"
#include "syslogconf/durablefile.h"
#include "syslogconf/textfile.h"

#include <QFile>

#include <algorithm>

#include <unistd.h>

namespace {

const QString defenceLog = QStringLiteral("/log/Defence.log");

/// The bus ends the connection of a program that sends a larger message than it takes, which is 32
/// MiB on a system bus (dbus-daemon(1), max_message_size).
constexpr int longestAnswer = 16 * 1024 * 1024;

/// The lines of @p file from @p start to @p end, as they are answered.
/// @return false when they could not be read
bool readLinesBetween(QFile &file, qint64 start, qint64 end, QString *text)
{
    // One byte more than fits shows whether the first line is whole.
    const qint64 from = std::max(start, end - longestAnswer - 1);
    if (!file.seek(from)) {
        return false;
    }
    QByteArray bytes = file.read(end - from);
    if (bytes.size() != end - from) {
        return false;
    }
    const int whole = startOfWholeLines(bytes, longestAnswer, from > start);
    if (whole > 0 || from > start) {
        logWarning(QStringLiteral("[DEFENCE] the lines asked for take more than ")
                   + QString::number(longestAnswer)
                   + QStringLiteral(" bytes, only the newest of them are answered"));
    }
    bytes.remove(0, whole);
    if (!bytes.isEmpty() && !bytes.endsWith('\n')) {
        bytes += '\n';
    }
    bytes.replace("\r", "");
    *text = decodeText(bytes);
    // A string on the bus ends at its first NUL, which a power cut may leave in a file.
    text->replace(QChar::Null, QChar::ReplacementCharacter);
    return true;
}

/// Takes away what @p file has behind its first @p kept of @p size bytes: whole lines, or nothing
/// but a last line feed that is missing. @return whether that has reached the storage
bool cut(QFile &file, qint64 kept, qint64 size)
{
    if (kept < size && !file.resize(kept)) {
        return false;
    }
    char last = '\n';
    if (kept > 0 && (!file.seek(kept - 1) || !file.getChar(&last))) {
        return false;
    }
    if (last != '\n' && file.size() == kept && !file.putChar('\n')) {
        return false;
    }
    return syncFile(file.handle());
}

/// Replaces the whole log, none of whose lines is kept, by @p notice.
/// @return whether that has reached the storage
bool replaceBy(const QString &notice, QFile &file)
{
    const QByteArray content = encodeText(notice);
    QString error;
    if (replaceFiles({{defenceLog, content}}, &error).first() == Replacement::Done) {
        return true;
    }
    // On a full disk the room of the log itself is the only room there is.
    return file.seek(0) && file.write(content) == content.size()
        && cut(file, content.size(), file.size());
}

} // namespace

QString LoggerModule::defence(int position, const QString &todo)
{
    const QString notOpened
        = QStringLiteral("[DEFENCE] impossible to open in read/write mode") + defenceLog;
    QFile file(defenceLog);
    // What is appended from now on is not looked at.
    qint64 size = 0;
    qint64 count = -1;
    if (openRegularFile(file, QIODevice::ReadWrite | QIODevice::Unbuffered)) {
        size = file.size();
        count = countLines(file, size);
    }
    const auto notAccessible = [&] {
        logError(QStringLiteral("[Method : Defence()] impossible to open in read/write mode")
                 + defenceLog);
        return notOpened;
    };
    // A log that could not be read to its end must not be taken for a short one and cut.
    if (count < 0) {
        return notAccessible();
    }
    if (todo == QLatin1String("size")) {
        return QStringLiteral("[DEFENCE] Total messages saved in flash sector:")
            + QString::number(count);
    }
    const qint64 newest = std::min<qint64>(position, count);
    if (todo == QLatin1String("read")) {
        const qint64 start = startOfNewestLines(file, size, newest);
        QString lines;
        if (start < 0 || !readLinesBetween(file, start, size, &lines)) {
            return notAccessible();
        }
        return lines;
    }
    if (todo == QLatin1String("delete")) {
        bool done = false;
        if (position > count) {
            done = replaceBy(QStringLiteral("Only ") + QString::number(count)
                                 + QStringLiteral(" lines in file : Defence.log \n"),
                             file);
        } else {
            const qint64 start = startOfNewestLines(file, size, newest);
            done = start >= 0 && cut(file, start, size);
        }
        file.close();
        restart(); // syslog-ng may still write to a file that was replaced, and keep its room
        if (!done) {
            logError(QStringLiteral("[Method : Defence()] -- impossible to open in read/write mode")
                     + defenceLog);
            return notOpened;
        }
        return QStringLiteral("[DEFENCE] delete ") + QString::number(newest)
            + QStringLiteral(" lines OK");
    }
    return QStringLiteral(
        "bad input parameter(s) -- use : defence --help command, for more information");
}

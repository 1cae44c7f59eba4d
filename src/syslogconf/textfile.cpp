// Lossless decoding and encoding of text files.
// SPDX-License-Identifier: MIT
#include "textfile.h"

#include <QFile>
#include <QFileInfo>
#include <QTextCodec>

#include <algorithm>

namespace {

constexpr ushort escapeBase = 0xdc00; // an undecodable byte 0x80..0xff becomes 0xdc80..0xdcff

bool isEscape(QChar character)
{
    return character.unicode() >= escapeBase + 0x80 && character.unicode() <= escapeBase + 0xff;
}

/// Decodes @p size bytes. @return whether all of them were UTF-8
bool decodeStrictly(const char *bytes, int size, QString *text)
{
    static const QTextCodec *const utf8 = QTextCodec::codecForName("UTF-8");
    QTextCodec::ConverterState state(QTextCodec::IgnoreHeader);
    *text = utf8->toUnicode(bytes, size, &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

/// The length of the UTF-8 sequence that @p lead announces, 0 when it cannot start one.
int sequenceLength(uchar lead)
{
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xc2 && lead <= 0xdf) {
        return 2;
    }
    if (lead >= 0xe0 && lead <= 0xef) {
        return 3;
    }
    if (lead >= 0xf0 && lead <= 0xf4) {
        return 4;
    }
    return 0;
}

} // namespace

QString decodeText(const QByteArray &bytes)
{
    QString text;
    if (decodeStrictly(bytes.constData(), bytes.size(), &text)) {
        return text;
    }
    text.clear();
    for (int position = 0; position < bytes.size();) {
        const auto lead = static_cast<uchar>(bytes.at(position));
        const int length = sequenceLength(lead);
        QString character;
        if (length > 0 && position + length <= bytes.size()
            && decodeStrictly(bytes.constData() + position, length, &character)) {
            text += character;
            position += length;
        } else {
            text += QChar(escapeBase + lead);
            ++position;
        }
    }
    return text;
}

QByteArray encodeText(const QString &text)
{
    QByteArray bytes;
    int start = 0;
    for (int position = 0; position < text.size(); ++position) {
        // The second half of a surrogate pair is no escape.
        if (text.at(position).isHighSurrogate() && position + 1 < text.size()
            && text.at(position + 1).isLowSurrogate()) {
            ++position;
        } else if (isEscape(text.at(position))) {
            bytes += text.midRef(start, position - start).toUtf8();
            bytes += static_cast<char>(text.at(position).unicode() - escapeBase);
            start = position + 1;
        }
    }
    return bytes + text.midRef(start).toUtf8();
}

QStringList splitLines(const QString &text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    if (lines.last().isEmpty()) {
        lines.removeLast();
    }
    return lines;
}

bool openRegularFile(QFile &file, QIODevice::OpenMode mode)
{
    const QFileInfo info(file.fileName());
    return (info.isFile() || !info.exists()) && file.open(mode);
}

bool readLines(QFile &file, QStringList *lines)
{
    // Text mode would drop the carriage returns, but also hide how much there was to read.
    file.setTextModeEnabled(false);
    const qint64 size = file.size() - file.pos();
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError || bytes.size() < size) {
        lines->clear();
        return false;
    }
    bytes.replace("\r", "");
    *lines = splitLines(decodeText(bytes));
    return true;
}

bool writeTextAndClose(QFile &file, const QString &text)
{
    const QByteArray bytes = encodeText(text);
    const bool written = file.write(bytes) == bytes.size() && file.flush();
    file.close();
    return written && file.error() == QFileDevice::NoError
        && QFileInfo(file.fileName()).size() == bytes.size();
}

bool fileHolds(const QString &path, const QString &text)
{
    QFile file(path);
    return openRegularFile(file, QIODevice::ReadOnly) && file.readAll() == encodeText(text);
}

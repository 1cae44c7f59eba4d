// Reads a log in pieces, forwards to count and backwards to find.
// SPDX-License-Identifier: MIT
#include "logtail.h"

#include <QFile>

#include <algorithm>
#include <cstring>

namespace {

constexpr qint64 pieceSize = 65536;
constexpr int nulInAnswer = 3; // U+FFFD in UTF-8

/// The @p size bytes from @p offset on. @return whether all of them could be read
bool readPiece(QFile &file, qint64 offset, qint64 size, QByteArray *piece)
{
    if (!file.seek(offset)) {
        return false;
    }
    *piece = file.read(size);
    return piece->size() == size;
}

size_t distance(const char *begin, const void *end)
{
    return static_cast<size_t>(static_cast<const char *>(end) - begin);
}

} // namespace

qint64 countLines(QFile &file, qint64 size)
{
    qint64 lines = 0;
    QByteArray piece;
    for (qint64 offset = 0; offset < size; offset += piece.size()) {
        if (!readPiece(file, offset, std::min(pieceSize, size - offset), &piece)) {
            return -1;
        }
        lines += piece.count('\n');
    }
    return piece.isEmpty() || piece.endsWith('\n') ? lines : lines + 1;
}

qint64 startOfNewestLines(QFile &file, qint64 size, qint64 count)
{
    if (count <= 0) {
        return size;
    }
    // The line feed at the very end belongs to the newest line.
    qint64 end = size - 1;
    QByteArray piece;
    while (end > 0) {
        const qint64 offset = std::max<qint64>(0, end - pieceSize);
        if (!readPiece(file, offset, end - offset, &piece)) {
            return -1;
        }
        const char *const begin = piece.constData();
        const void *lineFeed = begin + piece.size();
        while ((lineFeed = memrchr(begin, '\n', distance(begin, lineFeed))) != nullptr) {
            if (--count == 0) {
                return offset + static_cast<qint64>(distance(begin, lineFeed)) + 1;
            }
        }
        end = offset;
    }
    return 0;
}

int startOfWholeLines(const QByteArray &text, int limit, bool startsInLine)
{
    int start = text.size();
    int room = text.endsWith('\n') || text.isEmpty() ? limit : limit - 1;
    for (int position = text.size() - 1; position >= 0; --position) {
        room -= text.at(position) == '\0' ? nulInAnswer : 1;
        if (room < 0) {
            return start;
        }
        if (position > 0 && text.at(position - 1) == '\n') {
            start = position;
        }
    }
    return startsInLine ? start : 0;
}

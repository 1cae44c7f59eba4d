// Terminals: size, colours, characters that must not reach them.
// SPDX-License-Identifier: MIT
#include "screen.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr int narrowest = 40;
constexpr ushort firstPrintable = 0x20;
constexpr ushort deleteCharacter = 0x7f;
constexpr ushort lastControl = 0x9f;

/// Whether @p code marks a change of the writing direction, which can make a line read otherwise
/// than it is.
bool changesDirection(ushort code)
{
    return code == 0x061c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e)
        || (code >= 0x2066 && code <= 0x2069);
}

int widthOf(int descriptor, const QProcessEnvironment &environment)
{
    winsize size = {};
    int width = 0;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of ioctl(2)
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0) {
        width = size.ws_col;
    }
    if (width <= 0) {
        width = environment.value(QStringLiteral("COLUMNS")).toInt();
    }
    return width > 0 ? std::max(width, narrowest) : Screen().width;
}

} // namespace

bool wantsColor(ColorMode mode, bool terminal, const QProcessEnvironment &environment)
{
    if (mode != ColorMode::Auto) {
        return mode == ColorMode::Always;
    }
    return terminal && environment.value(QStringLiteral("NO_COLOR")).isEmpty()
        && environment.value(QStringLiteral("TERM")) != QLatin1String("dumb");
}

Screen screenOf(int descriptor, ColorMode mode)
{
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const bool isTerminal = isatty(descriptor) == 1;
    Screen screen;
    screen.terminal = isTerminal || mode == ColorMode::Always;
    screen.color = wantsColor(mode, isTerminal, environment);
    screen.width = widthOf(descriptor, environment);
    return screen;
}

QString wrapped(const QString &text, int width)
{
    static const QRegularExpression colors(QStringLiteral("\033\\[[0-9;]*m"));
    static const QRegularExpression margin(QStringLiteral("^( *(?:\\S+(?: \\S+)*  +)?)"));
    QStringList lines;
    const QStringList whole = text.split(QLatin1Char('\n'));
    for (QString line : whole) {
        const auto columns = [](QString part) { return part.remove(colors).size(); };
        if (columns(line) <= width) {
            lines.append(line);
            continue;
        }
        // Below the second column of a list, if that leaves half of the screen.
        int indent = columns(margin.match(line).captured());
        if (indent > width / 2) {
            constexpr int narrow = 2;
            const int blanks = static_cast<int>(
                std::distance(line.begin(), std::find_if(line.begin(), line.end(), [](QChar c) {
                                  return c != QLatin1Char(' ');
                              })));
            indent = blanks > width / 2 ? narrow : blanks;
            line.remove(0, blanks - indent);
        }
        QString current;
        bool empty = true; // whether nothing but the margin stands in it
        const QStringList words = line.split(QLatin1Char(' '));
        for (const QString &word : words) {
            const QString longer = current.isNull() ? word : current + QLatin1Char(' ') + word;
            if (!empty && !word.isEmpty() && columns(longer) > width) {
                while (current.endsWith(QLatin1Char(' '))) {
                    current.chop(1);
                }
                lines.append(current);
                current = QString(indent, QLatin1Char(' ')) + word;
            } else {
                current = longer.isNull() ? QStringLiteral("") : longer;
            }
            empty = empty && word.isEmpty();
        }
        lines.append(current);
    }
    return lines.join(QLatin1Char('\n'));
}

QString visible(const QString &text)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (code < firstPrintable && code != '\n' && code != '\t') {
            shown += QLatin1Char('^');
            shown += QChar(code + '@');
        } else if ((code >= deleteCharacter && code <= lastControl) || changesDirection(code)) {
            shown += QStringLiteral("\\u%1").arg(code, 4, 16, QLatin1Char('0'));
        } else {
            shown += character;
        }
    }
    return shown;
}

void occupyStandardDescriptors()
{
    // In the order of the numbers, because the lowest free one is taken.
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of fcntl(2)
        if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
            const int mode = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
            // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): nor of open(2)
            static_cast<void>(open("/dev/null", mode));
        }
    }
}

bool writeAll(int descriptor, const QByteArray &bytes)
{
    const char *next = bytes.constData();
    auto left = static_cast<size_t>(bytes.size());
    while (left > 0) {
        const ssize_t written = ::write(descriptor, next, left);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        next += written;
        left -= static_cast<size_t>(written);
    }
    return true;
}

void sayThatItCannotBeWritten()
{
    writeAll(STDERR_FILENO,
             "loggerctl: the answer cannot be written: " + qt_error_string(errno).toUtf8() + '\n');
}

// The rules by which one line's level or destination is replaced.
// SPDX-License-Identifier: MIT
#include "lineedit.h"

namespace {

void appendWithLevel(const ConfigLineEdit &edit, int keyEnd, QString &out)
{
    // The upper bound of the range is kept. Without a range the whole line is appended once more:
    // syslog-ng's check then refuses the text, and nothing is lost.
    const int range = qMax(0, edit.line.indexOf(QLatin1String("..")));
    out += edit.line.leftRef(keyEnd);
    out += edit.level;
    out += edit.line.midRef(range);
    out += QLatin1Char('\n');
}

void appendWithDestination(const ConfigLineEdit &edit, int headEnd, QString &out)
{
    out += edit.line.leftRef(headEnd);
    out += QLatin1Char(' ');
    out += edit.destination;
    out += QLatin1String("; };\n");
}

} // namespace

QString beginMarker(const QString &activity)
{
    return QStringLiteral("# BEGIN ") + activity;
}

int matchBlockMarker(const QString &marker, const QString &line)
{
    const int position = line.indexOf(marker);
    if (marker == QLatin1String("# BEGIN ")) {
        return position;
    }
    if (position < 0) {
        return -1;
    }
    return line.midRef(position).trimmed() == marker ? 0 : -1;
}

bool rewriteLine(const ConfigLineEdit &edit, QString &out)
{
    if (edit.level.isEmpty() && edit.destination.isEmpty()) {
        return false;
    }
    const int keyStart = edit.line.indexOf(edit.key);
    if (keyStart < 0) {
        return false;
    }
    const int keyEnd = keyStart + edit.key.size();
    if (!edit.level.isEmpty()) {
        appendWithLevel(edit, keyEnd, out);
        return true;
    }
    if (!edit.activity.isEmpty()) {
        appendWithDestination(edit, keyEnd, out);
        return true;
    }
    const int brace = edit.line.indexOf(QLatin1Char('{'));
    if (brace < 0) {
        return false;
    }
    appendWithDestination(edit, brace + 1, out);
    return true;
}

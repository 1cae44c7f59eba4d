// Level names, and the edit distance of words.
// SPDX-License-Identifier: MIT
#include "words.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace {

struct Level
{
    int number;
    const char *name;
};

constexpr std::array<Level, 6> levels {
    {{0, "emerg"}, {3, "err"}, {4, "warning"}, {5, "notice"}, {6, "info"}, {7, "debug"}}};
constexpr int errorLevel = 3;

/// How many characters have to be inserted, removed, replaced, or swapped with their neighbour to
/// make @p to of @p from.
int editDistance(const QString &from, const QString &to)
{
    std::vector<int> row(static_cast<size_t>(to.size()) + 1);
    for (size_t j = 0; j < row.size(); ++j) {
        row[j] = static_cast<int>(j);
    }
    std::vector<int> before; // the row before the last
    for (int i = 0; i < from.size(); ++i) {
        std::vector<int> next(row.size(), i + 1);
        for (int j = 0; j < to.size(); ++j) {
            const auto column = static_cast<size_t>(j);
            const int replaced = row[column] + (from.at(i) == to.at(j) ? 0 : 1);
            next[column + 1] = std::min({replaced, row[column + 1] + 1, next[column] + 1});
            if (i > 0 && j > 0 && from.at(i) == to.at(j - 1) && from.at(i - 1) == to.at(j)) {
                next[column + 1] = std::min(next[column + 1], before[column - 1] + 1);
            }
        }
        before = std::exchange(row, next);
    }
    return row.back();
}

} // namespace

QStringList levelNames()
{
    QStringList names;
    for (const Level &level : levels) {
        names.append(QLatin1String(level.name));
    }
    return names;
}

QString levelWord(int number)
{
    for (const Level &level : levels) {
        if (level.number == number) {
            return QLatin1String(level.name);
        }
    }
    return QString::number(number);
}

bool isVerbose(const QString &name)
{
    return std::any_of(levels.begin(), levels.end(), [&name](const Level &level) {
        return level.number > errorLevel && name == QLatin1String(level.name);
    });
}

QString nearestWord(const QString &word, const QStringList &candidates)
{
    constexpr int longest = 64; // nobody mistypes a name into more than that
    const QString lower = word.toLower();
    if (lower.isEmpty() || lower.size() > longest) {
        return {};
    }
    QString nearest;
    // About a third of a word may be wrong, and a beginning of three letters is enough.
    int best = std::max(1, (lower.size() + 1) / 3) + 1;
    for (const QString &candidate : candidates) {
        const QString other = candidate.toLower();
        const bool begun = lower.size() >= 3 && other.startsWith(lower);
        const int distance = begun ? 1 : editDistance(lower, other);
        if (distance < best) {
            best = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

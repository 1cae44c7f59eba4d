// One table, looked up both ways.
// SPDX-License-Identifier: MIT
#include "levelvocabulary.h"

#include <algorithm>
#include <array>

namespace {

struct Level
{
    const char *name;
    int number;
};

constexpr int fallbackNumber = 3;
constexpr std::array<Level, 6> levels {{
    {"err", fallbackNumber},
    {"warning", 4},
    {"debug", 7},
    {"info", 6},
    {"emerg", 0},
    {"notice", 5},
}};

const Level *findByName(const QString &name)
{
    const auto *const found = std::find_if(levels.begin(), levels.end(), [&](const Level &level) {
        return name == QLatin1String(level.name);
    });
    return found == levels.end() ? nullptr : found;
}

const Level *findByNumber(int number)
{
    const auto *const found = std::find_if(
        levels.begin(), levels.end(), [&](const Level &level) { return number == level.number; });
    return found == levels.end() ? nullptr : found;
}

} // namespace

bool isValidLevel(const QString &name)
{
    return findByName(name) != nullptr;
}

int levelFromName(const QString &name)
{
    const Level *level = findByName(name);
    return level ? level->number : fallbackNumber;
}

QString levelToName(int level)
{
    const Level *found = findByNumber(level);
    return QLatin1String(found ? found->name : "err");
}

bool isValidLevelNumber(int level)
{
    return findByNumber(level) != nullptr;
}

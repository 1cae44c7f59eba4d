// Reads activities out of the lines of logappli.conf.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

/**
 * What has been read of an activity's block so far. The texts are padded with blanks to the width
 * of their column in the activity table and never truncated; a field not seen yet is "none".
 */
struct ParsedActivity
{
    QString activity; ///< 20 wide: the name from the end line
    QString facilityValue; ///< 8 wide: the syslog facility
    QString level; ///< 8 wide: the lowest level
    QString destination; ///< 60 wide: the target without quotes, "IP :" before a network one
    QString support; ///< 10 wide: the destination's driver
    bool complete = false; ///< the end line was seen
    int fieldCount = 0; ///< fields filled since the last reset
};

/// One activity as the level commands need it; the texts carry no padding.
struct ActivityLevelEntry
{
    QString facility; ///< the activity's name
    QString level;
    QString facilityValue;
};

/// The first line of the activity table.
QString activityTableHeader();

/// Makes @p accumulator ready for the next block.
void resetParsedActivity(ParsedActivity &accumulator);

/**
 * Feeds one line of the file into @p accumulator and copies it to @p out. One line can fill several
 * fields. What a line of syslog-ng's language may hold besides is not looked at.
 */
void parseActivityLine(ParsedActivity &accumulator, const QString &line, ParsedActivity &out);

/// Whether @p parsed holds a whole block.
bool isCompleteActivity(const ParsedActivity &parsed);

/// The row of @p parsed in the activity table, with its line feed.
QString activityTableRow(const ParsedActivity &parsed);

/// @p parsed without padding.
ActivityLevelEntry activityLevelEntry(const ParsedActivity &parsed);

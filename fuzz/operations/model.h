// The phone that the target "operations" works on: its files, in a directory of their own, and what
// the second implementation reads in them.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace Operations {

using Files = std::map<std::string, std::string>;

const std::string root = "/tmp/fuzz-operations/";
const std::string live = root + "syslog/sip/logappli.conf";
const std::string backup = root + "syslog/logappli.conf.sav";
const std::string temporary = root + "syslog/logappli.conf.tmp";
const std::string facilityDirectory = root + "syslog/sip/facility/";
const std::string defenceLog = "/log/Defence.log";

struct KnownActivity
{
    const char *name;
    const char *facility;
    const char *number;
};

inline constexpr std::array<KnownActivity, 5> knownActivities {{
    {"qvxsipua", "local3", "19"},
    {"Telephony", "local0", "16"},
    {"qvxbtmgr", "local6", "22"},
    {"WebApp", "local7", "23"},
    {"defence", "auth", "4"},
}};

// With plain system calls: there are many of these between two operations.

std::optional<std::string> read(const std::string &path);
void write(const std::string &path, const std::string &content);
void remove(const std::string &path);
std::set<std::string> entries(const std::string &directory);
/// Each facility file's name and content.
Files facilityFiles();

/// The destination expression that the activity has at first.
std::string predefinedTarget(const std::string &activity);
/// What the service makes of a facility file that it cannot use.
std::string restoredFacilityFile(const std::string &activity);
bool isValidFacilityFile(const std::string &content);

/// What the phone's set-up script does for facility files and the live file.
void setUp();
/// Everything as after a boot.
void boot();

/// The level of each activity.
std::map<QString, QString> levelsIn(const std::string &content);
/// The table of activities, as it is answered.
QString expectedTable(const std::string &content);
/// Whether an edit of levels has one thing to change in each line that it changes.
bool allLevelLinesArePlain(const std::string &content);

} // namespace Operations

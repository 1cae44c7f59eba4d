// Compares the files with what the operation found and with the second implementation's idea.
// SPDX-License-Identifier: MIT
#include "check.h"

#include "literal.h"
#include "support/property.h"
#include "support/reference.h"
#include "syslogconf/textfile.h"

#include <QStringList>

#include <algorithm>

namespace Operations {

Outside outside;

void Check::begin()
{
    before = read(Operations::live);
    backupBefore = read(backup);
    facilitiesBefore = facilityFiles();
    outside.refusedChecks = 0;
    outside.reloads = 0;
    outside.acceptedTexts.clear();
}

bool Check::isKnown(const QString &activity) const
{
    return activity == QLatin1String("all") || activity == QLatin1String("WebApp")
        || activity == QLatin1String("no_facility")
        || facilitiesBefore.count(QString(activity + ".conf"_s).toStdString()) == 1;
}

void Check::files() const
{
    FUZZ_REQUIRE(entries(root) == std::set<std::string> {"syslog"});
    for (const std::string &name : entries(root + "syslog")) {
        FUZZ_REQUIRE(name == "sip" || name == "logappli.conf.sav" || name == "logappli.conf.tmp");
    }
    for (const std::string &name : entries(root + "syslog/sip")) {
        FUZZ_REQUIRE(name == "facility" || name == "logappli.conf");
    }
    FUZZ_REQUIRE(read(backup) == backupBefore);
    // No text becomes the live one unchecked.
    const auto current = read(Operations::live);
    FUZZ_REQUIRE(!current || current == before || current == backupBefore
                 || outside.acceptedTexts.count(*current) == 1);
    for (const auto &[name, content] : facilityFiles()) {
        const auto found = facilitiesBefore.find(name);
        const std::string activity = name.substr(0, name.rfind(".conf"));
        const bool isRestored = content == restoredFacilityFile(activity);
        // The service writes only files that are there, and only good ones. The set-up script
        // may have made those of the known activities.
        const bool isKnownActivity
            = std::any_of(knownActivities.begin(), knownActivities.end(),
                          [&](const KnownActivity &known) { return activity == known.name; });
        FUZZ_REQUIRE(found != facilitiesBefore.end() || isKnownActivity);
        FUZZ_REQUIRE(isValidFacilityFile(content) || isRestored
                     || (found != facilitiesBefore.end() && found->second == content));
    }
}

void Check::unchanged() const
{
    FUZZ_REQUIRE(read(Operations::live) == before);
    FUZZ_REQUIRE(facilityFiles() == facilitiesBefore);
}

bool Check::live(const std::string &expected) const
{
    const auto after = read(Operations::live);
    if (wentThrough()) {
        FUZZ_REQUIRE(after == expected);
        return true;
    }
    FUZZ_REQUIRE(after == backupBefore || after == before || !after);
    if (before && backupBefore) {
        FUZZ_REQUIRE(after);
    }
    return false;
}

bool Check::level(const QString &activity, const QString &name) const
{
    return live(
        Reference::withLevel(before.value_or(""), activity.toStdString(), name.toStdString()));
}

bool Check::destination(const QString &activity, const QString &expression) const
{
    return live(Reference::withDestination(before.value_or(""), activity.toStdString(),
                                           expression.toStdString()));
}

void Check::facilityLine(const QString &activity, int lineNumber, const QString &value) const
{
    const std::string name = QString(activity + ".conf"_s).toStdString();
    const auto found = facilitiesBefore.find(name);
    FUZZ_REQUIRE(found != facilitiesBefore.end());
    QStringList lines
        = splitLines(decodeText(QByteArray::fromStdString(found->second).replace("\r", "")));
    FUZZ_REQUIRE(lines.size() == 4);
    lines[lineNumber] = value;
    const QString expected = lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
    FUZZ_REQUIRE(read(facilityDirectory + name) == encodeText(expected).toStdString());
}

void Check::predefined() const
{
    if (!isPlain || !wentThrough()) {
        return;
    }
    std::string expected = *before;
    for (const KnownActivity &activity : knownActivities) {
        expected
            = Reference::withDestination(expected, activity.name, predefinedTarget(activity.name));
    }
    FUZZ_REQUIRE(read(Operations::live) == expected);
}

} // namespace Operations

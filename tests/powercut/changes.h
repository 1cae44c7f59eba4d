// What is changed while the disk is recorded, and the files that a power cut must leave whole.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QMap>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace Changes {

/// What the recording itself appends to the live file, to have an edit refused.
constexpr const char *damage = "this is no statement\n";

/// The service's files by path; one that is missing has no entry.
using Files = QMap<QString, QByteArray>;

const QString defenceLog = QStringLiteral("/log/Defence.log");

/// The paths of the service's files.
const QStringList &lasting();

/// The files as they are below @p root, by their paths on the phone.
Files read(const QString &root = {});

/// Files beside the service's below @p root, by their paths on the phone, that are none of them.
QStringList leftovers(const QString &root);

bool isFacilityFile(const QString &path);

/// Something that is done to the files. It is over when make() returns: the service has answered
/// with success, or what the recording did itself is synced.
struct Change
{
    QString name;
    std::function<void()> make;
};

/// How many kinds of changes there are.
int kinds();

/// Changes of the kind @p kind, from 0, with values that @p random picks so that something does
/// change; most kinds are one change.
std::vector<Change> some(int kind, QRandomGenerator &random);

/// Writes a file as one who knows about power cuts does: synced under another name, renamed, the
/// directory synced.
void writeDurably(const QString &path, const QByteArray &content);

/// Writes a file as one who does not: removed, made anew, not synced.
void writeCarelessly(const QString &path, const QByteArray &content);

} // namespace Changes

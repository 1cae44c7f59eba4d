// Whether all places that know the phone's activities say the same of them: the set-up script's
// table, the configuration, its backup, and the facility level files.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>

#include <optional>

/// A file as it was found.
struct FoundFile
{
    enum class State {
        Read,
        Missing, ///< there is nothing, or nothing that is a file
        Unreadable, ///< this user may not read it, or it could not be read
    };
    State state = State::Missing;
    QByteArray content; ///< of one that was read
};

/// An activity's block of a configuration; a text is empty when the block has no such part.
struct ActivityBlock
{
    QString activity;
    QString facility; ///< the syslog facility
    QString level; ///< the lowest level that is logged
    bool begins = false; ///< "# BEGIN": without it the service changes nothing in the block
    bool ends = false; ///< "# END": without it the service does not list the activity
};

/// What was found.
struct ActivityPlaces
{
    /// The configuration that the set-up script makes of its table (`print`); nothing when it did
    /// not tell.
    std::optional<QByteArray> table;
    FoundFile configuration; ///< logappli.conf
    FoundFile backup; ///< logappli.conf.sav
    QMap<QString, FoundFile> levelFiles; ///< by the activity
};

/// Something that is not the same everywhere.
struct Disagreement
{
    QString activity; ///< empty when it is about a whole file
    QString text; ///< what it is, without a full stop
    QString remedy; ///< a sentence that says what to do, without a full stop
};

/// Looks at all places. Runs the set-up script with "print", which writes nothing, for at most 10
/// s.
ActivityPlaces lookAtActivityPlaces();

/// The blocks of a configuration, in its order, as the service finds them.
QList<ActivityBlock> blocksOf(const QByteArray &configuration);

/// What is not the same in @p places: what is about whole files first, then by activities in the
/// order of the table. Nothing when all agree.
QList<Disagreement> disagreementsOf(const ActivityPlaces &places);

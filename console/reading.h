// What the arguments of each subcommand ask for.
// SPDX-License-Identifier: MIT
#pragma once

#include "client/request.h"

#include <QString>
#include <QStringList>

#include <optional>

/// What became of a subcommand's arguments.
struct Reading
{
    std::optional<Request> request; ///< empty when the arguments cannot be used
    QString problem; ///< then the reason, a clause without a full stop
};

/// Reads what stands behind the subcommand @p operation when nothing may.
Reading readNothing(Operation operation, const QStringList &arguments);

/// The same for just one word.
Reading readOne(Operation operation, const QStringList &arguments);

/// Each reads what stands behind the subcommand of its name.
Reading readLevel(const QStringList &arguments);
Reading readRedirect(const QStringList &arguments);
Reading readLevels(const QStringList &arguments);
Reading readDefence(const QStringList &arguments);
Reading readDelete(const QStringList &arguments);
Reading readComment(const QStringList &arguments);
Reading readLog(const QStringList &arguments);
Reading readTrace(const QStringList &arguments);

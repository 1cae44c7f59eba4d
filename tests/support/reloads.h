// Counts the reloads of syslog-ng.
// SPDX-License-Identifier: MIT
#pragma once

#include "faults.h"
#include "phone.h"

#include <QDir>
#include <QFile>
#include <QString>

/// Counts reloads exactly: signals that come close together may be delivered as one, runs of
/// kill(1) are all seen.
namespace Reloads {

const QString directory = QStringLiteral("/run/phone/reloads");
const QString record = directory + QStringLiteral("/record");

inline void install()
{
    QDir().mkpath(directory);
    const QString program = directory + QStringLiteral("/kill");
    Phone::write(program,
                 "#!/bin/sh\n"
                 "echo \"$@\" >> /run/phone/reloads/record\n"
                 "exec /bin/kill \"$@\"\n");
    Faults::setMode(program, 0755);
    qputenv("PATH", QFile::encodeName(directory) + ':' + qgetenv("PATH"));
}

inline void reset()
{
    Phone::write(record, "");
}

inline int count()
{
    return Phone::read(record).count('\n');
}

} // namespace Reloads

// The program that notes the hang-ups, and what it has noted.
// SPDX-License-Identifier: MIT
#include "hangups.h"

#include "faults.h"
#include "phone.h"

#include <QDir>
#include <QFile>

#include <csignal>

#include <unistd.h>

namespace {

const QString notes = QStringLiteral("/run/phone/hangups");
const QString watchedPath = notes + QStringLiteral("/watched");
const QString watchedBytes = notes + QStringLiteral("/content");

/// The hang-ups of the record that went to this process.
int sentToThisProcess()
{
    return Phone::read(Reloads::record).split('\n').count("-hup " + QByteArray::number(getpid()));
}

} // namespace

namespace Reloads {

void install()
{
    const QString program = QStringLiteral("/usr/sbin/kill");
    const QString noting = QDir::cleanPath(Faults::fake(QStringLiteral("noting/kill")));
    if (QFile::symLinkTarget(program) != noting
        && (!QDir().mkpath(notes) || !QFile::link(noting, program))) {
        qFatal("nothing can stand before kill on the search path");
    }
}

void reset()
{
    Phone::write(record, "");
}

int count()
{
    return Phone::read(record).count('\n');
}

} // namespace Reloads

HangUps::HangUps(const QString &watched) : m_savedPidFile(Phone::read(Phone::pidFile))
{
    Reloads::install();
    // It must not end this process, and not be ignored in the programs that this one starts.
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGHUP, &action, nullptr);
    QFile::remove(watchedPath);
    QFile::remove(watchedBytes);
    if (!watched.isEmpty()) {
        Phone::write(watchedPath, QFile::encodeName(watched));
    }
    m_before = sentToThisProcess();
    Phone::write(Phone::pidFile, QByteArray::number(getpid()) + '\n');
}

HangUps::~HangUps()
{
    Phone::write(Phone::pidFile, m_savedPidFile);
}

int HangUps::count() const
{
    return sentToThisProcess() - m_before;
}

QByteArray HangUps::watchedContent() const
{
    return Phone::read(watchedBytes);
}

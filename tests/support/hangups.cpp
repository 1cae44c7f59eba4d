// The program that counts for HangUps, and its notes.
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
const QString sent = notes + QStringLiteral("/sent");
const QString watchedPath = notes + QStringLiteral("/watched");
const QString watchedBytes = notes + QStringLiteral("/content");
const QString program = QStringLiteral("/usr/sbin/kill");

/// Once for the life of the phone.
void standBeforeKill()
{
    const QString fake = QDir::cleanPath(Faults::fake(QStringLiteral("noting/kill")));
    if (QFile::symLinkTarget(program) == fake) {
        return;
    }
    if (!QDir().mkpath(notes) || !QFile::link(fake, program)) {
        qFatal("nothing can stand before kill on the search path");
    }
}

/// The hang-ups that were ever sent to this process.
int allSent()
{
    return Phone::read(sent).split('\n').count("-hup " + QByteArray::number(getpid()));
}

} // namespace

HangUps::HangUps(const QString &watched) : m_savedPidFile(Phone::read(Phone::pidFile))
{
    standBeforeKill();
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
    m_before = allSent();
    Phone::write(Phone::pidFile, QByteArray::number(getpid()) + '\n');
}

HangUps::~HangUps()
{
    Phone::write(Phone::pidFile, m_savedPidFile);
}

int HangUps::count() const
{
    return allSent() - m_before;
}

QByteArray HangUps::watchedContent() const
{
    return Phone::read(watchedBytes);
}

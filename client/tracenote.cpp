// One small JSON file for each activity that is traced.
// SPDX-License-Identifier: MIT
#include "tracenote.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <QThread>
#include <QUrl>

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int largestNote = 65536; // bytes
const QString ending = QStringLiteral(".json");

/// The path of the note of @p activity, whose name may hold anything.
QString pathOf(const QString &activity)
{
    return NoteFile::directory
        + QString::fromLatin1(QUrl::toPercentEncoding(activity, QByteArray(), ".")) + ending;
}

/// Makes the directory as the package does. Members of the group use it as well as root.
void makeDirectory()
{
    constexpr mode_t shared = S_ISGID | S_IRWXU | S_IRWXG | S_IROTH | S_IXOTH;
    const QByteArray path = QFile::encodeName(NoteFile::directory);
    if (QDir(NoteFile::directory).exists() || !QDir().mkpath(NoteFile::directory)) {
        return;
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread of a client looks for groups
    const group *const members = getgrnam("quorvix");
    if (members != nullptr
        && chown(path.constData(), static_cast<uid_t>(-1), members->gr_gid) == 0) {
        chmod(path.constData(), shared);
    }
}

bool syncDirectory()
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of open(2)
    const int descriptor = open(QFile::encodeName(NoteFile::directory).constData(),
                                O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = descriptor >= 0 && fsync(descriptor) == 0;
    if (descriptor >= 0) {
        close(descriptor);
    }
    return synced;
}

std::optional<TraceNote> readNote(int descriptor)
{
    QByteArray text(largestNote, '\0');
    const ssize_t size = pread(descriptor, text.data(), static_cast<size_t>(text.size()), 0);
    text.truncate(static_cast<int>(std::max<ssize_t>(size, 0)));
    return noteOf(text);
}

int openNote(const QString &path, int flags)
{
    // Not for others: whoever can open it can hold it, and keep a level from being put back. A link
    // or a FIFO is not followed or waited for.
    constexpr mode_t mode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): there is no other form of open(2)
    const int descriptor = open(QFile::encodeName(path).constData(),
                                flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode);
    if (descriptor >= 0 && (flags & O_CREAT) != 0) {
        static_cast<void>(fchmod(descriptor, mode)); // whatever the umask is
    }
    return descriptor;
}

/// Locks @p descriptor unless another process keeps it. One that only looks shares its lock with
/// others, for a moment.
bool lock(int descriptor)
{
    constexpr int longestLook = 1000; // ms
    constexpr unsigned pause = 1; // ms
    const QDeadlineTimer deadline(longestLook);
    while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK || deadline.hasExpired()
            || flock(descriptor, LOCK_SH | LOCK_NB) != 0) {
            return false;
        }
        flock(descriptor, LOCK_UN); // or two who want it would wait for each other
        QThread::msleep(pause);
    }
    return true;
}

} // namespace

const QString NoteFile::directory = QStringLiteral("/data/QVXApplication/loggerctl/traces/");

QByteArray noteText(const TraceNote &note)
{
    return QJsonDocument(QJsonObject {{QStringLiteral("activity"), note.activity},
                                      {QStringLiteral("level"), note.level},
                                      {QStringLiteral("former"), note.former},
                                      {QStringLiteral("user"), note.user},
                                      {QStringLiteral("until"), static_cast<double>(note.until)},
                                      {QStringLiteral("keeper"), static_cast<double>(note.keeper)}})
        .toJson(QJsonDocument::Compact);
}

std::optional<TraceNote> noteOf(const QByteArray &text)
{
    const QJsonObject object = QJsonDocument::fromJson(text).object();
    const auto word
        = [&object](const char *key) { return object.value(QLatin1String(key)).toString(); };
    TraceNote note {word("activity"),
                    word("level"),
                    word("former"),
                    word("user"),
                    static_cast<qint64>(object.value(QLatin1String("until")).toDouble()),
                    static_cast<qint64>(object.value(QLatin1String("keeper")).toDouble())};
    if (note.activity.isEmpty() || note.level.isEmpty() || note.former.isEmpty()) {
        return std::nullopt;
    }
    return note;
}

NoteFile::~NoteFile()
{
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

NoteFile::Access NoteFile::take(const QString &activity, bool create, QString *problem)
{
    m_path = pathOf(activity);
    if (create) {
        makeDirectory();
    }
    for (;;) {
        m_descriptor = openNote(m_path, create ? O_RDWR | O_CREAT : O_RDWR);
        if (m_descriptor < 0 && errno == EACCES) {
            m_descriptor = openNote(m_path, O_RDONLY); // made by another user: enough to hold it
        }
        if (m_descriptor < 0) {
            if (errno == ENOENT && !create) {
                return Access::Missing;
            }
            *problem = m_path + QStringLiteral(": ") + qt_error_string(errno);
            return Access::Impossible;
        }
        if (!lock(m_descriptor)) {
            close(m_descriptor);
            m_descriptor = -1;
            return Access::HeldByOther;
        }
        struct stat opened = {};
        struct stat named = {};
        if (fstat(m_descriptor, &opened) == 0
            && lstat(QFile::encodeName(m_path).constData(), &named) == 0
            && opened.st_ino == named.st_ino) {
            return Access::Held;
        }
        close(m_descriptor); // its holder removed it meanwhile
        m_descriptor = -1;
    }
}

std::optional<TraceNote> NoteFile::read() const
{
    return readNote(m_descriptor);
}

bool NoteFile::write(const TraceNote &note) const
{
    const QByteArray text = noteText(note);
    return ftruncate(m_descriptor, 0) == 0
        && pwrite(m_descriptor, text.constData(), static_cast<size_t>(text.size()), 0)
        == text.size()
        && fsync(m_descriptor) == 0 && syncDirectory();
}

void NoteFile::remove()
{
    unlink(QFile::encodeName(m_path).constData());
    close(m_descriptor);
    m_descriptor = -1;
}

std::optional<TraceNote> traceNote(const QString &activity)
{
    const int descriptor = openNote(pathOf(activity), O_RDONLY);
    if (descriptor < 0) {
        return std::nullopt;
    }
    const std::optional<TraceNote> note = readNote(descriptor);
    close(descriptor);
    return note;
}

QString noteUser()
{
    constexpr size_t most = 4096; // bytes of an entry; glibc names 1024
    std::array<char, most> texts {};
    passwd entry = {};
    passwd *user = nullptr;
    return getpwuid_r(getuid(), &entry, texts.data(), texts.size(), &user) == 0 && user != nullptr
        ? QString::fromLocal8Bit(user->pw_name)
        : QString::number(getuid());
}

QStringList notedActivities()
{
    QStringList activities;
    const QStringList names
        = QDir(NoteFile::directory).entryList({QLatin1Char('*') + ending}, QDir::Files);
    for (const QString &name : names) {
        activities.append(QUrl::fromPercentEncoding(name.chopped(ending.size()).toLatin1()));
    }
    return activities;
}

bool isTraced(const QString &activity)
{
    const int descriptor = openNote(pathOf(activity), O_RDONLY);
    if (descriptor < 0) {
        return false;
    }
    const bool held = flock(descriptor, LOCK_SH | LOCK_NB) != 0;
    close(descriptor);
    return held;
}

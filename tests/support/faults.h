// Makes things go wrong around the code under test, and puts them right again at the end of scope.
// SPDX-License-Identifier: MIT
#pragma once

#include "files.h"
#include "logcapture.h"
#include "phone.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryFile>

#include <cerrno>
#include <csignal>
#include <cstdio>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Faults {

/// The folder with programs that stand in for the phone's own; @p name is one of its entries.
inline QString fake(const QString &name)
{
    return Phone::testsFile(QStringLiteral("phone/fakes/") + name);
}

/// What is at @p path: the file's bytes, or in angle brackets that it is none.
inline QByteArray state(const QString &path)
{
    const QFileInfo info(path);
    if (info.isSymLink()) {
        return "<link to " + QFile::encodeName(info.symLinkTarget()) + '>';
    }
    if (info.isDir()) {
        return "<directory>";
    }
    return info.exists() ? Phone::read(path) : QByteArray("<missing>");
}

/// What stands in the directory @p path: each name with its state().
inline QMap<QString, QByteArray> states(const QString &path)
{
    QMap<QString, QByteArray> states;
    for (const QString &name : entriesOf(path)) {
        states.insert(name, state(QDir(path).filePath(name)));
    }
    return states;
}

/// The permission bits of the file @p path.
inline int mode(const QString &path)
{
    struct stat status = {};
    return stat(QFile::encodeName(path).constData(), &status) == 0
        ? static_cast<int>(status.st_mode & 07777)
        : -1;
}

inline void setMode(const QString &path, mode_t mode)
{
    if (chmod(QFile::encodeName(path).constData(), mode) != 0) {
        qFatal("cannot change the mode of %s", qPrintable(path));
    }
}

/// Removes the file, the link or the whole directory @p path, if there is one.
inline void removeAll(const QString &path)
{
    const QFileInfo info(path);
    const bool removed
        = info.isDir() && !info.isSymLink() ? QDir(path).removeRecursively() : QFile::remove(path);
    if (!removed && (info.exists() || info.isSymLink())) {
        qFatal("cannot remove %s", qPrintable(path));
    }
}

/// Puts a directory with a file in it in the place of @p path.
inline void makeDirectory(const QString &path)
{
    removeAll(path);
    if (!QDir().mkpath(path)) {
        qFatal("cannot create %s", qPrintable(path));
    }
    Phone::write(path + QStringLiteral("/inside"), "inside\n");
}

/// As long as it exists, nothing is at @p path but what the test puts there; then what was there
/// stands there again.
class Aside
{
public:
    explicit Aside(const QString &path) : m_path(path) { move(m_path, aside()); }
    ~Aside()
    {
        removeAll(m_path);
        move(aside(), m_path);
    }
    Q_DISABLE_COPY(Aside)

private:
    static void move(const QString &from, const QString &to)
    {
        if (::rename(QFile::encodeName(from).constData(), QFile::encodeName(to).constData()) != 0) {
            qFatal("cannot move %s", qPrintable(from));
        }
    }
    QString aside() const { return m_path + QStringLiteral(".aside"); }

    const QString m_path;
};

/// Everything logged, one text each: the severity's number, a blank, the line.
inline QStringList logged(const LogCapture &log)
{
    QStringList texts;
    const QList<LogCapture::Line> lines = log.lines();
    for (const LogCapture::Line &line : lines) {
        texts.append(QString::number(line.priority) + QLatin1Char(' ') + line.text);
    }
    return texts;
}

/// Those of @p lines, as logged() gives them, that are written at the configured level @p level:
/// error lines above 2, warnings above 3, information above 5, debugging above 6.
inline QStringList writtenAt(int level, const QStringList &lines)
{
    QStringList written;
    for (const QString &line : lines) {
        if (line.at(0).digitValue() <= level) {
            written.append(line);
        }
    }
    return written;
}

/// What QProcess says of a program that takes too long.
inline QString timedOut()
{
    QProcess process;
    process.start(QStringLiteral("sleep"), {QStringLiteral("infinity")});
    const bool isLate = process.waitForStarted() && !process.waitForFinished(1);
    const QString text = process.errorString();
    process.kill();
    process.waitForFinished();
    if (!isLate) {
        qFatal("nothing takes too long");
    }
    return text;
}

/// As long as it exists, permissions of files and directories count for this thread although it is
/// root's. Programs that it starts are not concerned.
class WithoutOverride
{
public:
    WithoutOverride()
    {
        get(m_saved);
        __user_cap_data_struct data[2] = {m_saved[0], m_saved[1]};
        data[0].effective &= ~((1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH));
        set(data);
    }
    ~WithoutOverride() { set(m_saved); }
    Q_DISABLE_COPY(WithoutOverride)

private:
    static void get(__user_cap_data_struct *data)
    {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        if (syscall(SYS_capget, &header, data) != 0) {
            qFatal("cannot read the capabilities");
        }
    }
    static void set(const __user_cap_data_struct *data)
    {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        if (syscall(SYS_capset, &header, data) != 0) {
            qFatal("cannot set the capabilities");
        }
    }

    __user_cap_data_struct m_saved[2] = {};
};

/// Does @p work in that way, and gives its result.
template<typename Work>
auto withoutOverride(const Work &work)
{
    const WithoutOverride noOverride;
    return work();
}

/// A file system on the directory @p directory with little room. Where the kernel lets nobody mount
/// one, no file that this process writes gets larger than that room.
class SmallDisk
{
public:
    /// @p room is the number of bytes left, a multiple of the page size. Files are put there first,
    /// by @p fill.
    template<typename Fill>
    SmallDisk(const QString &directory, rlim_t room, Fill fill) : m_directory(directory)
    {
        const QByteArray path = QFile::encodeName(directory);
        QDir().mkpath(directory);
        m_mounted = mount("small", path.constData(), "tmpfs", 0, "size=128k") == 0;
        fill();
        if (m_mounted) {
            leaveRoom(room);
        } else {
            limitFileSize(room);
        }
    }
    ~SmallDisk()
    {
        if (m_mounted) {
            umount2(QFile::encodeName(m_directory).constData(), MNT_DETACH);
        } else {
            setrlimit(RLIMIT_FSIZE, &m_savedLimit);
        }
    }
    Q_DISABLE_COPY(SmallDisk)

    /// Whether it is a file system, and not only a limit for files.
    bool isMounted() const { return m_mounted; }
    /// What the system says to one who writes too much.
    QString error() const { return qt_error_string(m_mounted ? ENOSPC : EFBIG); }

private:
    void leaveRoom(rlim_t room)
    {
        const QString name = m_directory + QStringLiteral("/filler");
        const int filler
            = open(QFile::encodeName(name).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const QByteArray page(static_cast<int>(sysconf(_SC_PAGESIZE)), 'x');
        off_t size = 0;
        while (::write(filler, page.constData(), static_cast<size_t>(page.size())) == page.size()) {
            size += page.size();
        }
        if (ftruncate(filler, size - static_cast<off_t>(room)) != 0) {
            qFatal("cannot make room in %s", qPrintable(m_directory));
        }
        close(filler);
    }
    void limitFileSize(rlim_t room)
    {
        static_cast<void>(signal(SIGXFSZ, SIG_IGN));
        getrlimit(RLIMIT_FSIZE, &m_savedLimit);
        const rlimit limit = {room, m_savedLimit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    QString m_directory;
    bool m_mounted = false;
    rlimit m_savedLimit = {};
};

/// Runs another syslog-ng in place of the phone's for syntax checks.
class FakeSyslog
{
public:
    /// @p directory holds the program; it may be missing there.
    explicit FakeSyslog(const QString &directory)
    {
        QVXLogger::syslogExecutablePath = directory + QLatin1Char('/');
    }
    ~FakeSyslog() { QVXLogger::syslogExecutablePath = m_saved; }
    Q_DISABLE_COPY(FakeSyslog)

private:
    const QString m_saved = QVXLogger::syslogExecutablePath;
};

/// Puts another program, or none, in the place of the phone's set-up script.
class FakeSetUpScript
{
public:
    /// @p program is copied there, executable; an empty text leaves none.
    explicit FakeSetUpScript(const QString &program)
    {
        if (!program.isEmpty()) {
            if (!QFile::copy(program, Phone::setUpScript)) {
                qFatal("cannot replace the set-up script");
            }
            setMode(Phone::setUpScript, 0755);
        }
        QFile::remove(record());
    }
    ~FakeSetUpScript() { QFile::remove(record()); }
    Q_DISABLE_COPY(FakeSetUpScript)

    /// The file into which the programs of the fakes folder write that they were run.
    static QString record() { return QStringLiteral("/run/phone/setup.record"); }

private:
    const Aside m_aside {Phone::setUpScript};
};

/// Searches programs in @p path only.
class SearchPath
{
public:
    explicit SearchPath(const QString &path) { qputenv("PATH", QFile::encodeName(path)); }
    ~SearchPath() { qputenv("PATH", m_saved); }
    Q_DISABLE_COPY(SearchPath)

private:
    const QByteArray m_saved = qgetenv("PATH");
};

/// Collects what this process and its programs write to standard output and to standard error.
class OutputCapture
{
public:
    OutputCapture()
    {
        m_outFile.open();
        m_errorFile.open();
        redirect(m_outFile.handle(), m_errorFile.handle());
    }
    ~OutputCapture() { end(); }
    Q_DISABLE_COPY(OutputCapture)

    /// Ends the collecting.
    void end()
    {
        if (m_savedOut >= 0) {
            redirect(m_savedOut, m_savedError);
            close(m_savedOut);
            close(m_savedError);
            m_savedOut = -1;
        }
    }
    QByteArray output() const { return Phone::read(m_outFile.fileName()); }
    QByteArray errors() const { return Phone::read(m_errorFile.fileName()); }

private:
    static void redirect(int output, int errors)
    {
        fflush(stdout);
        fflush(stderr);
        dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
    }

    QTemporaryFile m_outFile;
    QTemporaryFile m_errorFile;
    int m_savedOut = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    int m_savedError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
};

} // namespace Faults

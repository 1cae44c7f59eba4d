// Places where messages may arrive, each looked at as a user would, and what sends them there.
// SPDX-License-Identifier: MIT
#pragma once

#include "activities.h"
#include "literal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QFile>
#include <QTest>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utmpx.h>

namespace Phone {

/// A place with all that has arrived there so far.
class Place
{
public:
    Place() = default;
    virtual ~Place() = default;
    Q_DISABLE_COPY(Place)

    virtual QByteArray content() = 0;
    bool has(const QByteArray &part) { return content().contains(part); }
};

class FilePlace : public Place
{
public:
    explicit FilePlace(QString path) : m_path(std::move(path)) { }
    QByteArray content() override { return read(m_path); }

private:
    QString m_path;
};

/// Whatever can be read from file descriptors without waiting.
class DescriptorPlace : public Place
{
public:
    ~DescriptorPlace() override
    {
        for (const int descriptor : m_descriptors) {
            close(descriptor);
        }
    }
    QByteArray content() override
    {
        for (const int descriptor : m_descriptors) {
            std::array<char, 65536> buffer {};
            ssize_t count = 0;
            while ((count = ::read(descriptor, buffer.data(), buffer.size())) > 0) {
                m_content.append(buffer.data(), static_cast<int>(count));
            }
        }
        return m_content;
    }

protected:
    void add(int descriptor)
    {
        if (descriptor < 0) {
            qFatal("cannot open: %s", std::strerror(errno));
        }
        m_descriptors.push_back(descriptor);
    }

private:
    std::vector<int> m_descriptors;
    QByteArray m_content;
};

/// The reading end of a named pipe, made at the path @p path.
class PipePlace : public DescriptorPlace
{
public:
    explicit PipePlace(const QString &path)
    {
        const QByteArray name = QFile::encodeName(path);
        if (mkfifo(name.constData(), 0600) != 0) {
            qFatal("cannot make the pipe %s", name.constData());
        }
        add(open(name.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    }
};

/// A terminal on which the user @p user is logged in.
class TerminalPlace : public DescriptorPlace
{
public:
    explicit TerminalPlace(const QByteArray &user)
    {
        const int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        add(master);
        std::array<char, 64> name {};
        if (grantpt(master) != 0 || unlockpt(master) != 0
            || ptsname_r(master, name.data(), name.size()) != 0) {
            qFatal("cannot make a terminal");
        }
        m_slave = open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        // Nobody logs in otherwise, so the file of those who are is not there.
        close(open(_PATH_UTMPX, O_RDWR | O_CREAT | O_CLOEXEC, 0644));
        m_entry.ut_type = USER_PROCESS;
        m_entry.ut_pid = getpid();
        qstrncpy(m_entry.ut_line, name.data() + std::strlen("/dev/"), sizeof m_entry.ut_line);
        qstrncpy(m_entry.ut_id, "t1", sizeof m_entry.ut_id);
        qstrncpy(m_entry.ut_user, user.constData(), sizeof m_entry.ut_user);
        writeEntry();
    }
    ~TerminalPlace() override
    {
        m_entry.ut_type = DEAD_PROCESS;
        writeEntry();
        close(m_slave);
    }

private:
    void writeEntry()
    {
        setutxent();
        if (pututxline(&m_entry) == nullptr) {
            qFatal("cannot log in: %s", std::strerror(errno));
        }
        endutxent();
    }

    int m_slave = -1;
    utmpx m_entry = {};
};

/// A socket that messages are sent to; for streams, each sender's connection.
class SocketPlace : public DescriptorPlace
{
public:
    /// @p address is in 127.0.0.0/8, @p protocol "udp" or "tcp".
    SocketPlace(const QString &protocol, const QString &address, int port)
    {
        sockaddr_in name = {};
        name.sin_family = AF_INET;
        name.sin_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET, address.toLatin1().constData(), &name.sin_addr);
        listenAt(reinterpret_cast<const sockaddr *>(&name), sizeof name, AF_INET,
                 protocol == "udp"_s ? SOCK_DGRAM : SOCK_STREAM);
    }
    /// At the path @p path; @p type is SOCK_DGRAM or SOCK_STREAM.
    SocketPlace(const QString &path, int type)
    {
        sockaddr_un name = {};
        name.sun_family = AF_UNIX;
        qstrncpy(name.sun_path, QFile::encodeName(path).constData(), sizeof name.sun_path);
        listenAt(reinterpret_cast<const sockaddr *>(&name), sizeof name, AF_UNIX, type);
    }
    ~SocketPlace() override
    {
        if (m_listener >= 0) {
            close(m_listener);
        }
    }
    QByteArray content() override
    {
        int connection = -1;
        while (m_listener >= 0
               && (connection = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC))
                   >= 0) {
            add(connection);
        }
        return DescriptorPlace::content();
    }

private:
    void listenAt(const sockaddr *name, socklen_t size, int family, int type)
    {
        const int descriptor = socket(family, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const int yes = 1;
        setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
        if (descriptor < 0 || bind(descriptor, name, size) != 0
            || (type == SOCK_STREAM && listen(descriptor, SOMAXCONN) != 0)) {
            qFatal("cannot listen: %s", std::strerror(errno));
        }
        if (type == SOCK_STREAM) {
            m_listener = descriptor;
        } else {
            add(descriptor);
        }
    }

    int m_listener = -1;
};

/// Sends a message of @p activity that no other message equals. @return it
inline QByteArray sendMessage(const Activity &activity)
{
    static int number = 0;
    const QString message = "message-%1-ends"_s.arg(++number);
    logMessage(activity.name, activity.facility, "err"_s, message);
    return message.toUtf8();
}

/// Whether messages of @p activity come to @p place. syslog-ng goes on reloading for a moment after
/// the service's answer, so a message may have to be sent again.
inline bool arrivesAt(Place &place, const Activity &activity)
{
    for (int sent = 0; sent < 100; ++sent) {
        const QByteArray message = sendMessage(activity);
        if (QTest::qWaitFor([&] { return place.has(message); }, 200)) {
            return true;
        }
    }
    return false;
}

/// Whether messages of @p activity come to @p place, and no longer to @p formerPlace.
inline bool movesTo(Place &place, Place &formerPlace, const Activity &activity)
{
    if (!arrivesAt(place, activity)) {
        return false;
    }
    const QByteArray message = sendMessage(activity);
    return QTest::qWaitFor([&] { return place.has(message); }, 20000) && !formerPlace.has(message);
}

/// The first activity whose messages do not come to @p place, or without one to its predefined
/// file; an empty text when all come.
inline QString missingAt(Place *place = nullptr)
{
    for (const Activity &activity : activities) {
        FilePlace home(predefinedFile(activity));
        if (!arrivesAt(place != nullptr ? *place : home, activity)) {
            return activity.name;
        }
    }
    return {};
}

/// Sets a setting in the settings service, which tells the service behind it.
inline void setSetting(const QString &name, const QString &value)
{
    QDBusMessage call = QDBusMessage::createMethodCall("com.corvane.Quorvix.SettingsManager"_s,
                                                       "/com/corvane/Quorvix/SettingsManager"_s,
                                                       serviceInterface, "setSettingValue"_s);
    call << name << value;
    const QDBusMessage reply = QDBusConnection::systemBus().call(call);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        qFatal("%s was not set: %s", qPrintable(name), qPrintable(reply.errorMessage()));
    }
}

/// Returns when the service has done what the settings service has asked it for.
inline void waitForService()
{
    text("level"_s);
}

/// Puts the configuration back to a fresh phone's and waits until messages go that way.
/// @return whether they do
inline bool goHome()
{
    resetConfiguration();
    FilePlace home(predefinedFile("qvxsipua"_s));
    return arrivesAt(home, activity("qvxsipua"_s));
}

} // namespace Phone

// A module of the tests' own that runs, and one that does not answer.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTest>

#include <csignal>

/// A running probe module.
class Probe
{
public:
    explicit Probe(const QStringList &words = {QStringLiteral("Probe")},
                   const QProcessEnvironment &environment
                   = QProcessEnvironment::systemEnvironment())
        : m_name(words.first())
    {
        m_process.setProcessEnvironment(environment);
        m_process.start(Phone::probeProgram(), words);
        if (!m_process.waitForStarted()) {
            qFatal("cannot start the probe module");
        }
    }
    ~Probe()
    {
        if (m_process.state() != QProcess::NotRunning) {
            m_process.kill();
            m_process.waitForFinished();
        }
    }
    Q_DISABLE_COPY(Probe)

    bool waitForHook(const QByteArray &hook)
    {
        return QTest::qWaitFor([&] { return output().contains(hook); }, 10000);
    }
    QByteArray output()
    {
        m_output += m_process.readAllStandardOutput();
        return m_output;
    }
    QByteArray errors() { return m_process.readAllStandardError(); }
    int end()
    {
        return m_process.waitForFinished(10000) && m_process.exitStatus() == QProcess::NormalExit
            ? m_process.exitCode()
            : -1;
    }
    qint64 pid() const { return m_process.processId(); }
    void signal(int number) { ::kill(static_cast<pid_t>(pid()), number); }

    QDBusMessage call(const QString &method, const QVariantList &arguments = {},
                      const QString &interface = Phone::serviceInterface)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            QStringLiteral("com.corvane.Quorvix.") + m_name,
            QStringLiteral("/com/corvane/Quorvix/") + m_name, interface, method);
        message.setArguments(arguments);
        return QDBusConnection::systemBus().call(message, QDBus::Block, 30000);
    }
    QVariant value(const QString &method, const QVariantList &arguments = {})
    {
        return call(method, arguments).arguments().value(0);
    }

private:
    QString m_name;
    QProcess m_process;
    QByteArray m_output;
};

/// A module on the bus, played by the test, that takes calls and lets them wait.
class SilentModule : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    explicit SilentModule(const QString &name)
        : m_path(QStringLiteral("/com/corvane/Quorvix/") + name),
          m_service(QStringLiteral("com.corvane.Quorvix.") + name)
    {
        QDBusConnection bus = QDBusConnection::systemBus();
        if (!bus.registerObject(m_path, this, QDBusConnection::ExportAllSlots)
            || !bus.registerService(m_service)) {
            qFatal("cannot play %s", qPrintable(name));
        }
    }
    ~SilentModule() override
    {
        QDBusConnection::systemBus().unregisterService(m_service);
        QDBusConnection::systemBus().unregisterObject(m_path);
    }
    Q_DISABLE_COPY(SilentModule)

    bool waitForCall() const
    {
        return QTest::qWaitFor([this] { return !m_waiting.isEmpty(); }, 10000);
    }
    /// Answers what has come so far.
    void answer(const QString &value)
    {
        for (const QDBusMessage &call : qAsConst(m_waiting)) {
            QDBusConnection::systemBus().send(call.createReply(value));
        }
        m_waiting.clear();
    }

public Q_SLOTS:
    QString getSettingValue(const QString &name, const QDBusMessage &message)
    {
        Q_UNUSED(name)
        message.setDelayedReply(true);
        m_waiting.append(message);
        return {};
    }

private:
    const QString m_path;
    const QString m_service;
    QList<QDBusMessage> m_waiting;
};

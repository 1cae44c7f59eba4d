// Stands in for the service on the phone's bus: answers as a test wants, and notes what is called.
// SPDX-License-Identifier: MIT
#pragma once

#include "phone.h"
#include "programs.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QThread>

#include <functional>

/**
 * Takes the service's name, in place of the one that was booted, until the end of scope. It answers
 * in a thread of its own, one call after the other, so that a test may block meanwhile.
 */
class StandInService
{
public:
    /// What is answered to METHOD with its arguments; called in the other thread.
    using Answer = std::function<QVariant(const QString &, const QVariantList &)>;

    explicit StandInService(Answer answer) : m_object(*this), m_answer(std::move(answer))
    {
        Phone::stopBootedService();
        m_object.moveToThread(&m_thread);
        m_thread.start();
        if (!m_bus.registerVirtualObject(Phone::servicePath, &m_object)
            || !m_bus.registerService(Phone::serviceName)) {
            qFatal("the service's name cannot be had");
        }
    }
    ~StandInService()
    {
        m_bus.unregisterService(Phone::serviceName);
        m_bus.unregisterObject(Phone::servicePath);
        m_thread.quit();
        m_thread.wait();
        QDBusConnection::disconnectFromBus(m_bus.name());
    }
    Q_DISABLE_COPY(StandInService)

    /// The calls until now, each as "METHOD ARGUMENT...".
    QStringList calls() const
    {
        const QMutexLocker locker(&m_mutex);
        return m_calls;
    }
    bool waitForCall(const QString &call) const
    {
        return QTest::qWaitFor([&] { return calls().contains(call); }, 20000);
    }

private:
    class Object : public QDBusVirtualObject
    {
    public:
        explicit Object(StandInService &owner) : m_owner(owner) { }
        QString introspect(const QString & /*path*/) const override { return {}; }
        bool handleMessage(const QDBusMessage &call, const QDBusConnection &bus) override
        {
            QStringList words {call.member()};
            const QVariantList arguments = call.arguments();
            for (const QVariant &argument : arguments) {
                words.append(argument.toString());
            }
            {
                const QMutexLocker locker(&m_owner.m_mutex);
                m_owner.m_calls.append(words.join(QLatin1Char(' ')));
            }
            return bus.send(call.createReply(m_owner.m_answer(call.member(), arguments)));
        }

    private:
        StandInService &m_owner;
    };

    QDBusConnection m_bus
        = QDBusConnection::connectToBus(QDBusConnection::SystemBus, QStringLiteral("stand-in"));
    QThread m_thread;
    Object m_object;
    Answer m_answer;
    mutable QMutex m_mutex;
    QStringList m_calls;
};

// An event's name and arguments.
// SPDX-License-Identifier: MIT
#include <QVX/qvxevent.h>

#include <utility>

QVXEvent::QVXEvent(QString name) : m_name(std::move(name))
{
}

void QVXEvent::addArgument(const QString &key, const QVariant &value, bool replace)
{
    if (replace || !m_arguments.contains(key)) {
        m_arguments.insert(key, value);
    }
}

// An event's name and arguments.
// SPDX-License-Identifier: MIT
#include <QVX/qvxevent.h>

QVXEvent::QVXEvent(const QString &name)
    : m_name(name)
{
}

void QVXEvent::addArgument(const QString &key, const QVariant &value, bool replace)
{
    if (replace || !m_arguments.contains(key)) {
        m_arguments.insert(key, value);
    }
}

// What an error object remembers.
// SPDX-License-Identifier: MIT
#include <QVX/qvxexception.h>

#include <QObject>

#include <utility>

QVXException::QVXException(const QObject *module, Type type, QString text)
    : m_moduleName(module ? module->objectName() : QString()), m_type(type), m_text(std::move(text))
{
}

// Texts of the tests as QString, written "..."_s.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

inline QString operator""_s(const char *text, size_t length)
{
    return QString::fromUtf8(text, static_cast<int>(length));
}

// Takes a fuzzer's bytes apart. Inputs are texts of lines, so that a person can write and read
// them.
// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>

#include <cstddef>
#include <cstdint>

namespace Fuzz {

inline QByteArray bytes(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), static_cast<int>(size)};
}

/// Takes the first line off @p rest. @return the line without its line feed
inline QByteArray takeLine(QByteArray &rest)
{
    const int end = rest.indexOf('\n');
    const QByteArray line = rest.left(end);
    rest = end < 0 ? QByteArray() : rest.mid(end + 1);
    return line;
}

/// A number that depends on every byte of @p text, for a choice where the text itself makes none.
inline unsigned choice(const QByteArray &text, unsigned count)
{
    unsigned sum = 0;
    for (const char byte : text) {
        sum = sum * 31 + static_cast<unsigned char>(byte);
    }
    return sum % count;
}

} // namespace Fuzz

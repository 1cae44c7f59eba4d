// A second, plain implementation of what logappli.conf means and of how an edit changes it, on
// bytes and with the standard library only, to hold the service's own against.
// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace Reference {

/// One block, without padding. A field that the block does not have is "none".
struct Activity
{
    std::u16string name = u"none";
    std::u16string facilityValue = u"none";
    std::u16string level = u"none";
    std::u16string support = u"none";
    std::u16string target = u"none";
};

std::vector<Activity> activities(const std::vector<std::u16string> &lines);

/// Without the white space at both ends.
std::u16string trimmed(const std::u16string &text);

/// Whether @p line begins the block of @p name; of any block when @p name is empty.
bool beginsBlock(const std::string &line, const std::string &name);

/// @p content as the service writes it: without carriage returns, with a line feed at its end.
std::string normalised(const std::string &content);

/// The whole file with another lowest level. @p name is empty for every block.
std::string withLevel(const std::string &content, const std::string &name,
                      const std::string &level);

/// The whole file with another destination. @p name is empty for every block.
std::string withDestination(const std::string &content, const std::string &name,
                            const std::string &expression);

/// Whether a level edit of @p line has a place for the level and touches nothing else: the range
/// stands behind that place.
bool isPlainForLevel(const std::string &line);

/// Whether @p text is a destination that the service accepts.
bool isDestination(const std::u16string &text);

/// The value of a decimal number that fits an int, with white space and one sign before it allowed
/// and white space behind it. @return whether @p text is one
bool isNumber(const std::u16string &text, long long *value);

} // namespace Reference

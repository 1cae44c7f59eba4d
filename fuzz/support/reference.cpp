// Byte-wise reading and editing of logappli.conf, and hand-written recognisers.
// SPDX-License-Identifier: MIT
#include "reference.h"

#include <algorithm>
#include <functional>
#include <limits>

namespace Reference {

namespace {

/// White space as Unicode has it.
bool isSpace(char16_t unit)
{
    return unit == 0x20 || (unit >= 0x09 && unit <= 0x0d) || unit == 0x85 || unit == 0xa0
        || unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200a) || unit == 0x2028 || unit == 0x2029
        || unit == 0x202f || unit == 0x205f || unit == 0x3000;
}

/// What stands between @p opening and the next @p closing. @return whether there is such a place
template<typename Text>
bool between(const Text &line, const Text &opening, const Text &closing, Text *inside)
{
    const auto start = line.find(opening);
    if (start == Text::npos) {
        return false;
    }
    const Text rest = line.substr(start + opening.size());
    const auto end = rest.find(closing);
    if (end == Text::npos) {
        return false;
    }
    *inside = rest.substr(0, end);
    return true;
}

void readDestination(const std::u16string &line, Activity *activity)
{
    const auto brace = line.find(u'{');
    if (line.find(u"destination") == std::u16string::npos || brace == std::u16string::npos) {
        return;
    }
    std::u16string rest = line.substr(brace + 1);
    rest = rest.substr(0, rest.find(u"); };"));
    const auto opening = rest.find(u"(\"");
    if (opening == std::u16string::npos) {
        return;
    }
    activity->support = trimmed(rest.substr(0, opening));
    const auto cut = std::min(rest.size(), activity->support.size() + 3);
    activity->target = activity->support == u"udp" || activity->support == u"tcp" ? u"IP :" : u"";
    activity->target += rest.substr(cut);
    auto &target = activity->target;
    target.erase(std::remove(target.begin(), target.end(), u'"'), target.end());
}

std::vector<std::string> linesOf(const std::string &content)
{
    std::vector<std::string> lines;
    std::string line;
    for (const char byte : content) {
        if (byte == '\n') {
            lines.push_back(line);
            line.clear();
        } else if (byte != '\r') {
            line += byte;
        }
    }
    if (!line.empty()) {
        lines.push_back(line);
    }
    return lines;
}

using LineEdit = std::function<bool(const std::string &line, std::string *edited)>;

std::string edited(const std::string &content, const std::string &name, const LineEdit &edit)
{
    bool inBlock = false;
    bool done = false;
    std::string result;
    for (const std::string &line : linesOf(content)) {
        inBlock = inBlock || beginsBlock(line, name);
        std::string newLine;
        const bool isEdited = inBlock && !done && edit(line, &newLine);
        result += (isEdited ? newLine : line) + '\n';
        done = done || (isEdited && !name.empty());
    }
    return result;
}

bool isDigit(char16_t unit)
{
    return unit >= u'0' && unit <= u'9';
}

bool isLetter(char16_t unit)
{
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

bool isOctet(const std::u16string &text)
{
    if (text.empty() || text.size() > 3 || !std::all_of(text.begin(), text.end(), isDigit)) {
        return false;
    }
    int number = 0;
    for (const char16_t digit : text) {
        number = number * 10 + (digit - u'0');
    }
    return number <= 255;
}

bool isAddress(const std::u16string &text)
{
    std::size_t start = 0;
    int octets = 0;
    for (;;) {
        const auto dot = text.find(u'.', start);
        if (!isOctet(text.substr(start, dot == std::u16string::npos ? dot : dot - start))) {
            return false;
        }
        ++octets;
        if (dot == std::u16string::npos) {
            return octets == 4;
        }
        start = dot + 1;
    }
}

bool isHost(const std::u16string &text)
{
    if (text.size() < 2 || !isLetter(text.front())) {
        return false;
    }
    bool afterSeparator = false;
    for (const char16_t unit : text) {
        const bool isSeparator = unit == u'-' || unit == u'.';
        if ((isSeparator && afterSeparator)
            || (!isSeparator && !isLetter(unit) && !isDigit(unit))) {
            return false;
        }
        afterSeparator = isSeparator;
    }
    return !afterSeparator;
}

bool isNetworkDestination(const std::u16string &text)
{
    std::size_t position = 0;
    const auto take = [&](const std::u16string &word) {
        if (text.compare(position, word.size(), word) != 0) {
            return false;
        }
        position += word.size();
        return true;
    };
    const auto takeAll = [&](auto &&accepts) {
        const std::size_t start = position;
        while (position < text.size() && accepts(text[position])) {
            ++position;
        }
        return text.substr(start, position - start);
    };
    const auto isBlank = [](char16_t unit) { return unit == u' '; };
    const auto isQuote = [](char16_t unit) { return unit == u'"'; };

    if (!take(u"udp") && !take(u"tcp")) {
        return false;
    }
    takeAll(isBlank);
    if (!take(u"(\"")) {
        return false;
    }
    const std::u16string server
        = takeAll([&](char16_t unit) { return !isBlank(unit) && !isQuote(unit); });
    takeAll(isQuote);
    if (!take(u" port")) {
        return false;
    }
    takeAll(isBlank);
    if (!take(u"(")) {
        return false;
    }
    const std::u16string digits = takeAll(isDigit);
    if (!take(u"))") || position != text.size() || digits.empty() || digits.size() > 5) {
        return false;
    }
    int port = 0;
    for (const char16_t digit : digits) {
        port = port * 10 + (digit - u'0');
    }
    return port >= 1 && port <= 65535 && (isAddress(server) || isHost(server));
}

} // namespace

std::u16string trimmed(const std::u16string &text)
{
    const auto first = std::find_if_not(text.begin(), text.end(), isSpace);
    const auto last = std::find_if_not(text.rbegin(), text.rend(), isSpace).base();
    return first < last ? std::u16string(first, last) : std::u16string();
}

std::vector<Activity> activities(const std::vector<std::u16string> &lines)
{
    std::vector<Activity> found;
    Activity current;
    for (const std::u16string &line : lines) {
        const std::u16string endMarker = u"# END";
        const auto end = line.find(endMarker);
        std::u16string inside;
        if (between<std::u16string>(line, u"level(", u"..", &inside)) {
            current.level = inside;
        }
        if (between<std::u16string>(line, u"facility(", u")", &inside)) {
            current.facilityValue = inside;
        }
        readDestination(line, &current);
        if (end != std::u16string::npos) {
            current.name = trimmed(line.substr(end + endMarker.size()));
            found.push_back(current);
            current = Activity();
        }
    }
    return found;
}

bool beginsBlock(const std::string &line, const std::string &name)
{
    const std::string marker = "# BEGIN " + name;
    const auto start = line.find(marker);
    if (start == std::string::npos || name.empty()) {
        return start != std::string::npos;
    }
    // The marker begins with no white space, so only the end is to be looked at. White space
    // outside ASCII is as good as a blank.
    static const std::vector<std::string> spaces {" ",
                                                  "\t",
                                                  "\v",
                                                  "\f",
                                                  "\xc2\x85",
                                                  "\xc2\xa0",
                                                  "\xe1\x9a\x80",
                                                  "\xe2\x80\x80",
                                                  "\xe2\x80\x81",
                                                  "\xe2\x80\x82",
                                                  "\xe2\x80\x83",
                                                  "\xe2\x80\x84",
                                                  "\xe2\x80\x85",
                                                  "\xe2\x80\x86",
                                                  "\xe2\x80\x87",
                                                  "\xe2\x80\x88",
                                                  "\xe2\x80\x89",
                                                  "\xe2\x80\x8a",
                                                  "\xe2\x80\xa8",
                                                  "\xe2\x80\xa9",
                                                  "\xe2\x80\xaf",
                                                  "\xe2\x81\x9f",
                                                  "\xe3\x80\x80",
                                                  "\r",
                                                  "\n"};
    std::string tail = line.substr(start);
    for (bool cut = true; cut;) {
        cut = std::any_of(spaces.begin(), spaces.end(), [&](const std::string &space) {
            if (tail.size() < space.size()
                || tail.compare(tail.size() - space.size(), space.size(), space) != 0) {
                return false;
            }
            tail.resize(tail.size() - space.size());
            return true;
        });
    }
    return tail == marker;
}

std::string normalised(const std::string &content)
{
    std::string result;
    for (const std::string &line : linesOf(content)) {
        result += line + '\n';
    }
    return result;
}

std::string withLevel(const std::string &content, const std::string &name, const std::string &level)
{
    return edited(content, name, [&](const std::string &line, std::string *newLine) {
        const std::string key = "level(";
        const auto start = line.find(key);
        if (start == std::string::npos) {
            return false;
        }
        const auto range = line.find("..");
        *newLine = line.substr(0, start + key.size()) + level
            + line.substr(range == std::string::npos ? 0 : range);
        return true;
    });
}

std::string withDestination(const std::string &content, const std::string &name,
                            const std::string &expression)
{
    return edited(content, name, [&](const std::string &line, std::string *newLine) {
        const std::string key = "destination d_" + (name.empty() ? "" : name + " {");
        const auto start = line.find(key);
        const auto brace = name.empty() ? line.find('{') : start + key.size() - 1;
        if (start == std::string::npos || brace == std::string::npos) {
            return false;
        }
        *newLine = line.substr(0, brace + 1) + ' ' + expression + "; };";
        return true;
    });
}

bool isPlainForLevel(const std::string &line)
{
    const auto start = line.find("level(");
    return start != std::string::npos && line.find("..") != std::string::npos
        && line.find("..") > start;
}

bool isDestination(const std::u16string &text)
{
    if (text.find_first_of(std::u16string(u"\n\r\0", 3)) != std::u16string::npos
        || text.find(u"# BEGIN ") != std::u16string::npos
        || text.find(u"# END") != std::u16string::npos) {
        return false;
    }
    if (text == u"V24" || text == u"init" || isNetworkDestination(text)) {
        return true;
    }
    for (const char16_t *kind :
         {u"program", u"unix-stream", u"unix-dgram", u"pipe", u"file", u"flash", u"usertty"}) {
        const std::u16string opening = std::u16string(kind) + u"(\"";
        if (text.size() >= opening.size() + 2 && text.compare(0, opening.size(), opening) == 0
            && text.compare(text.size() - 2, 2, u"\")") == 0) {
            const std::u16string target
                = text.substr(opening.size(), text.size() - opening.size() - 2);
            return target.find_first_of(u"()") == std::u16string::npos;
        }
    }
    return false;
}

bool isNumber(const std::u16string &text, long long *value)
{
    std::u16string digits = trimmed(text);
    const bool isNegative = !digits.empty() && digits.front() == u'-';
    if (!digits.empty() && (isNegative || digits.front() == u'+')) {
        digits.erase(0, 1);
    }
    if (digits.empty() || !std::all_of(digits.begin(), digits.end(), isDigit)) {
        return false;
    }
    *value = 0;
    for (const char16_t digit : digits) {
        *value = std::min(*value * 10 + (digit - u'0'), 1LL << 40);
    }
    *value = isNegative ? -*value : *value;
    return *value >= std::numeric_limits<int>::min() && *value <= std::numeric_limits<int>::max();
}

} // namespace Reference

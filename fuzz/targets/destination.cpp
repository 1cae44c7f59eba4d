// Fuzzes the check of destinations. The input: one destination text, or three lines with protocol,
// server and port.
// SPDX-License-Identifier: MIT
#include "destinations/destinationsyntax.h"
#include "support/input.h"
#include "support/property.h"
#include "support/reference.h"
#include "syslogconf/predefineddestination.h"
#include "syslogconf/textfile.h"

#include <array>

namespace {

void checkDestination(const QString &text)
{
    const bool isValid = isDestinationValid(text);
    FUZZ_REQUIRE(isValid == Reference::isDestination(text.toStdU16String()));
    FUZZ_REQUIRE((driverExpression(text) == text) == (text != QLatin1String("V24")));
    if (!isValid) {
        return;
    }
    const bool isAddress = isNetworkAddressDestination(text);
    const bool isHost = isNetworkHostDestination(text);
    FUZZ_REQUIRE(!(isAddress && isHost));
    FUZZ_REQUIRE(
        (isAddress || isHost)
        == (text.startsWith(QLatin1String("udp")) || text.startsWith(QLatin1String("tcp"))));
    FUZZ_REQUIRE(isDestinationValid(driverExpression(text)));
    // Nothing may stand around an accepted text.
    FUZZ_REQUIRE(!isDestinationValid(text + QLatin1Char(' ')));
    FUZZ_REQUIRE(!isDestinationValid(QLatin1Char(' ') + text));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const std::array<const char *, 8> kinds {"file", "flash",      "pipe",        "program",
                                                    "ram",  "unix-dgram", "unix-stream", "usertty"};
    QByteArray rest = Fuzz::bytes(data, size);
    checkDestination(decodeText(rest));
    if (!rest.contains('\n')) {
        checkDestination(QLatin1String(kinds.at(Fuzz::choice(rest, kinds.size())))
                         + QStringLiteral("(\"") + decodeText(rest) + QStringLiteral("\")"));
        return 0;
    }
    const QString protocol = decodeText(Fuzz::takeLine(rest));
    const QString server = decodeText(Fuzz::takeLine(rest));
    checkDestination(networkDestination(protocol, server, decodeText(rest)));
    checkDestination(predefinedDestination(protocol, DefenceLog::OfAnyDefence));
    checkDestination(predefinedDestination(protocol, DefenceLog::OfDefenceAlone));
    return 0;
}

// Fuzzes what the web page's gateway takes from a request. The input: lines with method, address,
// content type and origin, then the body.
// SPDX-License-Identifier: MIT
#include "client/changes.h"
#include "destinations/destinationsyntax.h"
#include "support/input.h"
#include "support/property.h"
#include "web/gateway/destination.h"
#include "web/gateway/page.h"
#include "web/gateway/request.h"

#include <QRegularExpression>

namespace {

/// All that a destination of the page can be.
bool isHarmless(const QString &destination)
{
    static const QRegularExpression known(QRegularExpression::anchoredPattern(QStringLiteral(
        "init|V24|file\\(\"/(var/log|log/flash)/[A-Za-z0-9._+-]+\\.log\"\\)"
        "|usertty\\(\"[a-z0-9_-]+\"\\)|(udp|tcp)\\(\"[A-Za-z0-9.-]+\" port\\([0-9]{1,5}\\)\\)")));
    return known.match(destination).hasMatch();
}

void checkRefusal(const Answer &refused)
{
    FUZZ_REQUIRE(refused.status == 0 || (refused.status >= 400 && refused.status < 500));
    FUZZ_REQUIRE((refused.status == 0)
                 == refused.body.value(QStringLiteral("error")).toString().isEmpty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QByteArray body = Fuzz::bytes(data, size);
    CgiVariables variables {
        {"SCRIPT_NAME", "/logging/api"}, {"HTTP_HOST", "phone"}, {"HTTP_X_LOGGING_PAGE", "1"}};
    variables.insert("REQUEST_METHOD", Fuzz::takeLine(body));
    const QByteArray address = Fuzz::takeLine(body);
    variables.insert("REQUEST_URI", address);
    variables.insert("QUERY_STRING", address.mid(address.indexOf('?') + 1));
    variables.insert("CONTENT_TYPE", Fuzz::takeLine(body));
    const QByteArray origin = Fuzz::takeLine(body);
    if (!origin.isEmpty()) {
        variables.insert("HTTP_ORIGIN", origin);
    }
    variables.insert("CONTENT_LENGTH", QByteArray::number(body.size()));

    Answer refused;
    const WebRequest request = readRequest(variables, body, &refused);
    checkRefusal(refused);
    FUZZ_REQUIRE(refused.status != 0 || !request.change || origin.isEmpty()
                 || origin == "http://phone");

    QJsonObject wanted = request.body;
    wanted.insert(QStringLiteral("activity"), QStringLiteral("qvxsipua"));
    Answer wrong;
    const Request change = destinationRequest(wanted, &wrong);
    checkRefusal(wrong);
    if (wrong.status == 0) {
        const QString destination = destinationOf(change);
        FUZZ_REQUIRE(isHarmless(destination));
        FUZZ_REQUIRE(isDestinationValid(destination));
    }

    const QByteArray page = filled("<tbody id=\"rows\"></tbody>"
                                   "<script type=\"application/json\" id=\"first\"></script>",
                                   {200, request.body});
    FUZZ_REQUIRE(page.count("<script") == 1 && page.count("</script") == 1);
    return 0;
}

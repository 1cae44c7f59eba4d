// The web page's gateway, started by a test as the web server starts it, and web servers of a
// test's own. SPDX-License-Identifier: MIT
#pragma once

#include "literal.h"
#include "phone.h"
#include "programs.h"
#include "web.h"

#include <QTemporaryDir>

namespace Gateway {

const QString program = QStringLiteral("/usr/libexec/loggermodule/web/logginggateway");

/// The words of a command line that runs it for the request METHOD RESOURCE, with more variables
/// NAME=VALUE.
inline QStringList command(const QString &method, const QString &resource,
                           const QStringList &variables = {})
{
    return QStringList {"env"_s,
                        "-i"_s,
                        "SCRIPT_NAME=/logging/api"_s,
                        "HTTP_HOST=phone"_s,
                        "HTTP_X_LOGGING_PAGE=1"_s,
                        "CONTENT_TYPE=application/json"_s,
                        "REQUEST_METHOD="_s + method,
                        "REQUEST_URI=/logging/api/"_s + resource,
                        "QUERY_STRING="_s + resource.section(QLatin1Char('?'), 1)}
    + variables + QStringList {program};
}

/// What it has printed, as a response.
inline Web::Response response(const QByteArray &output)
{
    const int end = output.indexOf("\r\n\r\n");
    Web::Response response;
    response.headers = output.left(end);
    response.status = output.left(output.indexOf('\r')).split(' ').value(1).toInt();
    response.body = output.mid(end + 4);
    return response;
}

/// Asks it for a resource.
inline Web::Response get(const QString &resource, const QStringList &variables = {})
{
    return response(runProgram(command("GET"_s, resource, variables)).output);
}

/// Sends it @p body.
inline Web::Response post(const QString &resource, const QByteArray &body,
                          const QStringList &variables = {})
{
    const QString length = "CONTENT_LENGTH="_s + QString::number(body.size());
    return response(runProgram(QStringList {"sh"_s, "-c"_s, "printf %s \"$0\" | \"$@\""_s,
                                            QString::fromUtf8(body)}
                               + command("POST"_s, resource, QStringList {length} + variables))
                        .output);
}

} // namespace Gateway

/// A web server with the page's configuration on another port of 127.0.0.1 than the phone's, until
/// the end of scope.
class OwnWebServer
{
public:
    /// With @p more behind the page's configuration. A test of the configuration waits itself.
    explicit OwnWebServer(int port, const QByteArray &more = {})
        : m_file(m_directory.filePath("lighttpd.conf"_s)), m_server(command(port, more))
    {
    }
    int stop() { return m_server.endBy(SIGTERM); }

private:
    QStringList command(int port, const QByteArray &more) const
    {
        Phone::write(m_file,
                     "server.document-root = \"/www/pages\"\nserver.bind = \"127.0.0.1\"\n"
                     "server.port = "
                         + QByteArray::number(port)
                         + "\nindex-file.names = ( \"index.html\" )\n"
                           "mimetype.assign = ( \".html\" => \"text/html\" )\n"
                           "include \"/usr/share/loggermodule/web/logging.conf\"\n"
                         + more);
        return {"lighttpd"_s, "-D"_s, "-f"_s, m_file};
    }

    QTemporaryDir m_directory;
    QString m_file;
    RunningProgram m_server;
};

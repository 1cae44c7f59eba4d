// What the web page costs: the table over HTTP beside the same call on the bus, the memory of a
// page that is open, and many open pages while levels change quickly. The web server is one of its
// own, without a password, because the benchmark is no browser. SPDX-License-Identifier: MIT
#include "measure.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr quint16 port = 8090;
constexpr int pages = 20;
constexpr int changes = 100;
constexpr int changesPerSecond = 20;

/// A connection to the web server.
class Connection
{
public:
    /// Sends a request for @p path.
    explicit Connection(const QByteArray &path)
        : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_open = connect(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
        const QByteArray request
            = "GET " + path + " HTTP/1.1\r\nHost: phone\r\nConnection: close\r\n\r\n";
        m_open = m_open
            && write(m_socket, request.constData(), static_cast<size_t>(request.size()))
                == request.size();
    }
    ~Connection() { close(m_socket); }
    Q_DISABLE_COPY(Connection)

    bool isOpen() const { return m_open; }

    /// What has come until the other side closes, or, with @p timeout ms, until nothing comes for
    /// so long.
    QByteArray read(int timeout)
    {
        char buffer[65536];
        pollfd ready {m_socket, POLLIN, 0};
        while (poll(&ready, 1, timeout) == 1) {
            const ssize_t size = ::read(m_socket, buffer, sizeof buffer);
            if (size <= 0) {
                break;
            }
            m_received.append(buffer, static_cast<int>(size));
        }
        return m_received;
    }

private:
    int m_socket;
    bool m_open = false;
    QByteArray m_received;
};

void fail(const char *what)
{
    static_cast<void>(std::fprintf(stderr, "bench_web: %s\n", what));
    std::exit(EXIT_FAILURE);
}

/// The processes of the gateway.
QStringList gateways()
{
    QStringList found;
    const QStringList names = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &name : names) {
        QFile file(QStringLiteral("/proc/%1/comm").arg(name)); // it may be gone by now
        if (file.open(QIODevice::ReadOnly) && file.readAll() == "logginggateway\n") {
            found.append(name);
        }
    }
    return found;
}

/// In KiB, what only @p process has in memory.
double privateMemory(const QString &process)
{
    double sum = 0;
    const QList<QByteArray> lines
        = Measure::readFile(QStringLiteral("/proc/%1/smaps_rollup").arg(process)).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith("Private_")) {
            sum += line.simplified().split(' ').value(1).toDouble();
        }
    }
    return sum;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    const int runs = Measure::begin(argc, argv, 60);
    const Measure::Service service(Measure::installedService);
    const QTemporaryDir directory;
    const QString configuration = directory.filePath(QStringLiteral("lighttpd.conf"));
    QByteArray text = Measure::readFile(QStringLiteral("/usr/share/loggermodule/web/logging.conf"));
    text.replace("include_shell", "# ");
    Measure::writeFile(configuration,
                       "server.document-root = \"/www/pages\"\nserver.bind = \"127.0.0.1\"\n"
                       "server.port = "
                           + QByteArray::number(port)
                           + "\nmimetype.assign = ( \".css\" => \"text/css\" )\n"
                             "alias.url = ()\nurl.redirect = ()\n"
                           + text);
    QProcess server;
    server.start(QStringLiteral("lighttpd"),
                 {QStringLiteral("-D"), QStringLiteral("-f"), configuration});
    QElapsedTimer waiting;
    waiting.start();
    while (!Connection("/").isOpen()) {
        if (waiting.hasExpired(20000)) {
            fail("the web server did not start");
        }
    }

    QVector<double> calls;
    QVector<double> requests;
    QVector<double> starts;
    QVector<double> connectedStarts;
    for (int run = 0; run < runs; ++run) {
        calls.append(
            Measure::time([] { static_cast<void>(Measure::call(QStringLiteral("level"))); }));
        requests.append(Measure::time([] {
            Connection connection("/logging/api/activities");
            if (!connection.read(-1).contains("\"qvxsipua\"")) {
                fail("the table did not come");
            }
        }));
        starts.append(Measure::time([] { Measure::run(QStringLiteral(EMPTY_PROGRAM), {}); }));
        connectedStarts.append(Measure::time(
            [] { Measure::run(QStringLiteral(EMPTY_PROGRAM), {QStringLiteral("bus")}); }));
    }
    const double call = Measure::median(calls);
    const double request = Measure::median(requests);
    const double start = Measure::median(starts);
    Measure::print("the table on the bus", call, runs);
    Measure::print("the table over HTTP", request, runs);
    Measure::print("the start of an empty Qt program", start, runs);
    const double connected = Measure::median(connectedStarts);
    Measure::print("of one that is connected to the bus", connected, runs);
    Measure::printRatio("what HTTP adds to an empty program's start", (request - call) / start,
                        1.0);
    Measure::printRatio("to that of one that is connected", (request - call) / connected, "none",
                        true);

    {
        Connection page("/logging/api/events");
        static_cast<void>(page.read(500));
        const QStringList found = gateways();
        if (found.size() != 1) {
            fail("there is not one process for one page");
        }
        std::printf("  %-50s %10.0f KiB\n", "private memory of one open page",
                    privateMemory(found.first()));
    }

    std::vector<std::unique_ptr<Connection>> open;
    for (int page = 0; page < pages; ++page) {
        open.push_back(std::make_unique<Connection>("/logging/api/events"));
    }
    for (const auto &page : open) {
        if (!page->read(300).contains("event: activities")) {
            fail("a page has no table");
        }
    }
    QElapsedTimer clock;
    clock.start();
    for (int change = 1; change <= changes; ++change) {
        // The last one is "notice", which no other is.
        const QString level = change == changes ? QStringLiteral("notice")
            : change % 2 == 0                   ? QStringLiteral("debug")
                                                : QStringLiteral("info");
        Measure::call(QStringLiteral("level"), {QStringLiteral("qvxsipua"), level});
        const qint64 early = change * 1000LL / changesPerSecond - clock.elapsed();
        if (early > 0) {
            usleep(static_cast<useconds_t>(early * 1000));
        }
    }
    const double seconds = static_cast<double>(clock.elapsed()) / 1000;
    int current = 0;
    for (const auto &page : open) {
        const QByteArray all = page->read(1000);
        const QByteArray last = all.mid(all.lastIndexOf("event: activities"));
        const int row = last.indexOf("{\"activity\":\"qvxsipua\"");
        current
            += last.mid(row, last.indexOf('}', row) - row).contains("\"level\":\"notice\"") ? 1 : 0;
    }
    std::printf("  %-50s %10.1f a second\n", "level changes with 20 open pages", changes / seconds);
    std::printf("  %-50s %10d of %d\n", "pages that show the last state", current, pages);
    Measure::call(QStringLiteral("level"), {QStringLiteral("qvxsipua"), QStringLiteral("err")});
    open.clear();
    server.terminate();
    server.waitForFinished();
    return current == pages ? EXIT_SUCCESS : EXIT_FAILURE;
}

// The table of subcommands.
// SPDX-License-Identifier: MIT
#include "commands.h"

#include <algorithm>
#include <array>

namespace {

// For the table, whose functions take the arguments alone.
template<Operation operation>
Reading nothing(const QStringList &arguments)
{
    return readNothing(operation, arguments);
}

template<Operation operation>
Reading one(const QStringList &arguments)
{
    return readOne(operation, arguments);
}

constexpr std::array<Command, 20> table {{
    {"level", "\nACTIVITY LEVEL\nall LEVEL\nall init\nall restore",
     "list the activities; set the level of one or of all",
     "Without arguments: the activities of this phone, their levels and destinations.\n"
     "\n"
     "ACTIVITY is a name from that list. LEVEL is emerg, err, warning, notice, info or\n"
     "debug: messages up to that level are logged, so debug logs most.\n"
     "'all init' puts every activity back to err. 'all restore' replaces the phone's\n"
     "syslog configuration by its backup, with its levels and destinations.",
     "\nqvxsipua debug\nall init", readLevel},
    {"redirect",
     "\nACTIVITY ram|flash NAME\nACTIVITY usertty USER\nACTIVITY udp|tcp ADDRESS PORT\n"
     "ACTIVITY DESTINATION\nall init",
     "list the destinations; send a log elsewhere",
     "Without arguments: the activities of this phone, their levels and destinations.\n"
     "\n"
     "ACTIVITY is a name from that list, or 'all'. A log goes\n"
     "  ram NAME              to the file /var/log/NAME.log, lost at switching off\n"
     "  flash NAME            to the file /log/flash/NAME.log\n"
     "  usertty USER          to the terminals where USER is logged in\n"
     "  udp|tcp ADDRESS PORT  to a log server: IPv4 address or host name\n"
     "  V24                   to the serial console\n"
     "  DESTINATION           where a syslog-ng text says: file(\"/var/log/sip.log\"),\n"
     "                        udp(\"10.1.2.3\" port(514)), program(\"...\"), pipe(\"...\"),\n"
     "                        unix-stream(\"...\"), unix-dgram(\"...\"), usertty(\"...\")\n"
     "'all init' puts every activity back on its own file.\n"
     "Put a DESTINATION into single quotes. One that syslog-ng refuses is answered\n"
     "like a success, and the configuration's backup is in place afterwards: look at\n"
     "'loggerctl redirect' again.",
     "\nqvxsipua udp 10.1.2.3 514\nqvxsipua ram sip\nqvxsipua 'file(\"/var/log/sip.log\")'\nall "
     "init",
     readRedirect},
    {"levels", "get\nset ACTIVITY:LEVEL...\nreset",
     "read or set the levels of several activities at once",
     "get    the levels of the phone's main activities\n"
     "set    changes the levels of several activities\n"
     "reset  puts every activity back to err\n"
     "\n"
     "set and reset are answered at once; the work is done behind, and its own\n"
     "outcome is not told. 'loggerctl level' shows it.",
     "get\nset qvxsipua:debug Telephony:warning\nreset", readLevels},
    {"defence", "COUNT read\nCOUNT delete\n0 size", "read, trim or count the defence log in flash",
     "read    prints the newest COUNT lines\n"
     "delete  removes the newest COUNT lines\n"
     "size    tells how many lines there are; COUNT does not matter",
     "20 read\n5 delete\n0 size", readDefence},
    {"delete", "\nflash", "delete the log files in RAM, or in RAM and flash",
     "Deletes the files in /var/log whose names have a dot, with 'flash' those in\n"
     "/log/flash too, and lets the syslog daemon begin new ones. The defence log\n"
     "stays.\n"
     "There is no way back.",
     "\nflash", readDelete},
    {"archive", "", "pack all logs and core dumps for the web interface",
     "The archive is /var/volatile/tmp/all_logs.tar.gz; the phone's web server offers\n"
     "it as /all_logs.tar.gz. This may take half a minute. When a log grows while it\n"
     "is packed, the answer is 'Error on exit': try again.",
     "", nothing<Operation::Archive>},
    {"comment", "ACTIVITY TEXT...", "write a comment into the log of an activity",
     "The comment is written whatever the level of the activity.",
     "qvxsipua \"call failed at 10:32\"", readComment},
    {"watch", "", "print level changes when they are announced",
     "Each change is a line: the activity, or 'all', and its new level. Changes are\n"
     "announced when they begin, also when they then fail. Ctrl-C ends it with\n"
     "status 0.",
     "", nothing<Operation::Watch>},
    {"remote", "", "print the remote log server's settings",
     "Asks the phone's settings service, which holds them. UNDEFINED is a setting that\n"
     "is not set. They take effect when the service starts or when one is changed.",
     "", nothing<Operation::ShowRemote>},
    {"deleteTmpLogFiles", "\nflash", "the same as delete",
     "Deletes the files in /var/log whose names have a dot, with 'flash' those in\n"
     "/log/flash too, and lets the syslog daemon begin new ones.",
     "\nflash", readDelete},
    {"getSyslogLevels", "", "the same as levels get",
     "Prints the levels of the phone's main activities.", "", nothing<Operation::GetLevels>},
    {"setSyslogLevels", "LEVELS", "the same as levels set, with one text",
     "LEVELS is a list ACTIVITY:LEVEL,ACTIVITY:LEVEL without blanks, which may stand\n"
     "in braces.\n"
     "The answer comes at once; the work is done behind.",
     "'{qvxsipua:debug,Telephony:warning}'", one<Operation::SetLevels>},
    {"resetSyslogLevelsToErr", "", "the same as levels reset",
     "Puts every activity back to err.\n"
     "The answer comes at once; the work is done behind.",
     "", nothing<Operation::ResetLevels>},
    {"generateLogsForWeb", "", "the same as archive",
     "Packs all logs and core dumps into one archive, which the phone's web server\n"
     "offers as /all_logs.tar.gz.",
     "", nothing<Operation::Archive>},
    {"logComments", "ACTIVITY TEXT...", "the same as comment",
     "Writes a comment into the log of an activity, whatever its level.",
     "qvxsipua \"call failed at 10:32\"", readComment},
    {"logRemoteServer", "true|false", "tell the service whether a log server exists",
     "The settings service calls this when LogRemoteServerExist changes: that is the\n"
     "way to change a setting for good. Used here, it acts once: 'true' sends all logs\n"
     "to the log server as the service knows it, anything else puts every activity\n"
     "back on its own file.",
     "true", one<Operation::RemoteServer>},
    {"logRemoteServerProto", "udp|tcp", "tell the service the log server's protocol",
     "The settings service calls this when LogRemoteServerProtocol changes: that is\n"
     "the way to change a setting for good. Used here, it lasts until the service\n"
     "ends.",
     "udp", one<Operation::RemoteProtocol>},
    {"logRemoteServerAddress", "ADDRESS", "tell the service the log server's address",
     "The settings service calls this when LogRemoteServerAddress changes: that is the\n"
     "way to change a setting for good. Used here, it lasts until the service ends.\n"
     "ADDRESS is an IPv4 address or a host name.",
     "10.1.2.3", one<Operation::RemoteAddress>},
    {"logRemoteServerPort", "PORT", "tell the service the log server's port",
     "The settings service calls this when LogRemoteServerPort changes: that is the\n"
     "way to change a setting for good. Used here, it lasts until the service ends.",
     "514", one<Operation::RemotePort>},
    {"help", "\nSUBCOMMAND", "print this help, or that of a subcommand", "The same as --help.",
     "\nredirect", nullptr},
}};

QString text(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

/// Each line of @p arguments behind the words that call @p command.
QString callLines(const Command &command, const char *arguments, const QString &margin)
{
    QString lines;
    const QStringList all = text(arguments).split(QLatin1Char('\n'));
    for (const QString &line : all) {
        const QString call
            = QStringLiteral("loggerctl ") + text(command.name) + QLatin1Char(' ') + line;
        lines += margin + call.trimmed() + QLatin1Char('\n');
    }
    return lines;
}

} // namespace

QStringList commandNames()
{
    QStringList names;
    for (const Command &command : table) {
        names.append(text(command.name));
    }
    return names;
}

const Command *findCommand(const QString &name)
{
    const auto *const found
        = std::find_if(table.begin(), table.end(), [&name](const Command &command) {
              return name == QLatin1String(command.name);
          });
    return found != table.end() ? &*found : nullptr;
}

QString usageOf(const Command &command)
{
    return callLines(command, command.forms, QStringLiteral("  "));
}

QString helpOf(const Command &command)
{
    return QStringLiteral("loggerctl ") + text(command.name) + QStringLiteral(": ")
        + text(command.summary) + QStringLiteral("\n\nUsage:\n") + usageOf(command)
        + QLatin1Char('\n') + text(command.details) + QStringLiteral("\n\nExamples:\n")
        + callLines(command, command.examples, QStringLiteral("  "));
}

QString programHelp()
{
    constexpr int nameWidth = 24;
    QString help = QStringLiteral("loggerctl: the console of the phone's logging configuration\n"
                                  "\n"
                                  "Usage: loggerctl [OPTIONS] SUBCOMMAND [ARGUMENTS]\n"
                                  "       loggerctl SUBCOMMAND --help\n"
                                  "\n"
                                  "Subcommands:\n");
    for (const Command &command : table) {
        help += QStringLiteral("  ") + text(command.name).leftJustified(nameWidth)
            + text(command.summary) + QLatin1Char('\n');
    }
    help += QStringLiteral(
        "\n"
        "Examples:\n"
        "  loggerctl level                     what is logged, and where to\n"
        "  loggerctl level qvxsipua debug      log everything of qvxsipua\n"
        "  loggerctl redirect qvxsipua udp 10.1.2.3 514\n"
        "  loggerctl level all init            back to errors only\n"
        "  loggerctl redirect all init         back to the own files\n"
        "\n"
        "An answer goes to standard output, a failure to standard error.\n"
        "Exit status: 0 done, 1 the service says no, 2 wrong usage, 3 no service,\n"
        "no permission or no answer. Put -- before an argument that begins with -.\n");
    return help;
}

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

constexpr std::array<Command, 25> table {{
    {"level", "\nACTIVITY\nACTIVITY LEVEL\nall LEVEL\nall init\nall restore",
     "list the activities; set the level of one or of all",
     "Without arguments: the activities of this phone, their levels and destinations.\n"
     "\n"
     "ACTIVITY is a name from that list; upper and lower case do not matter where only\n"
     "one name fits. LEVEL is emerg, err, warning, notice, info or debug: messages up\n"
     "to that level are logged, so debug logs most.\n"
     "'all init' puts every activity back to err. 'all restore' replaces the phone's\n"
     "syslog configuration by its backup, with its levels and destinations.\n"
     "An activity in the list whose level file is lost is answered 'Not a valid\n"
     "activity'. 'level all LEVEL' makes the file anew, and so does the set-up script,\n"
     "/etc/init.d/autoConfigSyslog start.",
     "\nqvxsipua\nqvxsipua debug\nall init", "", true, readLevel},
    {"log", "ACTIVITY", "show the newest lines of an activity's log, and follow it",
     "Prints the newest lines of the file that the activity logs to. With -f it goes\n"
     "on with what is logged from then on, through rotation, deletion and redirection,\n"
     "until Ctrl-C. Where the messages do not go to a file, it says where they go.\n"
     "--grep takes lines that contain TEXT; upper and lower case are the same unless\n"
     "TEXT has capitals.",
     "qvxsipua\nqvxsipua -f\nqvxsipua -n 100 --grep register", "lines follow grep", true, readLog},
    {"trace", "ACTIVITY\nACTIVITY LEVEL", "log more for a while, show it, and put the level back",
     "Raises the level (to debug without LEVEL), follows the log, and puts the former\n"
     "level back: when the time is over, at Ctrl-C, when the terminal is lost, and\n"
     "when loggerctl is killed, because a process of its own keeps the promise. When\n"
     "that is killed too, or the phone is switched off, a note is left in flash: the\n"
     "next loggerctl that is started, whatever for, puts the level back and says so.\n"
     "Nothing happens before that. A level that somebody else has changed meanwhile\n"
     "stays.",
     "qvxsipua\nqvxsipua info --for 1h\nqvxsipua --for 30s -o /tmp/sip.txt", "for output grep",
     true, readTrace},
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
     "Put a DESTINATION into single quotes.\n"
     "Afterwards the list is read again. Where the log does not go there, syslog-ng\n"
     "has refused the destination and the configuration's backup is in place: that is\n"
     "said, with what else the backup has changed, and the exit status is 1.",
     "\nqvxsipua udp 10.1.2.3 514\nqvxsipua ram sip\nqvxsipua 'file(\"/var/log/sip.log\")'\nall "
     "init",
     "", true, readRedirect},
    {"levels", "get\nset ACTIVITY:LEVEL...\nreset",
     "read or set the levels of several activities at once",
     "get    the levels of the phone's main activities\n"
     "set    changes the levels of several activities\n"
     "reset  puts every activity back to err\n"
     "\n"
     "The service answers set and reset before the work is done. loggerctl waits for\n"
     "the work, prints each activity with its level, and names those that are not at\n"
     "the level asked for; then the exit status is 1. With --no-wait the answer is\n"
     "enough.",
     "get\nset qvxsipua:debug Telephony:warning\nreset", "no-wait", true, readLevels},
    {"status", "", "is logging well on this phone?",
     "One look at the service, syslog-ng, its configuration and backup, the level\n"
     "files, the log server, the room for logs, what is not at its initial level or\n"
     "destination, and traces. Exit status 0 when all is well, 1 when something is\n"
     "not. A level or a destination that somebody has chosen is shown, and is well.",
     "", "", true, nothing<Operation::Status>},
    {"check", "", "do all files know the same activities?",
     "Compares what the set-up script's table, the configuration, its backup and the\n"
     "level files say of each activity, and tells each difference with what to do\n"
     "about it, for instance after an update of the firmware. Changes nothing, and\n"
     "needs no service. Exit status 0 when all agree, 1 when something differs.",
     "\n--json", "", true, nothing<Operation::Check>},
    {"watch", "", "print level changes and redirections as they come",
     "Each change is a line: the time, the activity or 'all', and its new level, or\n"
     "'->' and its new destination. Level changes are announced when they begin, also\n"
     "when they then fail. Ctrl-C ends it with status 0. Times are those of the day\n"
     "(ISO 8601), with --since-start seconds since the start.",
     "\n--since-start", "since-start", true, nothing<Operation::Watch>},
    {"defence", "COUNT read\nCOUNT delete\n0 size", "read, trim or count the defence log in flash",
     "read    prints the newest COUNT lines\n"
     "delete  removes the newest COUNT lines; on a terminal it asks before, unless\n"
     "        --yes is given. Where COUNT is more than there are, the log then holds\n"
     "        a notice of the service, 'Only N lines ...'\n"
     "size    tells how many lines there are; COUNT does not matter",
     "20 read\n5 delete\n0 size", "yes", true, readDefence},
    {"delete", "\nflash", "delete the log files in RAM, or in RAM and flash",
     "Deletes the files in /var/log whose names have a dot, with 'flash' those in\n"
     "/log/flash too, and lets the syslog daemon begin new ones. The defence log\n"
     "stays. Says what was removed.\n"
     "There is no way back: on a terminal it asks before, unless --yes is given.",
     "\nflash", "yes", true, readDelete},
    {"archive", "", "pack all logs and core dumps for the web interface",
     "The archive is /var/volatile/tmp/all_logs.tar.gz; the phone's web server offers\n"
     "it as /all_logs.tar.gz. This may take half a minute; what takes longer is given\n"
     "up, and said. When a log grows while it is packed, it is tried again, three\n"
     "times in all. With -o FILE a copy goes to FILE.",
     "\n-o /tmp/logs.tar.gz", "output", true, nothing<Operation::Archive>},
    {"comment", "ACTIVITY TEXT...", "write a comment into the log of an activity",
     "The comment is a message of the level err: it is written unless the activity is\n"
     "at emerg, or is none of this phone; then loggerctl says so and writes nothing.",
     "qvxsipua \"call failed at 10:32\"", "", true, readComment},
    {"remote", "", "print the remote log server's settings",
     "Asks the phone's settings service, which holds them. UNDEFINED is a setting that\n"
     "is not set. They take effect when the service starts or when one is changed.",
     "", "", true, nothing<Operation::ShowRemote>},
    {"factory-reset", "", "put all levels and destinations back as they came",
     "Every activity goes to err and to its own file, as at a factory reset of the\n"
     "phone. On a terminal it asks before, unless --yes is given.",
     "", "yes", true, nothing<Operation::FactoryReset>},
    {"help", "\nSUBCOMMAND", "print this help, or that of a subcommand",
     "The same as --help. With --all the names of the service's methods too.", "\nredirect\n--all",
     "all", true, nullptr},
    {"deleteTmpLogFiles", "\nflash", "the same as delete",
     "Deletes the files in /var/log whose names have a dot, with 'flash' those in\n"
     "/log/flash too, and lets the syslog daemon begin new ones.",
     "\nflash", "yes", false, readDelete},
    {"getSyslogLevels", "", "the same as levels get",
     "Prints the levels of the phone's main activities.", "", "", false,
     nothing<Operation::GetLevels>},
    {"setSyslogLevels", "LEVELS", "the same as levels set, with one text",
     "LEVELS is a list ACTIVITY:LEVEL,ACTIVITY:LEVEL without blanks, which may stand\n"
     "in braces.",
     "'{qvxsipua:debug,Telephony:warning}'", "no-wait", false, one<Operation::SetLevels>},
    {"resetSyslogLevelsToErr", "", "the same as levels reset", "Puts every activity back to err.",
     "", "no-wait", false, nothing<Operation::ResetLevels>},
    {"generateLogsForWeb", "", "the same as archive",
     "Packs all logs and core dumps into one archive, which the phone's web server\n"
     "offers as /all_logs.tar.gz.",
     "", "output", false, nothing<Operation::Archive>},
    {"logComments", "ACTIVITY TEXT...", "the same as comment",
     "Writes a comment into the log of an activity, as a message of the level err.",
     "qvxsipua \"call failed at 10:32\"", "", false, readComment},
    {"logRemoteServer", "true|false", "tell the service whether a log server exists",
     "The settings service calls this when LogRemoteServerExist changes: that is the\n"
     "way to change a setting for good. Used here, it acts once: 'true' sends all logs\n"
     "to the log server as the service knows it, anything else puts every activity\n"
     "back on its own file.",
     "true", "", false, one<Operation::RemoteServer>},
    {"logRemoteServerProto", "udp|tcp", "tell the service the log server's protocol",
     "The settings service calls this when LogRemoteServerProtocol changes: that is\n"
     "the way to change a setting for good. Used here, it lasts until the service\n"
     "ends.",
     "udp", "", false, one<Operation::RemoteProtocol>},
    {"logRemoteServerAddress", "ADDRESS", "tell the service the log server's address",
     "The settings service calls this when LogRemoteServerAddress changes: that is the\n"
     "way to change a setting for good. Used here, it lasts until the service ends.\n"
     "ADDRESS is an IPv4 address or a host name.",
     "10.1.2.3", "", false, one<Operation::RemoteAddress>},
    {"logRemoteServerPort", "PORT", "tell the service the log server's port",
     "The settings service calls this when LogRemoteServerPort changes: that is the\n"
     "way to change a setting for good. Used here, it lasts until the service ends.",
     "514", "", false, one<Operation::RemotePort>},
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

QStringList commandNames(bool withMethods)
{
    QStringList names;
    for (const Command &command : table) {
        if (command.everyday || withMethods) {
            names.append(text(command.name));
        }
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

QString programHelp(bool withMethods)
{
    constexpr int everydayWidth = 15;
    constexpr int methodWidth = 24;
    QString help = QStringLiteral("loggerctl: the console of the phone's logging configuration\n"
                                  "\n"
                                  "Usage: loggerctl [OPTIONS] SUBCOMMAND [ARGUMENTS]\n"
                                  "       loggerctl SUBCOMMAND --help\n"
                                  "\n");
    QString everyday;
    QString methods;
    for (const Command &command : table) {
        (command.everyday ? everyday : methods) += QStringLiteral("  ")
            + text(command.name).leftJustified(command.everyday ? everydayWidth : methodWidth)
            + text(command.summary) + QLatin1Char('\n');
    }
    help += everyday;
    if (withMethods) {
        help += QStringLiteral("\nMethods of the service, by their own names:\n") + methods;
    }
    help += QStringLiteral(
        "\n"
        "Examples:\n"
        "  loggerctl level                   what is logged, and where to\n"
        "  loggerctl trace qvxsipua          all of qvxsipua, for ten minutes\n"
        "  loggerctl log qvxsipua -f         what qvxsipua logs, as it comes\n"
        "  loggerctl redirect all init       every log back to its own file\n"
        "\n"
        "An answer goes to standard output, a failure to standard error.\n"
        "Exit status: 0 done, 1 no or not done, 2 wrong usage, 3 no service, no\n"
        "permission or no answer. Put -- before an argument that begins with -.\n");
    return help;
}

// Two passes of Qt's parser: the first finds the subcommand, the second reads what follows it.
// SPDX-License-Identifier: MIT
#include "commandline.h"

#include "client/duration.h"
#include "client/words.h"
#include "commands.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

namespace {

constexpr int longestTimeout = 86400; // s

constexpr int mostLines = 1000000;

/// The options that every subcommand takes.
QList<QCommandLineOption> generalOptions()
{
    return {
        QCommandLineOption(QStringLiteral("json"),
                           QStringLiteral("print the answer as JSON, a failure too")),
        QCommandLineOption(QStringLiteral("color"),
                           QStringLiteral("colour: auto (the default), always or never"),
                           QStringLiteral("WHEN")),
        QCommandLineOption(QStringLiteral("timeout"),
                           QStringLiteral("how long to wait for an answer (default 120)"),
                           QStringLiteral("SECONDS")),
        QCommandLineOption({QStringLiteral("h"), QStringLiteral("help")},
                           QStringLiteral("print this help; after a subcommand, its help")),
        QCommandLineOption(QStringLiteral("version"), QStringLiteral("print the version")),
    };
}

/// All options that only some subcommands take.
QList<QCommandLineOption> specialOptions()
{
    return {
        QCommandLineOption({QStringLiteral("y"), QStringLiteral("yes")},
                           QStringLiteral("do not ask")),
        QCommandLineOption(QStringLiteral("no-wait"),
                           QStringLiteral("the service's answer is enough")),
        QCommandLineOption({QStringLiteral("n"), QStringLiteral("lines")},
                           QStringLiteral("how many of the newest lines (default 10)"),
                           QStringLiteral("LINES")),
        QCommandLineOption({QStringLiteral("f"), QStringLiteral("follow")},
                           QStringLiteral("go on with what is logged from now on")),
        QCommandLineOption(QStringLiteral("grep"), QStringLiteral("only lines with this text"),
                           QStringLiteral("TEXT")),
        QCommandLineOption(QStringLiteral("for"),
                           QStringLiteral("how long: 30s, 10m (the default), 2h"),
                           QStringLiteral("TIME")),
        QCommandLineOption({QStringLiteral("o"), QStringLiteral("output")},
                           QStringLiteral("write a copy to this file"), QStringLiteral("FILE")),
        QCommandLineOption(QStringLiteral("since-start"),
                           QStringLiteral("times are seconds since the start")),
        QCommandLineOption(QStringLiteral("all"), QStringLiteral("list everything")),
    };
}

/// What @p command takes; null for what may stand before any.
QList<QCommandLineOption> optionsOf(const Command *command)
{
    QList<QCommandLineOption> options;
    if (command != nullptr) {
        const QStringList names = QString::fromLatin1(command->options).split(QLatin1Char(' '));
        const QList<QCommandLineOption> special = specialOptions();
        for (const QCommandLineOption &option : special) {
            if (names.contains(option.names().constLast())) {
                options.append(option);
            }
        }
    }
    return options + generalOptions();
}

QString optionHelp(const Command *command)
{
    constexpr int width = 22;
    QString help = QStringLiteral("\nOptions:\n");
    const QList<QCommandLineOption> all = optionsOf(command);
    for (const QCommandLineOption &option : all) {
        QStringList names;
        const QStringList optionNames = option.names();
        for (const QString &name : optionNames) {
            names.append((name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name);
        }
        QString words = names.join(QStringLiteral(", "));
        if (!option.valueName().isEmpty()) {
            words += QLatin1Char(' ') + option.valueName();
        }
        help += QStringLiteral("  ") + words.leftJustified(width) + QStringLiteral("  ")
            + option.description() + QLatin1Char('\n');
    }
    return help;
}

CommandLine refuse(const QString &problem, const QString &help)
{
    CommandLine line;
    line.text = QStringLiteral("loggerctl: ") + problem + QLatin1Char('\n') + help;
    return line;
}

CommandLine show(const QString &text)
{
    CommandLine line;
    line.outcome = CommandLine::Outcome::Show;
    line.text = text;
    return line;
}

QString didYouMean(const QString &nearest)
{
    return nearest.isEmpty() ? QString() : QStringLiteral(" Did you mean '%1'?").arg(nearest);
}

QString seeHelp(const QString &words)
{
    return QStringLiteral("See: loggerctl %1--help\n").arg(words);
}

QString usageHint(const Command &command)
{
    const QString name = QLatin1String(command.name);
    const QStringList examples
        = QString::fromUtf8(command.examples).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QString hint = QStringLiteral("Usage:\n") + usageOf(command);
    if (!examples.isEmpty()) {
        hint += QStringLiteral("Example: loggerctl ") + name + QLatin1Char(' ') + examples.first()
            + QLatin1Char('\n');
    }
    return hint + seeHelp(name + QLatin1Char(' '));
}

/// What is wrong with the options themselves; an empty text when nothing is.
QString optionProblem(const QCommandLineParser &parser, const Command *command)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (unknown.isEmpty()) {
        return parser.errorText();
    }
    QStringList names;
    const QList<QCommandLineOption> all = optionsOf(command);
    for (const QCommandLineOption &option : all) {
        names.append(option.names().constLast());
    }
    const QString nearest = nearestWord(unknown.first(), names);
    return QStringLiteral("there is no option '%1%2'.")
               .arg(unknown.first().size() == 1 ? QStringLiteral("-") : QStringLiteral("--"),
                    unknown.first())
        + didYouMean(nearest.isEmpty() ? QString() : QStringLiteral("--") + nearest)
        + QStringLiteral(" (Put -- before an argument that begins with -.)");
}

/// Takes those options of @p command over that only some subcommands take, as @p parser has them.
/// @return what is wrong with their values
QString takeSpecialOptions(const QCommandLineParser &parser, const Command &command,
                           CommandLine *line)
{
    const QStringList names = QString::fromLatin1(command.options).split(QLatin1Char(' '));
    const auto given = [&](const char *name) {
        return names.contains(QLatin1String(name)) && parser.isSet(QLatin1String(name));
    };
    line->yes = given("yes");
    line->noWait = given("no-wait");
    line->follow = given("follow");
    line->sinceStart = given("since-start");
    if (given("grep")) {
        line->grep = parser.value(QStringLiteral("grep"));
    }
    if (given("output")) {
        line->file = parser.value(QStringLiteral("output"));
        if (line->file.isEmpty()) {
            return QStringLiteral("-o takes the name of a file");
        }
    }
    if (given("lines")) {
        bool isNumber = false;
        line->lines = parser.value(QStringLiteral("lines")).toInt(&isNumber);
        if (!isNumber || line->lines < 0 || line->lines > mostLines) {
            return QStringLiteral("-n takes a number of lines from 0 to %1, not '%2'")
                .arg(QString::number(mostLines), parser.value(QStringLiteral("lines")));
        }
    }
    if (given("for")) {
        line->seconds = secondsOf(parser.value(QStringLiteral("for")));
        if (line->seconds < 0) {
            return QStringLiteral("--for takes a time up to a day such as 30s, 10m or 2h, not '%1'")
                .arg(parser.value(QStringLiteral("for")));
        }
    }
    return {};
}

/// Takes the options of @p parser over into @p line. @return what is wrong with their values
QString takeOptions(const QCommandLineParser &parser, CommandLine *line)
{
    line->json = line->json || parser.isSet(QStringLiteral("json"));
    if (parser.isSet(QStringLiteral("color"))) {
        const QString when = parser.value(QStringLiteral("color"));
        if (when == QLatin1String("always")) {
            line->color = ColorMode::Always;
        } else if (when == QLatin1String("never")) {
            line->color = ColorMode::Never;
        } else if (when == QLatin1String("auto")) {
            line->color = ColorMode::Auto;
        } else {
            return QStringLiteral("--color takes auto, always or never, not '%1'").arg(when);
        }
    }
    if (parser.isSet(QStringLiteral("timeout"))) {
        const QString seconds = parser.value(QStringLiteral("timeout"));
        bool isNumber = false;
        const int number = seconds.toInt(&isNumber);
        if (!isNumber || number < 1 || number > longestTimeout) {
            return QStringLiteral("--timeout takes a number of seconds from 1 to %1, not '%2'")
                .arg(QString::number(longestTimeout), seconds);
        }
        line->timeout = number * 1000;
    }
    return {};
}

CommandLine unknownCommand(const QString &name)
{
    constexpr int width = 80;
    const QStringList names = commandNames(false);
    QString list;
    QString line = QStringLiteral("Subcommands:");
    for (const QString &candidate : names) {
        if (line.size() + 1 + candidate.size() > width) {
            list += line + QLatin1Char('\n');
            line = QStringLiteral("            ");
        }
        line += QLatin1Char(' ') + candidate;
    }
    list += line + QLatin1Char('\n');
    return refuse(QStringLiteral("there is no subcommand '%1'.").arg(name)
                      + didYouMean(nearestWord(name, names)),
                  list + seeHelp(QString()));
}

CommandLine helpAbout(const QStringList &names, bool all)
{
    if (names.isEmpty()) {
        return show(programHelp(all) + optionHelp(nullptr)
                    + (all ? QString()
                           : QStringLiteral("\nMethods of the service by their own "
                                            "names: loggerctl help --all\n")));
    }
    const Command *const command = findCommand(names.first());
    return command != nullptr ? show(helpOf(*command) + optionHelp(command))
                              : unknownCommand(names.first());
}

/// Reads the subcommand @p words, the first of which is its name, with the options @p line has
/// from before it.
CommandLine readSubcommand(const QStringList &words, CommandLine line, bool help)
{
    const Command *const command = findCommand(words.first());
    if (command == nullptr) {
        return unknownCommand(words.first());
    }
    const QString &name = words.first();
    QCommandLineParser parser;
    parser.addOptions(optionsOf(command));
    const bool parsed = parser.parse(words);
    QString problem = parsed ? takeOptions(parser, &line) : optionProblem(parser, command);
    if (parsed && problem.isEmpty()) {
        problem = takeSpecialOptions(parser, *command, &line);
    }
    if (help || (parsed && parser.isSet(QStringLiteral("help")))) {
        return helpAbout({name}, false);
    }
    if (parsed && parser.isSet(QStringLiteral("version"))) {
        return show(QStringLiteral("loggerctl " LOGGERCTL_VERSION "\n"));
    }
    if (!problem.isEmpty()) {
        return refuse(name + QStringLiteral(": ") + problem, usageHint(*command));
    }
    if (command->read == nullptr) {
        return helpAbout(parser.positionalArguments(), parser.isSet(QStringLiteral("all")));
    }
    const Reading reading = command->read(parser.positionalArguments());
    if (!reading.request) {
        return refuse(name + QStringLiteral(": ") + reading.problem, usageHint(*command));
    }
    line.outcome = CommandLine::Outcome::Ask;
    line.request = *reading.request;
    return line;
}

} // namespace

CommandLine readCommandLine(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.addOptions(optionsOf(nullptr));
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    CommandLine line;
    const QString problem
        = parser.parse(arguments) ? takeOptions(parser, &line) : optionProblem(parser, nullptr);
    if (!problem.isEmpty()) {
        return refuse(problem, seeHelp(QString()));
    }
    if (parser.isSet(QStringLiteral("version"))) {
        return show(QStringLiteral("loggerctl " LOGGERCTL_VERSION "\n"));
    }
    const bool help = parser.isSet(QStringLiteral("help"));
    const QStringList words = parser.positionalArguments();
    if (!words.isEmpty()) {
        return readSubcommand(words, line, help);
    }
    return help ? helpAbout({}, false)
                : refuse(QStringLiteral("a subcommand is missing"),
                         programHelp(false) + optionHelp(nullptr));
}

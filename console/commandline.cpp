// Two passes of Qt's parser: the first finds the subcommand, the second reads what follows it.
// SPDX-License-Identifier: MIT
#include "commandline.h"

#include "commands.h"
#include "words.h"

#include <QCommandLineOption>
#include <QCommandLineParser>

namespace {

constexpr int longestTimeout = 86400; // s

QList<QCommandLineOption> options()
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

QString optionHelp()
{
    constexpr int width = 22;
    QString help = QStringLiteral("\nOptions:\n");
    const QList<QCommandLineOption> all = options();
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
QString optionProblem(const QCommandLineParser &parser)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (unknown.isEmpty()) {
        return parser.errorText();
    }
    QStringList names;
    const QList<QCommandLineOption> all = options();
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
    const QStringList names = commandNames();
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

CommandLine helpAbout(const QStringList &names)
{
    if (names.isEmpty()) {
        return show(programHelp() + optionHelp());
    }
    const Command *const command = findCommand(names.first());
    return command != nullptr ? show(helpOf(*command) + optionHelp())
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
    parser.addOptions(options());
    const bool parsed = parser.parse(words);
    const QString problem = parsed ? takeOptions(parser, &line) : optionProblem(parser);
    if (help || (parsed && parser.isSet(QStringLiteral("help")))) {
        return helpAbout({name});
    }
    if (parsed && parser.isSet(QStringLiteral("version"))) {
        return show(QStringLiteral("loggerctl " LOGGERCTL_VERSION "\n"));
    }
    if (!problem.isEmpty()) {
        return refuse(name + QStringLiteral(": ") + problem, usageHint(*command));
    }
    if (command->read == nullptr) {
        return helpAbout(parser.positionalArguments());
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
    parser.addOptions(options());
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    CommandLine line;
    const QString problem
        = parser.parse(arguments) ? takeOptions(parser, &line) : optionProblem(parser);
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
    return help ? helpAbout({})
                : refuse(QStringLiteral("a subcommand is missing"), programHelp() + optionHelp());
}

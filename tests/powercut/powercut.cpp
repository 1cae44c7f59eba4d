// What survives a power cut: /data and /log of the phone are put on a disk that is recorded,
// changes of all kinds are made over the bus, and the disk as a power cut would have left it, at
// moments right after the answers and at any other, is mounted, looked at and booted. Run by
// ./phone powercut; the argument is the number of cuts at any moment, RANDOM_SEED repeats a run.
// SPDX-License-Identifier: MIT
#include "judge.h"
#include "loopmount.h"
#include "recordeddisk.h"
#include "recording.h"

#include "support/firmware.h"
#include "support/phone.h"
#include "support/syslogdaemon.h"

#include <QCoreApplication>
#include <QDir>
#include <QProcess>

#include <algorithm>
#include <array>
#include <cstdio>

#include <sys/mount.h>

namespace {

constexpr int defaultCuts = 300;
constexpr int statusLost = 1;
constexpr int statusUsage = 2;
constexpr int statusNotPossible = 77; // CMakeLists.txt has it as SKIP_RETURN_CODE
/// Every so many copies, a phone is booted on one.
constexpr int bootInterval = 8;
constexpr int problemsToTell = 12;

const QString workDirectory = QStringLiteral("/tmp/powercut");
/// A commit each second, instead of each fifth, shows sooner what nobody synced; and without ext4's
/// own remedies for programs that do not sync (ext4(5), auto_da_alloc), which other file systems do
/// not have.
constexpr const char *recordedOptions = "commit=1,noauto_da_alloc";

int skip(const QString &reason)
{
    std::printf("powercut: nothing was tried, it needs root, loop devices and FUSE: %s\n",
                qPrintable(reason));
    return statusNotPossible;
}

/// The directories of a disk in the places where a phone has them.
class OnThePhone
{
public:
    explicit OnThePhone(const QString &disk)
    {
        bind(disk, "/data");
        bind(disk, "/log");
    }
    ~OnThePhone()
    {
        umount2("/data", MNT_DETACH);
        umount2("/log", MNT_DETACH);
    }
    Q_DISABLE_COPY(OnThePhone)

private:
    static void bind(const QString &disk, const char *place)
    {
        const QByteArray source = QFile::encodeName(disk + QLatin1String(place));
        if (mount(source.constData(), place, nullptr, MS_BIND, nullptr) != 0) {
            qFatal("cannot put the disk on %s", place);
        }
    }
};

QByteArray emptyDisk()
{
    const QString image = workDirectory + QStringLiteral("/image");
    if (QProcess::execute(qEnvironmentVariable("PHONE_PROJECT") + QStringLiteral("/box/disk-image"),
                          {image})
        != 0) {
        return {};
    }
    const QByteArray disk = Phone::read(image);
    QFile::remove(image);
    return disk;
}

/// The cuts of a recording in the order of their moments, @p count of them at any moment.
std::vector<Cut> makeCuts(const Recording &recording, int count, QRandomGenerator &random)
{
    const std::vector<Step> &steps = recording.steps;
    std::vector<Cut> cuts;
    for (int step = 0; step < int(steps.size()); ++step) {
        const Step &change = steps[std::size_t(step)];
        cuts.push_back({Cut::RightAfterTheAnswer, change.answered, step, Unflushed::Lost});
        if (change.settled > 0) {
            cuts.push_back({Cut::OnceTheKernelHasWritten, change.settled, step, Unflushed::Lost});
        }
    }
    constexpr std::array<Unflushed, 3> disks {Unflushed::Kept, Unflushed::Lost,
                                              Unflushed::PartlyLost};
    for (int cut = 0; cut < count; ++cut) {
        const int moment = random.bounded(steps.front().asked, steps.back().answered + 1);
        const auto next = std::find_if(steps.cbegin(), steps.cend(),
                                       [&](const Step &step) { return step.asked > moment; });
        cuts.push_back({Cut::AtAnyMoment, moment, int(next - steps.cbegin()) - 1,
                        disks[std::size_t(random.bounded(int(disks.size())))]});
    }
    std::stable_sort(cuts.begin(), cuts.end(),
                     [](const Cut &one, const Cut &other) { return one.moment < other.moment; });
    return cuts;
}

/// Boots the phone on the disk at @p root: the set-up script, syslog-ng, the service, one listing.
/// @return what went wrong
QString boot(const QString &root, SyslogDaemon *syslog)
{
    const OnThePhone disk(root);
    if (!syslog->coldStart()) {
        return QString::fromLocal8Bit(syslog->problem());
    }
    const Phone::Service service;
    const QString table = Phone::text(QStringLiteral("level"));
    if (table.count(QLatin1Char('\n')) != 11) {
        return QStringLiteral("the listing is: ") + table;
    }
    const Changes::Files files = Changes::read();
    for (const QString &path : Changes::lasting()) {
        // The firmware that boots is the one without that activity.
        const bool isGone = path == Video::facilityFile;
        if (path != Changes::defenceLog && files.value(path).isEmpty() != isGone) {
            return path
                + (isGone ? QStringLiteral(" is still there")
                          : QStringLiteral(" is still not there"));
        }
    }
    return Phone::syslogAccepts(Phone::liveConfig) ? QString() : QStringLiteral("the check fails");
}

using Tallies = std::array<Tally, 3>;

Tallies judgeAll(const Recording &recording, const std::vector<Cut> &cuts, SyslogDaemon *syslog,
                 QRandomGenerator &random)
{
    Tallies tallies;
    PowerCuts powerCuts(recording);
    Judge judge(recording);
    int told = 0;
    for (std::size_t index = 0; index < cuts.size(); ++index) {
        const Cut &cut = cuts[index];
        Tally &tally = tallies[cut.kind];
        ++tally.copies;
        const QString image = workDirectory + QStringLiteral("/cut");
        QFile::remove(image); // the one before may be in use still
        Phone::write(image, powerCuts.diskAfter(cut.moment, cut.unflushed, random));
        const QString root = workDirectory + QStringLiteral("/root");
        const LoopMount mounted(image, root, "noauto_da_alloc");
        QStringList problems;
        if (!mounted.error().isEmpty()) {
            ++tally.unmountable;
            problems.append(mounted.error());
        } else {
            problems = judge.look(cut, root, &tally);
            if (index % bootInterval == 0) {
                ++tally.boots;
                const QString problem = boot(root, syslog);
                if (!problem.isEmpty()) {
                    ++tally.bootsFailed;
                    problems.append(QStringLiteral("boot: ") + problem);
                }
            }
        }
        if (!problems.isEmpty() && ++told <= problemsToTell) {
            const Step &step = recording.steps[std::size_t(cut.step)];
            constexpr std::array<const char *, 3> kinds {
                "right after the answer", "once the kernel has written", "at any moment"};
            std::printf("  %s, %s (event %d): %s\n", qPrintable(step.name), kinds[cut.kind],
                        cut.moment, qPrintable(problems.join(QStringLiteral("; "))));
        }
    }
    if (told > problemsToTell) {
        std::printf("  ... and %d more copies with losses\n", told - problemsToTell);
    }
    return tallies;
}

void printLosses(const char *files, const Tallies &tallies, Losses Tally::*losses)
{
    const auto row = [&](const char *what, int Losses::*count) {
        std::printf("%-14s %-35s %10d %10d %10d\n", files, what, tallies[0].*losses.*count,
                    tallies[1].*losses.*count, tallies[2].*losses.*count);
    };
    row("missing", &Losses::missing);
    row("empty, not whole or refused", &Losses::bad);
    row("without an answered change", &Losses::outdated);
}

void print(const Tallies &tallies)
{
    std::printf("%-50s %10s %10s %10s\n", "", "right", "once the", "");
    std::printf("%-50s %10s %10s %10s\n", "", "after the", "kernel has", "at any");
    std::printf("%-50s %10s %10s %10s\n", "power cut", "answer", "written", "moment");
    const auto row = [&](const char *text, int Tally::*count) {
        std::printf("%-50s %10d %10d %10d\n", text, tallies[0].*count, tallies[1].*count,
                    tallies[2].*count);
    };
    row("copies of the disk", &Tally::copies);
    row("that cannot be mounted", &Tally::unmountable);
    printLosses("live file", tallies, &Tally::live);
    printLosses("backup", tallies, &Tally::backup);
    printLosses("facility files", tallies, &Tally::facilityFiles);
    printLosses("defence log", tallies, &Tally::defenceLog);
    row("lines of it lost that nobody asked to delete", &Tally::defenceLines);
    row("(half cut, all lines there that are kept)", &Tally::halfCut);
    row("copies booted", &Tally::boots);
    row("in vain", &Tally::bootsFailed);
    row("most files left beside the service's", &Tally::leftovers);
    row("for comparison: a file that is not synced, lost", &Tally::careless);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    bool isNumber = true;
    const int count = argc > 1 ? QByteArray(argv[1]).toInt(&isNumber) : defaultCuts;
    if (argc > 2 || !isNumber || count < 1 || !Phone::isBox()) {
        std::fprintf(stderr, "usage, in the phone in a box: powercut [CUTS]\n");
        return statusUsage;
    }
    if (qEnvironmentVariable("PHONE_IN_PLACE") == QLatin1String("1")) {
        return skip(QStringLiteral("this phone has no namespaces of its own"));
    }
    QDir().mkpath(workDirectory);
    const QByteArray image = emptyDisk();
    if (image.isEmpty()) {
        return skip(QStringLiteral("no ext4 file system can be made"));
    }
    const RecordedDisk disk(image, workDirectory + QStringLiteral("/recorded"));
    if (!disk.error().isEmpty()) {
        return skip(disk.error());
    }
    const quint32 seed = qEnvironmentVariableIsSet("RANDOM_SEED")
        ? qEnvironmentVariable("RANDOM_SEED").toUInt()
        : QRandomGenerator::system()->generate();
    QRandomGenerator random(seed);
    Recording recording;
    SyslogDaemon syslog;
    {
        const QString root = workDirectory + QStringLiteral("/disk");
        const LoopMount mounted(disk.path(), root, recordedOptions);
        if (!mounted.error().isEmpty()) {
            return skip(mounted.error());
        }
        for (const char *directory : {"/data/QVXApplication/LoggerModule",
                                      "/data/QVXApplication/SettingsManager", "/log"}) {
            QDir().mkpath(root + QLatin1String(directory));
        }
        const OnThePhone onThePhone(root);
        if (!syslog.coldStart()) {
            qFatal("%s", syslog.problem().constData());
        }
        const Phone::Service service;
        recording = record(disk, image, count / 4, random);
    }
    const std::vector<Cut> cuts = makeCuts(recording, count, random);
    std::printf("powercut: %d changes, %d events on the disk, %d copies (RANDOM_SEED=%u)\n",
                int(recording.steps.size()), int(recording.events.size()), int(cuts.size()), seed);
    const Tallies tallies = judgeAll(recording, cuts, &syslog, random);
    print(tallies);
    if (std::all_of(tallies.begin(), tallies.end(),
                    [](const Tally &tally) { return tally.careless == 0; })) {
        std::printf("powercut: not even the unsynced file is lost: these cuts prove nothing\n");
        return statusLost;
    }
    const bool bad = std::any_of(tallies.begin(), tallies.end(),
                                 [](const Tally &tally) { return tally.isBad(); });
    std::printf(bad ? "powercut: something is lost\n" : "powercut: nothing is lost\n");
    return bad ? statusLost : 0;
}

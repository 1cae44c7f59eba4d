// Compares what a power cut has left with what was there before the change and after it.
// SPDX-License-Identifier: MIT
#include "judge.h"

#include "support/phone.h"

#include <QFileInfo>

#include <algorithm>

namespace {

QByteArray commonBeginning(const QByteArray &one, const QByteArray &other)
{
    const auto difference = std::mismatch(one.cbegin(), one.cend(), other.cbegin(), other.cend());
    return one.left(int(difference.first - one.cbegin()));
}

/// How many lines are lost that @p step keeps: those at the beginning that are there both before it
/// and after it.
int lostLines(const QByteArray &found, const Step &step)
{
    const QByteArray kept = commonBeginning(step.before.value(Changes::defenceLog),
                                            step.after.value(Changes::defenceLog));
    return kept.count('\n') - commonBeginning(kept, found).count('\n');
}

} // namespace

bool Tally::isBad() const
{
    const auto areAny
        = [](const Losses &losses) { return losses.missing + losses.bad + losses.outdated > 0; };
    return unmountable + bootsFailed > 0 || areAny(live) || areAny(backup) || areAny(facilityFiles)
        || areAny(defenceLog);
}

QStringList Judge::look(const Cut &cut, const QString &root, Tally *tally)
{
    const Step &step = m_recording.steps[std::size_t(cut.step)];
    const Changes::Files found = Changes::read(root);
    QMap<QString, int> problems;
    for (const QString &path : Changes::lasting()) {
        Losses *losses = &tally->facilityFiles;
        QString name = QStringLiteral("facility file");
        if (!Changes::isFacilityFile(path)) {
            name = QFileInfo(path).fileName();
            losses = path == Phone::liveConfig ? &tally->live
                : path == Phone::backup        ? &tally->backup
                                               : &tally->defenceLog;
        }
        switch (judge(path, found, cut)) {
        case Verdict::Good:
            continue;
        case Verdict::HalfCut:
            ++tally->halfCut;
            continue;
        case Verdict::Missing:
            ++losses->missing;
            ++problems[name + QStringLiteral(" missing")];
            break;
        case Verdict::Bad:
            ++losses->bad;
            ++problems[name
                       + (found.value(path).isEmpty() ? QStringLiteral(" empty")
                                                      : QStringLiteral(" bad"))];
            break;
        case Verdict::Outdated:
            ++losses->outdated;
            ++problems[name + QStringLiteral(" without an answered change")];
            break;
        }
        if (path == Changes::defenceLog) {
            tally->defenceLines += lostLines(found.value(path), step);
        }
    }
    tally->leftovers = std::max(tally->leftovers, Changes::leftovers(root).size());
    tally->careless += Phone::read(root + carelessFile) == step.careless ? 0 : 1;
    QStringList texts;
    for (auto problem = problems.cbegin(); problem != problems.cend(); ++problem) {
        texts.append(problem.value() == 1
                         ? problem.key()
                         : QStringLiteral("%1 (%2)").arg(problem.key()).arg(problem.value()));
    }
    return texts;
}

Judge::Verdict Judge::judge(const QString &path, const Changes::Files &found, const Cut &cut)
{
    const std::vector<Step> &steps = m_recording.steps;
    const Step &step = steps[std::size_t(cut.step)];
    const bool answered = cut.moment >= step.answered;
    const auto isAs = [&path, &found](const Changes::Files &files) {
        return found.contains(path) == files.contains(path)
            && found.value(path) == files.value(path);
    };
    const QByteArray content = found.value(path);
    if (isAs(step.after) || (!answered && isAs(step.before))) {
        // The recording damages the live file itself to have an edit refused.
        const bool isRefused = path == Phone::liveConfig && !content.endsWith(Changes::damage)
            && !isAccepted(content);
        return isRefused ? Verdict::Bad : Verdict::Good;
    }
    if (!found.contains(path)) {
        return Verdict::Missing;
    }
    if (std::any_of(steps.cbegin(), steps.cbegin() + cut.step + 1,
                    [&](const Step &earlier) { return isAs(earlier.before); })) {
        return Verdict::Outdated;
    }
    // ext4 writes zeros in the place of what is cut off before it makes the file shorter.
    const QByteArray after = step.after.value(path);
    if (path == Changes::defenceLog && !answered && content.startsWith(after)
        && step.before.value(path).startsWith(after)) {
        return Verdict::HalfCut;
    }
    return Verdict::Bad;
}

bool Judge::isAccepted(const QByteArray &text)
{
    if (m_accepted.contains(text)) {
        return true;
    }
    const QString file = QStringLiteral("/tmp/powercut/checked.conf");
    Phone::write(file, text);
    const bool accepted = Phone::syslogAccepts(file);
    if (accepted) {
        m_accepted.insert(text);
    }
    return accepted;
}

// Reads, writes, makes and explains the files of the phone.
// SPDX-License-Identifier: MIT
#include "model.h"

#include "activitytable.h"
#include "levels/facilityfile.h"
#include "support/property.h"
#include "support/reference.h"
#include "syslogconf/textfile.h"

#include <QDir>
#include <QStringList>

#include <algorithm>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace Operations {

namespace {

const std::string signature = "facility signature field\n";

std::string freshFacilityFile(const KnownActivity &activity)
{
    return std::string("3\n") + activity.number + '\n' + predefinedTarget(activity.name) + '\n'
        + signature;
}

std::string freshConfiguration()
{
    std::string text = "@version: 3.38\nsource s_phone { unix-dgram(\"/dev/log\"); };\n";
    for (const KnownActivity &activity : knownActivities) {
        const std::string name = activity.name;
        text += "\n# BEGIN " + name + "\ndestination d_" + name + " { " + predefinedTarget(name)
            + "; };\nfilter f_" + name + " { level(err..emerg) and facility(" + activity.facility
            + ") and program(\"^" + name + "$\"); };\nlog { source(s_phone); filter(f_" + name
            + "); destination(d_" + name + "); };\n# END " + name + '\n';
    }
    return text;
}

std::vector<std::u16string> linesOf(const std::string &content)
{
    std::vector<std::u16string> lines;
    const QString text = decodeText(QByteArray::fromStdString(Reference::normalised(content)));
    for (const QString &line : splitLines(text)) {
        lines.push_back(line.toStdU16String());
    }
    return lines;
}

} // namespace

std::optional<std::string> read(const std::string &path)
{
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> part {};
    ssize_t size = 0;
    while ((size = ::read(file, part.data(), part.size())) > 0) {
        content.append(part.data(), static_cast<std::size_t>(size));
    }
    FUZZ_REQUIRE(size == 0);
    close(file);
    return content;
}

void write(const std::string &path, const std::string &content)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    FUZZ_REQUIRE(file >= 0);
    FUZZ_REQUIRE(::write(file, content.data(), content.size())
                 == static_cast<ssize_t>(content.size()));
    close(file);
}

void remove(const std::string &path)
{
    unlink(path.c_str());
}

std::set<std::string> entries(const std::string &directory)
{
    std::set<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(directory)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

Files facilityFiles()
{
    Files files;
    for (const std::string &name : entries(facilityDirectory)) {
        files[name] = read(facilityDirectory + name).value_or("<no file>");
    }
    return files;
}

std::string predefinedTarget(const std::string &activity)
{
    return activity == "defence" ? "file(\"/log/Defence.log\")"
                                 : "file(\"/var/log/" + activity + ".log\")";
}

std::string restoredFacilityFile(const std::string &activity)
{
    return "3\nfacility\n" + predefinedTarget(activity) + '\n' + signature;
}

bool isValidFacilityFile(const std::string &content)
{
    QString error;
    return checkFacilityFile(
        splitLines(decodeText(QByteArray::fromStdString(content).replace("\r", ""))), QString(),
        &error);
}

void setUp()
{
    for (const KnownActivity &activity : knownActivities) {
        const std::string path = facilityDirectory + activity.name + ".conf";
        const auto content = read(path);
        if (!content || !isValidFacilityFile(*content)) {
            remove(path);
            write(path, freshFacilityFile(activity));
        }
    }
    const auto good = read(backup);
    if (!read(live) && good) {
        write(live, *good);
    }
}

void boot()
{
    QDir().mkpath(QString::fromStdString(facilityDirectory));
    for (const std::string &name : entries(facilityDirectory)) {
        remove(facilityDirectory + name);
    }
    remove(temporary);
    remove(live);
    write(live, freshConfiguration());
    write(backup, freshConfiguration());
    setUp();
    write(defenceLog, "one\ntwo\nthree\n");
}

std::map<QString, QString> levelsIn(const std::string &content)
{
    std::map<QString, QString> levels;
    for (const Reference::Activity &activity : Reference::activities(linesOf(content))) {
        levels[QString::fromStdU16String(activity.name)]
            = QString::fromStdU16String(activity.level);
    }
    return levels;
}

QString expectedTable(const std::string &content)
{
    QList<ActivityTable::Row> rows;
    for (const Reference::Activity &activity : Reference::activities(linesOf(content))) {
        rows.append({QString::fromStdU16String(activity.name),
                     QString::fromStdU16String(activity.level),
                     QString::fromStdU16String(activity.support),
                     QString::fromStdU16String(activity.target)});
    }
    std::stable_sort(rows.begin(), rows.end(), [](const auto &left, const auto &right) {
        return QString::compare(ActivityTable::rowText(left), ActivityTable::rowText(right),
                                Qt::CaseInsensitive)
            < 0;
    });
    return ActivityTable::table(rows);
}

bool allLevelLinesArePlain(const std::string &content)
{
    std::size_t start = 0;
    while (start < content.size()) {
        const std::size_t end = std::min(content.find('\n', start), content.size());
        const std::string line = content.substr(start, end - start);
        if (line.find("level(") != std::string::npos && !Reference::isPlainForLevel(line)) {
            return false;
        }
        start = end + 1;
    }
    return true;
}

} // namespace Operations

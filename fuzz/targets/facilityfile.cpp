// Fuzzes the check of facility files, the paths made of names, and the way of a file through lines
// and back. The input: a line with a facility's name, then the file.
// SPDX-License-Identifier: MIT
#include "levels/facilityfile.h"
#include "levels/levelvocabulary.h"
#include "support/input.h"
#include "support/property.h"
#include "support/reference.h"
#include "syslogconf/predefineddestination.h"
#include "syslogconf/textfile.h"

#include <QVX/qvxlogger.h>

#include <set>

namespace {

const QString signature = QStringLiteral("facility signature field");

bool isExpectedValid(const QStringList &lines)
{
    static const std::set<long long> levels {0, 3, 4, 5, 6, 7};
    long long level = 0;
    long long facility = 0;
    return lines.size() == 4 && lines.at(3) == signature
        && Reference::isNumber(lines.at(0).toStdU16String(), &level) && levels.count(level) == 1
        && Reference::isNumber(lines.at(1).toStdU16String(), &facility);
}

void checkName(const QString &name)
{
    const QString path = facilityFilePath(name);
    const bool isPlain = !name.isEmpty() && name != QLatin1String(".")
        && name != QLatin1String("..") && name.indexOf(QLatin1Char('/')) < 0
        && name.indexOf(QChar::Null) < 0;
    FUZZ_REQUIRE(path.isEmpty() != isPlain);
    if (isPlain) {
        FUZZ_REQUIRE(path.startsWith(QVXLogger::facilityConfigFilesPath));
        FUZZ_REQUIRE(path.lastIndexOf(QLatin1Char('/'))
                     == QVXLogger::facilityConfigFilesPath.size() - 1);
        FUZZ_REQUIRE(path.endsWith(name + QStringLiteral(".conf")));
    }
    FUZZ_REQUIRE(!isUsableFacility(unknownFacilityText(name), name));
}

void checkPredefined(const QString &name)
{
    const QStringList lines = predefinedFacilityLines(name);
    QString error;
    FUZZ_REQUIRE(hasFacilitySignature(lines));
    FUZZ_REQUIRE(!checkFacilityFile(lines, name, &error));
    FUZZ_REQUIRE(lines.at(2) == predefinedDestination(name, DefenceLog::OfDefenceAlone));
}

void checkUpdate(QStringList lines, const QString &name)
{
    for (const int level : {0, 3, 4, 5, 6, 7}) {
        const QStringList before = lines;
        facilityLine(lines, FacilityLine::Level) = QString::number(level);
        QString error;
        FUZZ_REQUIRE(checkFacilityFile(lines, name, &error));
        FUZZ_REQUIRE(lines.mid(1) == before.mid(1));
        FUZZ_REQUIRE(levelFromName(levelToName(level)) == level);
        const QStringList read
            = splitLines(decodeText(encodeText(facilityFileText(lines)).replace("\r", "")));
        FUZZ_REQUIRE(read == lines);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QByteArray file = Fuzz::bytes(data, size);
    const QString name = decodeText(Fuzz::takeLine(file));
    checkName(name);
    checkPredefined(name);

    file.replace("\r", "");
    const QStringList lines = splitLines(decodeText(file));
    QString error;
    const bool isValid = checkFacilityFile(lines, name, &error);
    FUZZ_REQUIRE(isValid == isExpectedValid(lines));
    FUZZ_REQUIRE(isValid == error.isEmpty());
    FUZZ_REQUIRE(isValid || error.endsWith(name));
    FUZZ_REQUIRE(!isValid || hasFacilitySignature(lines));
    if (!lines.isEmpty()) {
        // A file comes back byte for byte, but for the line feed that was missing at its end.
        const QByteArray written = encodeText(facilityFileText(lines));
        FUZZ_REQUIRE(written == (file.endsWith('\n') ? file : file + '\n'));
    }
    if (isValid) {
        checkUpdate(lines, name);
    }
    return 0;
}

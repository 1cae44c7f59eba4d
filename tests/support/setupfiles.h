// The files that the phone's set-up script looks after: their good contents, and what is there.
// SPDX-License-Identifier: MIT
#pragma once

#include "activities.h"
#include "faults.h"
#include "literal.h"
#include "phone.h"
#include "programs.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTest>

#include <sys/stat.h>

namespace SetUpFiles {

const QString directory = "/data/QVXApplication/LoggerModule/syslog/"_s;

/// The activity whose facility file stands for all of them, and that file.
inline const Phone::Activity &someActivity = Phone::activity("sipmmi"_s);
const QString someFile = Phone::facilityDirectory + "sipmmi.conf"_s;

/// A facility file as the script makes it.
inline QByteArray facilityContent(const Phone::Activity &activity)
{
    return "3\n" + QByteArray::number(activity.facilityNumber) + "\nfile(\""
        + Phone::predefinedFile(activity).toUtf8() + "\")\nfacility signature field\n";
}

/// Paths with what is there, as Faults::state() says it.
using States = QMap<QString, QByteArray>;

/// Every file that the script looks after, when @p configuration is what it generates.
inline States goodStates(const QByteArray &configuration)
{
    States states {{Phone::liveConfig, configuration}, {Phone::backup, configuration}};
    for (const Phone::Activity &activity : Phone::activities) {
        states.insert(Phone::facilityFile(activity.name), facilityContent(activity));
    }
    return states;
}

inline QStringList allFiles()
{
    return goodStates({}).keys();
}

/// Every path below the directory of the service.
inline QStringList tree()
{
    QStringList paths;
    for (const QString &part :
         QStringList {directory, directory + "sip/"_s, Phone::facilityDirectory}) {
        for (const QString &name : entriesOf(part)) {
            paths.append(part + name);
        }
    }
    paths.sort();
    return paths;
}

inline QStringList goodTree()
{
    QStringList paths
        = allFiles() + QStringList {directory + "sip"_s, directory + "sip/facility"_s};
    paths.sort();
    return paths;
}

/// Changes whenever the file is written, replaced, or gets another mode.
inline QByteArray identity(const QString &path)
{
    struct stat status = {};
    if (lstat(QFile::encodeName(path).constData(), &status) != 0) {
        return "missing";
    }
    return QByteArray::number(static_cast<qulonglong>(status.st_ino)) + ' '
        + QByteArray::number(status.st_mode) + ' '
        + QByteArray::number(static_cast<qlonglong>(status.st_ctim.tv_sec)) + '.'
        + QByteArray::number(static_cast<qlonglong>(status.st_ctim.tv_nsec)) + ' '
        + Faults::state(path);
}

/// The identity() of every file that the script looks after.
inline States identities()
{
    States identities;
    for (const QString &file : allFiles()) {
        identities.insert(file, identity(file));
    }
    return identities;
}

inline bool isRegular(const QString &path)
{
    struct stat status = {};
    return lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISREG(status.st_mode);
}

inline Outcome runScript()
{
    return runProgram({Phone::setUpScript, "start"_s});
}

} // namespace SetUpFiles

/// Each test begins with what the script makes where there is nothing.
class SetUpFilesTest : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase() { QVERIFY2(Phone::isBox(), "runs in the phone in a box only"); }
    void init()
    {
        Phone::resetConfiguration();
        m_generated = Phone::read(Phone::backup);
        QVERIFY(!m_generated.isEmpty());
        QCOMPARE(SetUpFiles::tree(), SetUpFiles::goodTree());
    }
    void cleanup()
    {
        const QStringList good = SetUpFiles::goodTree();
        for (const QString &path : SetUpFiles::tree()) {
            if (!good.contains(path)
                || (SetUpFiles::allFiles().contains(path) && !SetUpFiles::isRegular(path))) {
                Faults::removeAll(path);
            }
        }
    }

protected:
    /// Whether everything is as the script makes it. @return what is not
    QStringList notGood() const
    {
        QStringList wrong;
        const SetUpFiles::States good = SetUpFiles::goodStates(m_generated);
        for (auto state = good.cbegin(); state != good.cend(); ++state) {
            if (Faults::state(state.key()) != state.value()) {
                wrong.append(state.key());
            }
        }
        return SetUpFiles::tree() == SetUpFiles::goodTree() ? wrong : SetUpFiles::tree();
    }

    QByteArray m_generated;
};

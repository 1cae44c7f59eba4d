// The facility level files as tests need them: what may stand in them, and a whole set of them that
// is made anew for each test.
// SPDX-License-Identifier: MIT
#pragma once

#include "configtext.h"
#include "faults.h"
#include "hangups.h"
#include "literal.h"
#include "phone.h"

#include <QByteArray>
#include <QString>

#include <memory>

namespace Facilities {

/// The file of sipmmi, as the set-up script makes it.
const QByteArray good = "3\n21\nfile(\"/var/log/sipmmi.log\")\nfacility signature field\n";

/// What is said of a facility that has no file.
const QString noSuchFile = "No such file or directory"_s;

/// What is said of a facility whose file was made anew.
inline QString repairNotice(const QString &name)
{
    return "OK  -- but configuration file was corrupted : "_s + name
        + " restored to predefined values -- use level or redirect command to verify your "
          "log config "_s;
}

/// @p name as the name of a test's row.
inline QByteArray rowName(const QString &name)
{
    QByteArray text = name.left(30).toUtf8();
    return "'" + text.replace('\n', "\\n").replace('\0', "\\0") + "'";
}

/// @p content with another first line.
inline QByteArray withLevel(QByteArray content, int level)
{
    return content.replace(0, content.indexOf('\n'), QByteArray::number(level));
}

/// The facility files of a phone without the service; the syslog daemon has no part in it either.
class Set
{
public:
    Set()
    {
        Phone::stopBootedService();
        m_noReload = std::make_unique<HangUps>();
        Phone::resetConfiguration();
        m_files = ConfigText::facilityFiles();
    }
    /// Puts every file back to what the set-up script makes, and takes away whatever else is there.
    void reset() const { ConfigText::putFacilityFiles(m_files); }

private:
    std::unique_ptr<HangUps> m_noReload;
    ConfigText::FacilityFiles m_files;
};

/// In the place of the set-up script: it repairs nothing, but notes that it was started.
class NotingSetUp
{
public:
    /// The arguments of each start, a line each.
    static QByteArray starts() { return Phone::read(Faults::FakeSetUpScript::record()); }

private:
    Faults::FakeSetUpScript m_script {Faults::fake("setup-noting"_s)};
};

} // namespace Facilities

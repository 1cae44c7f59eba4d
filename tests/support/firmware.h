// A firmware update in the phone: another table of activities in the set-up script.
// SPDX-License-Identifier: MIT
#pragma once

#include "faults.h"
#include "literal.h"
#include "phone.h"

/// What an update brings in the tests that look at one.
namespace Video {
const QByteArray row = "Video local7 23 /var/log/Video.log\n";
const QString log = "/var/log/Video.log"_s;
const QString facilityFile = Phone::facilityDirectory + "Video.conf"_s;

/// Its block at the end of a configuration.
inline QByteArray block(const QByteArray &level = "err")
{
    return "\n# BEGIN Video\n"
           "destination d_Video { file(\"/var/log/Video.log\"); };\n"
           "filter f_Video { level("
        + level
        + "..emerg) and facility(local7) and program(\"^Video$\"); };\n"
          "log { source(s_phone); filter(f_Video); destination(d_Video); };\n"
          "# END Video\n";
}

/// Its facility file.
inline QByteArray facility(const QByteArray &level = "3")
{
    return level + "\n23\nfile(\"/var/log/Video.log\")\nfacility signature field\n";
}
} // namespace Video

/// The set-up script with another table, as long as it exists.
class Firmware
{
public:
    /// @p added are rows that stand in front of the others, each with its line feed; the rows of
    /// the activities @p removed are left out.
    explicit Firmware(const QByteArray &added, const QByteArrayList &removed = {})
    {
        QByteArray script = m_script;
        for (const QByteArray &name : removed) {
            const int row = script.indexOf('\n' + name + ' ');
            script.remove(row, script.indexOf('\n', row + 1) - row);
        }
        const QByteArray start = "readonly ACTIVITIES='\n";
        script.insert(script.indexOf(start) + start.size(), added);
        Phone::write(Phone::setUpScript, script);
        Faults::setMode(Phone::setUpScript, 0755);
    }
    Q_DISABLE_COPY(Firmware)

private:
    const QByteArray m_script = Phone::read(Phone::setUpScript);
    const Faults::Aside m_aside {Phone::setUpScript};
};

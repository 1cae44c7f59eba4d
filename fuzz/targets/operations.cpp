// Fuzzes whole operations of the module, one after the other, on a directory of its own, and
// compares what they leave with the second implementation's idea of it (operations/). The input:
// one operation a line, its arguments behind tabs. For the phone in a box only: the defence log is
// at its real place.
//
// No program is run: the linker puts the functions below in the place of runProgram(), which runs
// the syntax check, of the reload and of the set-up script (see CMakeLists.txt).
// SPDX-License-Identifier: MIT
#include "app/loggermodule.h"
#include "operations/check.h"
#include "operations/model.h"
#include "operations/moves.h"
#include "support/input.h"
#include "support/property.h"
#include "syslogconf/childprocess.h"

#include <QVX/qvxlogger.h>

#include <QDir>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

using Operations::outside;

ProgramEnd check(
    const QString &program, const QStringList &arguments, int timeout,
    ProgramOutput output) __asm__("__wrap__Z10runProgramRK7QStringRK11QStringListi13ProgramOutput");

ProgramEnd check(const QString &program, const QStringList &arguments, int /*timeout*/,
                 ProgramOutput /*output*/)
{
    FUZZ_REQUIRE(program == QLatin1String("/bin/sh"));
    FUZZ_REQUIRE(arguments.size() == 2 && arguments.at(0) == QLatin1String("-c"));
    FUZZ_REQUIRE(arguments.at(1).toStdString()
                 == Operations::root + "bin/syslog-ng -s -f " + Operations::temporary + " 2>&1");
    const std::optional<std::string> text = Operations::read(Operations::temporary);
    FUZZ_REQUIRE(text);
    bool isRefused = text->find("SYNTAX ERROR") != std::string::npos;
    if (outside.checksToRefuse > 0) {
        --outside.checksToRefuse;
        isRefused = true;
    }
    outside.refusedChecks += isRefused ? 1 : 0;
    if (!isRefused) {
        outside.acceptedTexts.insert(*text);
    }
    ProgramEnd end;
    end.exitStatus = isRefused ? 1 : 0;
    return end;
}

extern "C" void __wrap__ZN12LoggerModule7restartEv(LoggerModule * /*module*/)
{
    ++outside.reloads;
}

extern "C" void __wrap__ZN12LoggerModule18restoreSylogConfigEv(LoggerModule * /*module*/)
{
    Operations::setUp();
}

extern "C" int LLVMFuzzerInitialize(int * /*argc*/, char *** /*argv*/)
{
    if (qgetenv("PHONE_INSIDE") != "1" || !QDir(QStringLiteral("/run/phone")).exists()) {
        static_cast<void>(std::fputs("runs in the phone in a box only\n", stderr));
        std::exit(EXIT_FAILURE);
    }
    QVXLogger::syslogWorkingDirectory = QString::fromStdString(Operations::root + "syslog/");
    QVXLogger::configurationSyslogBranchPath
        = QString::fromStdString(Operations::root + "syslog/sip/");
    QVXLogger::facilityConfigFilesPath = QString::fromStdString(Operations::facilityDirectory);
    QVXLogger::syslogExecutablePath = QString::fromStdString(Operations::root + "bin/");
    // The lines are put together all the same, for names that no text may break.
    QVXLogger::setSink([](const QString &, QVXLogger::Priority, const QString &) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QVXLogger::forgetConfiguredLevels();
    Operations::perform(Fuzz::bytes(data, size));
    return 0;
}

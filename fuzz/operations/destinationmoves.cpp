// Operations on destinations.
// SPDX-License-Identifier: MIT
#include "destinations/destinationsyntax.h"
#include "literal.h"
#include "moves.h"
#include "support/property.h"
#include "syslogconf/configpaths.h"

namespace Operations {

namespace {

void checkRedirect(const Scene &scene, const QString &activity, const QString &destination,
                   const QString &answer, const QString &success)
{
    if (answer == success) {
        if (activity != QLatin1String("all") && scene.check.isKnown(activity)
            && isDestinationValid(destination)) {
            scene.check.destination(activity, driverExpression(destination));
        }
        return;
    }
    if (!isDestinationValid(destination) && scene.check.isKnown(activity)) {
        scene.check.unchanged();
    }
}

/// A redirection that goes into the facility file, too.
void checkRedirectWithFile(const Scene &scene, const QString &activity, const QString &destination,
                           const QString &answer)
{
    const QString success
        = "[REDIRECT] Activity : "_s + activity + " redirect to : "_s + destination + "OK"_s;
    checkRedirect(scene, activity, destination, answer, success);
    if (answer == success && scene.check.isKnown(activity)) {
        scene.check.facilityLine(activity, 2, destination);
    }
}

} // namespace

void redirect(Scene &scene, const Arguments &arguments)
{
    const QString activity = arguments.at(0);
    const QString destination = arguments.at(1);
    const auto change = [&] { return scene.module.redirect(activity, destination); };
    const QString answer = change();
    if (activity == QLatin1String("all")) {
        if (!isDestinationValid(destination)) {
            FUZZ_REQUIRE(answer == "[REDIRECT] Destination not valid: "_s + destination);
            scene.check.unchanged();
        } else if (destination == QLatin1String("init")) {
            scene.check.predefined();
        } else {
            scene.check.destination(QString(), driverExpression(destination));
        }
    } else {
        checkRedirect(scene, activity, destination, answer,
                      "[REDIRECT] Activity : "_s + activity + " redirect to : "_s + destination);
    }
    scene.repeat(change);
}

void redirectToServer(Scene &scene, const Arguments &arguments)
{
    const QString activity = arguments.at(0);
    const int port = arguments.at(3).toInt();
    const QString destination
        = networkDestination(arguments.at(1), arguments.at(2), QString::number(port));
    const QString answer = scene.module.redirect(activity, arguments.at(1), arguments.at(2), port);
    checkRedirectWithFile(scene, activity, destination, answer);
}

void redirectToFile(Scene &scene, const Arguments &arguments)
{
    const QString activity = arguments.at(0);
    const QString kind = arguments.at(1);
    QString name = arguments.at(2);
    const QString answer = scene.module.redirect(activity, kind, name);
    if (name.contains(QLatin1Char('/')) || name.contains(QLatin1Char('~'))) {
        FUZZ_REQUIRE(answer
                     == QLatin1String("Not a valid file name -- character / and ~ are banned"));
        scene.check.unchanged();
        return;
    }
    if (kind != QLatin1String("usertty") && !name.endsWith(QLatin1String(".log"))) {
        name += QLatin1String(".log");
    }
    const QString opening = kind == QLatin1String("ram") ? "file(\"/var/log/"_s
        : kind == QLatin1String("flash")                 ? "file(\"/log/flash/"_s
                                                         : "usertty(\""_s;
    const QString destination = opening + name + "\")"_s;
    checkRedirectWithFile(scene, activity, destination, answer);
}

void redirectAll(Scene &scene, const Arguments &arguments)
{
    const QString destination = arguments.at(0);
    const auto change = [&] { return scene.module.redirectAllActivities(destination); };
    change();
    if (!isDestinationValid(destination)) {
        scene.check.unchanged();
        return;
    }
    scene.check.destination(QString(), driverExpression(destination));
    scene.repeat(change);
}

void initConfigFile(Scene &scene, const Arguments & /*arguments*/)
{
    const auto change = [&] { return scene.module.initConfigFile(liveConfigPath()); };
    change();
    scene.check.predefined();
    scene.repeat(change);
}

void logRemoteServer(Scene &scene, const Arguments &arguments)
{
    Setting setting;
    setting.value = arguments.at(0);
    FUZZ_REQUIRE(scene.module.logRemoteServerProto(setting).isEmpty());
    setting.value = arguments.at(1);
    FUZZ_REQUIRE(scene.module.logRemoteServerAddress(setting).isEmpty());
    setting.value = arguments.at(2);
    FUZZ_REQUIRE(scene.module.logRemoteServerPort(setting).isEmpty());
    scene.check.unchanged();
    setting.value = "true"_s;
    FUZZ_REQUIRE(scene.module.logRemoteServer(setting).isEmpty());
    const QString destination
        = networkDestination(arguments.at(0), arguments.at(1), arguments.at(2));
    if (isDestinationValid(destination)) {
        scene.check.destination(QString(), destination);
    } else {
        scene.check.unchanged();
    }
}

} // namespace Operations

// The module with its inner operations in reach of a test, in the test's own process.
// SPDX-License-Identifier: MIT
#pragma once

#include "app/loggermodule.h"

/// Not on the bus: its events go nowhere.
class TestableModule : public LoggerModule
{
public:
    TestableModule() = default;

    using LoggerModule::checkTemporaryConfig;
    using LoggerModule::createLogDirectories;
    using LoggerModule::deleteFacilityConfigFiles;
    using LoggerModule::initConfigFile;
    using LoggerModule::initializeLevelDestination;
    using LoggerModule::initLogServerStruct;
    using LoggerModule::modify;
    using LoggerModule::readFacilityFile;
    using LoggerModule::redirectAllActivities;
    using LoggerModule::restart;
    using LoggerModule::restoreConfigFile;
    using LoggerModule::restoreFacilityFile;
    using LoggerModule::restoreSylogConfig;
    using LoggerModule::searchFacility;
    using LoggerModule::setAllFacilityRedirections;
    using LoggerModule::updateFacilityFile;
    using LoggerModule::writeFacilitylevel;
    using LoggerModule::writeToFile;
};

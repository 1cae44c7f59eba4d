// What a person asks for, before anything is sent.
// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QStringList>

/// One form of one method of the service, or something a client does with several.
enum class Operation {
    DeleteRamLogs, ///< no words
    DeleteLogs, ///< "flash"
    ListLevels, ///< no words
    ChangeLevel, ///< activity or "all", level word
    ListDestinations, ///< no words
    Redirect, ///< activity or "all", destination text
    RedirectToSupport, ///< activity or "all", support type, file or user name
    RedirectToServer, ///< activity or "all", protocol, address; the number is the port
    GetLevels, ///< no words
    SetLevels, ///< one text of items ACTIVITY:LEVEL
    ResetLevels, ///< no words
    Archive, ///< no words
    Defence, ///< what to do; the number is how many lines
    RemoteServer, ///< the setting's new value, as for the next three
    RemoteProtocol,
    RemoteAddress,
    RemotePort,
    Comment, ///< activity, text
    ShowRemote, ///< no words; the settings service is asked
    FactoryReset, ///< no words; the module's control interface is asked
    ShowLevel, ///< activity; its row of the table
    Watch, ///< no words; the event of level changes
    ReadLog, ///< activity
    Trace, ///< activity, level word
    Status, ///< no words
    Check, ///< no words; the service is not asked
};

/// An operation with its arguments in the order of the method's own.
struct Request
{
    Operation operation = Operation::ListLevels;
    QStringList words;
    int number = 0;
};

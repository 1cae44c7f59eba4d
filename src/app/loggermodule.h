// The service's one module: every operation of the phone's logging configuration.
// SPDX-License-Identifier: MIT
#pragma once

#include <QVX/qvxmodule.h>
#include <QVX/setting.h>

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class LoggerModuleAdaptor;
struct ActivityLevelEntry;
struct ConfigLineEdit;
struct FacilityUpdates;

/**
 * Owns logappli.conf and the facility level files. The operations are implemented in the folder
 * that they belong to: the configuration file's in syslogconf/, the levels' in levels/, the
 * destinations' and the remote log server's in destinations/.
 *
 * A result text is "OK" or contains "OK" on success; anything else is a message for a person.
 * Callers compare the texts byte for byte. No operation throws, and nothing is cached between
 * calls.
 *
 * The bulk setters run their work on the global thread pool. Whatever reads or writes logappli.conf
 * or a facility file waits for its turn first (ConfigurationOrder), so that no two rewrites ever
 * run at once and everything happens in the order in which it was asked for.
 */
class LoggerModule : public QVXModule
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.corvane.Quorvix.QVXInterface")

public:
    /// The module, created by the first call. For the main thread only.
    static LoggerModule *instance();
    ~LoggerModule() override;

    /// Creates the D-Bus adaptor and registers the Setting type with QtDBus. @return true
    bool exportInterface() override;

    /**
     * Reads and applies the remote log server's settings, creates the log directories, and sets all
     * levels to their initial values when the marker file "resetLogLevel" asks for it.
     * @return true
     */
    bool initialize() override;

    /// Sets every activity to "err" and to its predefined log file, and removes facility files.
    void restoreDataToFactory() override;

    // The order of the slots is part of the meta-object that the platform's tools read.
public Q_SLOTS:
    /**
     * Announces a level with the event "log_level_changed" and writes it into the facility file.
     * The event goes out first, and also when the change then fails.
     * @param facility a facility, or "all" for every activity of logappli.conf
     * @param level a syslog level number
     * @return for one facility "Level <name> for facility : <facility> " or
     *         "One or more log config file corrupted -- file restored to predefined value !"; for
     *         "all" what setAllFacilityLevels() answers
     */
    QString setLevel(const QString &facility, int level);

    /**
     * Writes @p comment as an error line to the log called @p facility, whatever levels are
     * configured.
     * @return "OK"
     */
    QString logComments(const QString &facility, const QString &comment);

    /**
     * Removes the log files in RAM: what stands in /var/log/ under a name that contains a dot and
     * does not begin with one, subdirectories excepted. Then syslog-ng is told to reload, so that
     * it writes to new files. Makes that directory the process's working directory.
     * @return "All logs files removed in /var/log/ directory.", also when a file could not be
     *         removed; "No Log file to remove in /var/log/ directory" when it cannot be entered
     */
    QString deleteTmpLogFiles();

    /**
     * Removes the log files in RAM and those in flash, /log/flash/, which becomes the working
     * directory.
     * @param parameter "flash"
     * @return "All logs files removed in /var/log/ and /log/flash/ directories.", "No Log file to
     *         remove in /var/log/ and /log/flash/ directories", or "Wrong parameter in
     *         deleteTmpLogFileWithParameter"
     */
    QString deleteTmpLogFiles(const QString &parameter);

    /**
     * Lists the activities with level, support and destination.
     * @return LoggerConfigList::activityTable() of the live file
     */
    QString level();

    /**
     * Changes the level of one activity or of all, in logappli.conf and in the facility files.
     * @param activity an activity of logappli.conf, or "all"
     * @param level one of the six level names; with "all" also "init" (every activity to "err") or
     *        "restore" (logappli.conf from its backup)
     * @param needRestart whether syslog-ng is told to reload after a change of one activity; a
     *        change of all reloads it always
     * @return "Level <level> for facility : <activity> OK" (after the repair of a facility file the
     *         repair's notice instead of "OK"), "All levels changed to <level> value ",
     *         "level restore succcess", "level restore failed", "Not a valid activity :
     * <activity>",
     *         "[level] level not valid: <level>", "file configuration access error" (for "all" with
     *         the path behind it), or what setLevel() answers
     */
    QString level(const QString &activity, const QString &level, bool needRestart = true);

    /// Lists the activities. @return as level()
    QString redirect();

    /**
     * Sends the messages of one activity or of all to a destination. The facility file of a single
     * activity is left as it is.
     * @param activity an activity of logappli.conf, or "all"
     * @param destinationName a destination that isDestinationValid() accepts; "init" (back to the
     *        predefined log file) with "all" only
     * @return "[REDIRECT] Activity : <activity> redirect to : <destination>", also when syslog-ng
     *         refused the new configuration and the backup was restored; for "all" what
     *         redirectAllActivities() or setAllFacilityRedirections() answers; else "Destination
     * not valid --parameter init can only be used with activity all !", "not a valid activity :
     *         <activity>", "[REDIRECT] Destination not valid: <destination>"
     */
    QString redirect(const QString &activity, const QString &destinationName);

    /**
     * Sends the messages to a remote server, and records that in the facility file.
     * @param destinationName the protocol, "udp" or "tcp"
     * @param ipAddress an IPv4 address or a host name
     * @param ipPort 1 to 65535
     * @return the answer of the two-argument form followed by "OK"; else "not a valid facility :
     *         <activity>", " [REDIRECT] destination parameters not valid: <destination>", "One or
     *         more log config file corrupted -- Restored to predefined value"
     */
    QString redirect(const QString &activity, const QString &destinationName,
                     const QString &ipAddress, int ipPort);

    /**
     * Sends the messages to a file or a terminal, and records that in the facility file.
     * @param destinationName "ram" (a file in /var/log/), "flash" (in /log/flash/) or "usertty"
     * @param path a file name, to which ".log" is added when it does not end in it; a user's name
     *        for "usertty"
     * @return the answer of the two-argument form followed by "OK"; else "Not a valid file name --
     *         character / and ~ are banned", "Not a valid support type -- can be : ram - flash or
     *         usertty", "not a valid activity : <activity>", " [redirect] destination parameters
     * not valid: <destination>", "One or more log config file corrupted -- restored to predefined
     * value !"
     */
    QString redirect(const QString &activity, const QString &destinationName, const QString &path);

    /**
     * Level names by activity for seven of the phone's activities; an empty name for one that
     * logappli.conf does not have. "qvxbtmgr" is left out when the environment variable PHONE_MODEL
     * is not set, or names a model without Bluetooth.
     */
    QVariantMap getSyslogLevels();

    /**
     * Sets the levels of several activities in a background job. Items that ask for the level which
     * an activity has already are skipped; a bad item does not keep the others from being set. A
     * job that is not done 20 s after the process was asked to stop begins no further item, and
     * says in the log how many are left.
     * @param syslogLevels such as "{qvxsipua:debug,Telephony:warning}"; blanks count
     * @param async whether to answer at once and let the job go on by itself
     * @return "value" "0" and "msg" "Fast set log levels OK" or "Set log levels OK"; or "1" and
     *         "Set log levels error"
     */
    QVariantMap setSyslogLevels(const QString &syslogLevels, bool async = true);

    /**
     * Sets every activity to "err" in a background job.
     * @param async as for setSyslogLevels()
     * @return "value" "0" and "msg" "Fast set all log levels to error OK" or "Set all log levels to
     *         error OK"; or "1" and "Error when setting all log levels to error"
     */
    QVariantMap resetSyslogLevelsToErr(bool async = true);

    /**
     * Packs /var/log, /log and /data/core with tar(1) into /var/volatile/tmp/all_logs.tar.gz, and
     * links it to /www/pages/all_logs.tar.gz for the web server. Whatever else stands under the
     * archive's name gives way. Blocks for up to 30 s, after which the command is stopped and the
     * archive removed.
     * @return "value" "0" and "msg" "Generate logs successfully", also when the command was stopped
     *         or could not be started; "1" and "Error on exit" when the archive cannot be created,
     *         or tar or ln failed: tar does when a log grows while it is read
     */
    QVariantMap generateLogsForWeb();

    /**
     * Works on the newest lines of the defence log /log/Defence.log, which is created when missing.
     * @param position how many lines
     * @param todo "size" counts all lines; "read" answers the lines, at most the newest 16 MiB of
     *        whole ones; "delete" removes them from the storage and reloads syslog-ng. To delete
     *        more lines than there are leaves a notice in the file.
     * @return "[DEFENCE] Total messages saved in flash sector:<n>", the lines, "[DEFENCE] delete
     *         <n> lines OK", "[DEFENCE] impossible to open in read/write mode/log/Defence.log", or
     *         for another @p todo "bad input parameter(s) -- use : defence --help command, for more
     *         information"
     */
    QString defence(int position, const QString &todo);

    /// The settings service reports another address. It is applied when a remote server existed at
    /// start. @return an empty list, as the three below
    ListSetting logRemoteServerAddress(const Setting &setting);
    /// The same for the port.
    ListSetting logRemoteServerPort(const Setting &setting);
    /// The same for the protocol.
    ListSetting logRemoteServerProto(const Setting &setting);
    /// The settings service reports whether there is a remote server: with the value "true" every
    /// activity is sent there, with any other back to its predefined log file.
    ListSetting logRemoteServer(const Setting &setting);

protected:
    LoggerModule();

    /** @name Rewrite, check, restore and reload of the configuration (syslogconf/) */
    ///@{

    /**
     * Replaces the file at @p path by @p content, if syslog-ng accepts it: the text goes to
     * logappli.conf.tmp, is checked there, and a copy that is synced to storage takes the live
     * file's place in one step. When that fails the live file stays.
     * @return true when the live file holds @p content
     */
    [[nodiscard]] bool writeToFile(const QString &content, const QString &path);

    /// Runs syslog-ng's syntax check (syslog-ng(8), option -s) on logappli.conf.tmp through the
    /// system shell. Blocks for up to 30 s. @return true when syslog-ng accepts the file in time
    [[nodiscard]] bool checkTemporaryConfig();

    /**
     * Replaces the live file at @p path by the backup, in one step, and reloads syslog-ng. Only
     * ever replaces an existing file. Without a backup the live file is removed.
     * @return true when the live file is a copy of the backup, synced to storage
     */
    bool restoreConfigFile(const QString &path);

    /// Makes syslog-ng reload its configuration: runs kill(1) with -hup and the pid of
    /// /var/run/syslog-ng.pid. Blocks for up to 30 s.
    void restart();

    /// Removes what an earlier process that was killed has left beside logappli.conf, the facility
    /// files and the defence log.
    void removeUnfinishedFiles();

    /// Runs the platform's set-up script, which regenerates missing and broken files. Blocks for up
    /// to 10 s; a script that takes longer goes on by itself, and the next call waits for it first.
    void restoreSylogConfig();
    ///@}

    /** @name Editing activities in the configuration (syslogconf/) */
    ///@{

    /**
     * Applies @p edit to the file at @p path through writeToFile(). An activity that the file does
     * not have leaves it unchanged.
     * @return "OK", or "[modify] -- file configuration access error", with @p path behind it when
     *         the file could not be read. When the new text was refused, the live file has been
     *         replaced by the backup.
     */
    QString modify(ConfigLineEdit edit, const QString &path);

    /// Puts every activity of the file at @p path back on its predefined log file.
    /// @return false when the file lists no activity or cannot be opened again
    bool initConfigFile(const QString &path);

    /**
     * The rewrite behind initConfigFile().
     * @param activities the activities in file order
     * @return "file configuration access error" when the file cannot be opened after a restore;
     *         other failures "[initializeLevelDestination] -- file configuration access error",
     *         "[initializeLevelDestination] --file configuration access error" or
     *         "[modify] --file configuration access error" and the path. On success
     *         "No such an activity: " when the last listed activity was rewritten, else "OK".
     */
    QString initializeLevelDestination(const QList<ActivityLevelEntry> &activities,
                                       const QString &path);
    ///@}

    /** @name Facility level files (levels/) */
    ///@{

    /**
     * Tells whether a facility is known, by its file or by its application's.
     * @return "OK", a notice that contains "OK" after a repair, or
     *         "No config file for facility : <facility>"
     */
    QString searchFacility(const QString &facility);

    /**
     * Reads the lines of a facility file. A file that is not valid is removed.
     * @return the lines, or one line that says why there are none
     */
    QStringList readFacilityFile(const QString &facility);

    /**
     * Rewrites one field of a facility file. The file is replaced as a whole and synced to storage;
     * when that fails the old one stays.
     * @param redirection the destination statement; used when @p field is "redirection"
     * @param field "level" or "redirection"; any other changes nothing
     * @param level a syslog level number; used when @p field is "level"
     * @return "OK", "Impossible to read in Read/Write mode : <facility>" when the file cannot be
     *         written, or for an invalid file, which is gone then, what restoreFacilityFile()
     *         answers
     */
    QString updateFacilityFile(const QString &redirection, const QString &facility,
                               const QString &field, int level);

    /**
     * The first half of updateFacilityFile(): adds the new file to @p updates, so that the files of
     * several facilities are synced together.
     * @return "OK", or for an invalid file, which is not added, as updateFacilityFile()
     */
    QString prepareFacilityUpdate(const QString &redirection, const QString &facility,
                                  const QString &field, int level, FacilityUpdates *updates);

    /// The second half: replaces the files. @return the facilities whose old file stays, because
    /// the new one could not be written
    QStringList writeFacilityUpdates(const FacilityUpdates &updates);

    /// Writes @p level into the facility file. @return as updateFacilityFile()
    QString writeFacilitylevel(const QString &facility, int level);

    /// The first half of writeFacilitylevel(). @return as prepareFacilityUpdate()
    QString prepareFacilityLevel(const QString &facility, int level, FacilityUpdates *updates);

    /**
     * Rewrites an existing facility file with its predefined content.
     * @return "sylog-ng config file restored"; when the old file stays, a system error text or "Can
     *         not create a new facility config file !"
     */
    QString restoreFacilityFile(const QString &facility);

    /// Removes the marker file "resetLogLevel", which asks for one reset of all levels at the next
    /// start. @return whether it was there
    bool takeResetMarker();

    /// Removes the files of the working directory that are called like the facility files.
    /// @return whether there are facility files
    bool deleteFacilityConfigFiles();
    ///@}

    /** @name Levels of all activities (levels/) */
    ///@{

    /// Sets every activity to the level name @p level, and reloads syslog-ng. @return as level()
    QString setAllLevels(const QString &level);

    /**
     * Writes @p level into the facility file of every activity of logappli.conf.
     * @return "All levels changed to <name> value ", "No logger configuration file !!", or "One ore
     *         more facility config file corrupted -- restored to predefined value ! -- Use level or
     *         redirect command to verify your log config"
     */
    QString setAllFacilityLevels(int level);
    ///@}

    /** @name Destinations of all activities (destinations/) */
    ///@{

    /**
     * Sends the messages of every activity to @p destination.
     * @return what setAllFacilityRedirections() answers, also when syslog-ng refused the new
     *         configuration; "[REDIRECT] IP destination address not valid " for
     *         Setting::UNDEFINEDVALUE, "[REDIRECT] destination parameter not valid: <destination>"
     */
    QString redirectAllActivities(const QString &destination);

    /**
     * Writes the redirection into the facility file of every activity.
     * @param mode "init" for the predefined log files, any other for @p destination
     * @return "All facilities redirected to predefined values ", "All facilities redirected to :
     *         <destination> ", or "One ore more config files were corrupted -- Initialised to
     *         predefined values -- check your log config with level or redirect command !"
     */
    QString setAllFacilityRedirections(const QString &destination, const QString &mode);

    /// Reads the remote log server's settings from the settings service, and applies them when
    /// there is a server.
    void initLogServerStruct();
    ///@}

    /** @name Log files (destinations/) */
    ///@{

    /// Both forms of deleteTmpLogFiles(). @param withFlash whether /log/flash/ is emptied, too
    QString deleteLogFiles(bool withFlash);
    ///@}

    /** @name Start and factory reset (app/) */
    ///@{

    /// Creates /var/log/ and /log/flash/ when they are missing. @return whether both are there
    bool createLogDirectories();

    ///@}

private:
    struct SetLevelsJob;
    struct ResetLevelsJob;

    /// What setSyslogLevels() does in the background. @return its map without "Fast"
    QVariantMap applySyslogLevels(const QString &syslogLevels);
    /// What resetSyslogLevelsToErr() does in the background. @return its map without "Fast"
    QVariantMap applyErrToAllActivities();

    /// The common end of the three- and four-argument redirect(). @param corrupted the answer when
    /// the facility file cannot be written
    QString redirectAndRecord(const QString &activity, const QString &destination,
                              const QString &check, const QString &corrupted);
    /// Sends every activity to the remote server of the record.
    void applyRemoteServer();
    /// Stores a changed setting in @p field of the record. @return an empty list
    ListSetting changeRemoteServer(QString &field, const Setting &setting);

    LoggerModuleAdaptor *m_adaptor = nullptr; ///< owned through the parent/child relation
};

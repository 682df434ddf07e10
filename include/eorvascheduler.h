/// \file eorvascheduler.h
/// The exported functions of libeorvascheduler.so.7, by family.
///
/// Requests and results are `Json::Value`. Every function returns an integer: 0 or more (a count, a process id, a
/// found-flag) on success, a negative number on failure. No function throws. A failure is logged with the text of the
/// failed check, both where it happened and in each operation that fails because of it.
///
/// A host has three handle variables, all null at first, and calls
///
///     initConfig("task", jConfig, &pDb, &pApi);                 // opens the database
///     initConfig("task_result", jConfig, &pDb, &pApiResult);    // reuses it
///     ... any of the functions below ...
///     freeConfig(&pDb, &pApi, &pApiResult);
///
/// The other functions borrow these handles: none of them opens, closes or keeps a handle.
///
/// Use one thread per process: opening the database switches the effective user of the whole process, and an execution
/// (runByEvent(), runTaskOne()) blocks its caller until the last child has ended. The host must not ignore SIGCHLD, and
/// must not reap the children of an execution itself.
///
/// Unless a function says otherwise, strings, integers and booleans are read with JsonCpp's own conversions. A value
/// that cannot be converted fails the call.

#pragma once

#include <json/value.h>
#include <string>

struct sqlite3;
class OrvaJsonDbApi;

/// Marks the exports of the shared library; all other symbols are hidden.
#define EORVA_EXPORT __attribute__((visibility("default")))

/// \name Flags that the host defines
/// The library only reads them. A program that links the library must define both, each as a global `bool`.
/// @{

/// True: log lines go to standard output as "(PID) FILE:LINE MESSAGE"; false: to syslog at priority error. The few
/// lines that tell why a run was not started always go to syslog.
extern bool blLogToStdout;

/// True: debug lines are logged, too, to the same destination and at the same priority.
extern bool blDebugOutput;

/// @}

/// The relations that recListRelate() lists.
enum RelateType {
  RTYPE_BOTTM_UP = 0,  ///< (spelled so on purpose: log lines name it) every task that the given one waits for, directly
                       ///< or through others
  RTYPE_TOP_DOWN = 1,  ///< every task that waits for the given one, directly or through others
  RTYPE_CANDIDATE = 2,  ///< the tasks of the same event that are neither, without the task itself
};

/// What recUpdateSubtree() does.
enum SubtreeChange {
  SUBTREE_DELETE = 0,  ///< delete the task, and its entry in the lists of the tasks that wait for it
  SUBTREE_RENAME = 1,  ///< rename the task, also in the lists of the tasks that wait for it
};

/// \name Setup
/// @{

/// Opens the store handle of one table, and the database if it is not open yet.
/// \param strTableName  "task" or "task_result".
/// \param jConfigOut    replaced by the whole configuration file, as recConfigGet() reads it, on every call. It may be
///                      replaced even if a later step fails.
/// \param ppDb          database handle; opened when it is null, else used unchanged. Owned by the caller.
/// \param ppApi         receives the new store handle, owned by the caller. A handle that it holds already is
///                      overwritten without being released.
/// \return 0; -1 when an argument, the table definitions, the creation SQL or the configuration failed, openDb() gave
///         null or the store refused the database. `*ppDb` and `*ppApi` are then untouched.
EORVA_EXPORT int initConfig(std::string strTableName, Json::Value& jConfigOut, sqlite3** ppDb, OrvaJsonDbApi** ppApi);

/// Closes the database and releases both store handles; null handles are skipped.
/// The database is closed before the store handles are destroyed.
/// \param ppDb         database handle; set to null, also when SQLite refuses to close it.
/// \param ppApi        store handle of `task`; set to null.
/// \param ppApiResult  store handle of `task_result`; set to null.
/// \return 0; -1 when one of the three addresses is null, and then nothing is released.
EORVA_EXPORT int freeConfig(sqlite3** ppDb, OrvaJsonDbApi** ppApi, OrvaJsonDbApi** ppApiResult);

/// Opens a database with foreign keys enforced; creates it empty, with mode 0700, when it does not exist. A database
/// that cannot be examined (a link that leads to itself, a name that is too long, no permission) is not opened.
/// \param strPath   path of the database file.
/// \param blAsRoot  true: the effective user is 0 meanwhile, so that a new file belongs to root.
/// \return the connection, owned by the caller; null for an empty path, or when the file could not be created or the
///         user could not be switched. If foreign keys cannot be enforced, the connection is returned after a log line.
///         If SQLite fails to open the file, the handle of the failed connection is returned: check `sqlite3_errcode`.
EORVA_EXPORT sqlite3* openDb(std::string strPath, bool blAsRoot);

/// Reads the installed table definitions.
/// \param jTableDef  replaced by the file's document, an object with the members `task` and `task_result`; null when it
///                   could not be parsed.
/// \return 0; -1 when the file is missing or unreadable, is not an object, or lacks one of the members.
EORVA_EXPORT int loadTableDef(Json::Value& jTableDef);

/// Reads the installed SQL that creates the tables.
/// \param strSqlCreate  replaced by the text; untouched when there is no such file.
/// \return the result of loadFile().
EORVA_EXPORT int loadSqlCreate(std::string& strSqlCreate);

/// Reads a whole regular file, byte for byte.
/// \param strFilePath  path of the file.
/// \param strContent   replaced by the file's bytes; untouched unless the result is 0.
/// \return 0 when read; 1 when there is no such file, or it cannot even be examined (nothing is logged); -1 when it
/// exists
///         and cannot be read (no permission, a folder, a device, larger than memory).
EORVA_EXPORT int loadFile(std::string strFilePath, std::string& strContent);

/// @}

/// \name Configuration
/// The configuration file is one object of sections; the scheduler's own section is `eorvascheduler`, with
/// `type` (its own name), `output_path` (string: a share, optionally with a path inside it) and
/// `enable_output` (boolean, true when absent). There is no locking: of two processes that write at the same
/// moment the last one wins.
/// @{

/// Creates the configuration file when there is none.
/// \return 0 when the file exists, with any content, or was created; -1 when it could not be created.
EORVA_EXPORT int configInit();

/// Reads the configuration, or one section of it.
/// \param jIn   null, or an object: `type` (string, optional) names the section.
/// \param jOut  null or an object; replaced by the section, or by the whole file without `type`. Set to null when there
///              is no such section; unchanged when there is no file, or on failure.
/// \return 1 when `jOut` has the section or the file; 0 when there is no file or no such section; -1 when an argument
///         has the wrong type or the file cannot be read. Without `type`, any JSON document is delivered; with `type`,
///         a document that is null has no sections, and any other that is no object cannot be read.
EORVA_EXPORT int configGet(Json::Value& jIn, Json::Value& jOut);

/// Replaces one section, creating the file when there is none; the file's mode becomes 0644.
/// \param jIn  object: `type` (string, required) names the section; all its members are stored. Members of the stored
///             section that `jIn` lacks are dropped; other sections are kept.
/// \return 0; -1 when the argument is wrong, the present file cannot be read, or the write failed. The file is then
///         unchanged, except when only its mode could not be set after the write.
EORVA_EXPORT int configSet(Json::Value& jIn);

/// Reads the whole configuration. A damaged file is not a failure.
/// \param jConfigOut  replaced by the whole file; an empty object without a file, null when it does not parse.
/// \return 0, also for a file that does not parse; -1 when the file cannot be examined.
EORVA_EXPORT int recConfigGet(Json::Value& jConfigOut);

/// Reads the installed event catalogue, without interpreting it.
/// \param jEventOut  replaced by the document; null when it does not parse.
/// \return 0; -1 when the file is missing or does not parse.
EORVA_EXPORT int eventList(Json::Value& jEventOut);

/// @}

/// \name Task catalogue
/// A task record is an object with the key `task_name`. `depend_on_task` lists the tasks that it waits for, each name
/// between "[" and "]", as in "[backup][cleanup]". The empty string marks a root of its event.
/// @{

/// Walks the dependency graph from one task, breadth first.
/// \param pApi          store handle of `task`; borrowed.
/// \param jRecParam     object: `task_name` (string, required), the starting task. Other members are ignored.
/// \param jRecArrayOut  array or null; replaced by the array of whole task records in the order in which they were
///                      found, each once, without the starting task. Undefined on failure.
/// \param pDb           the open database; only tested for null.
/// \param blBottomUp    true: finds the tasks that it waits for; false: finds the tasks that wait for it. The latter
///                      are found by pattern, so "_" and "%" in a name match other names, and the case of ASCII letters
///                      is ignored.
/// \param strEvent      empty, or an event. With an event, the result is the complement: the tasks of that event that
///                      the walk did not find, without the starting task.
/// \param blReserved    ignored.
/// \return 0; -1 on a bad argument, a malformed list, a failing store, or a cycle that contains the starting task.
///         Another cycle is not detected, and the walk does not end: do not store one.
EORVA_EXPORT int recListRelateEx(OrvaJsonDbApi* pApi, Json::Value& jRecParam, Json::Value& jRecArrayOut, sqlite3* pDb,
                                 bool blBottomUp, std::string strEvent, bool blReserved);

/// Lists the tasks that have a given relation to one task.
/// \param pApi          store handle of `task`; borrowed.
/// \param jRecParam     object: `relate_type` (integer, one of RelateType, required), `task_name` (string,
///                      required).
/// \param jRecArrayOut  array or null; receives whole task records. Replaced for the first two types; for
///                      #RTYPE_CANDIDATE they are appended to what it holds.
/// \param pDb           the open database; only tested for null.
/// \return 0; -1 on a bad argument or when a walk failed.
EORVA_EXPORT int recListRelate(OrvaJsonDbApi* pApi, Json::Value& jRecParam, Json::Value& jRecArrayOut, sqlite3* pDb);

/// Creates a task, and an event log entry.
/// \param pApi  store handle of `task`; borrowed.
/// \param jIn   object: the task record. It is stored without validation.
/// \param jOut  the created record, as the store returns it.
/// \return the store's result: negative when it refused the record; nothing is logged then.
EORVA_EXPORT int recCreate(OrvaJsonDbApi* pApi, Json::Value& jIn, Json::Value& jOut);

/// Changes or renames a task.
/// \param pApi  store handle of `task`; borrowed.
/// \param jIn   object: `task_name` (string, required) and the members to change. With `old_task_name` (string), the
///              task of that name is renamed to `task_name`, also in the lists of the tasks that wait for it, in one
///              transaction. If the request is valid, `old_task_name` is removed from `jIn`.
/// \param pDb   the open database, for the transaction.
/// \return 0, also when there is no such task (nothing is created); -1 on failure. See recUpdateSubtree() for the state
///         after a failed rename.
EORVA_EXPORT int recUpdate(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb);

/// Deletes a task, and its entry in the lists of the tasks that wait for it, in one transaction.
/// \param pApi  store handle of `task`; borrowed.
/// \param jIn   object: `task_name` (string, required).
/// \param pDb   the open database, for the transaction.
/// \return 0; negative on failure. See recUpdateSubtree() for the state after a failure.
EORVA_EXPORT int recDelete(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb);

/// Deletes or renames a task, and rewrites the first copy of its entry in the `depend_on_task` of every task that waits
/// for it, in one transaction. It writes no event log entry.
/// \param pApi   store handle of `task`; borrowed.
/// \param jIn    object: `task_name` (required, not empty); for a rename also `old_task_name` (required, not empty),
///               which is removed from the object.
/// \param pDb    the open database, for the transaction.
/// \param iType  one of SubtreeChange.
/// \return 0; -1 on failure. After a failure in the transaction, the transaction stays open, and the host rolls it back
///         or closes the connection.
EORVA_EXPORT int recUpdateSubtree(OrvaJsonDbApi* pApi, Json::Value& jIn, sqlite3* pDb, int iType);

/// @}

/// \name Execution
/// @{

/// Runs every enabled root task of an event, then the tasks that wait for them, each as soon as the last task
/// it waits for has ended in this execution. Blocks until no child is left.
///
/// A child that cannot write its script returns through this function, too. Compare `getpid()` with its value before
/// the call, and call `_exit` at once when they differ.
/// \param pApi        store handle of `task`; borrowed.
/// \param pApiResult  store handle of `task_result`; borrowed.
/// \param jIn         object: `event` (string, required, not empty), the name of the event that fired.
/// \param pDb         the open database.
/// \return 0, also when the event has no such task or single runs failed; -1 when the request, the listing or the
///         configuration failed, or the store listed a value that is not an object.
EORVA_EXPORT int runByEvent(OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, Json::Value& jIn, sqlite3* pDb);

/// Runs one task now and blocks until it has ended. `enable`, `event` and `depend_on_task` are ignored, and tasks that
/// wait for it are not started. A child may return through this function as through runByEvent().
/// \param jTask       object: the whole stored task record; left unchanged.
/// \param pApi        store handle of `task`; borrowed.
/// \param pApiResult  store handle of `task_result`; borrowed.
/// \param pDb         the open database.
/// \return 0, also when the run was refused or failed; -1 when an argument or the configuration failed.
EORVA_EXPORT int runTaskOne(Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb);

/// Classifies a wait status of `waitpid` or `system`.
/// \param iStatus  the wait status.
/// \param jExit    object or null; replaced by an object: `exit_type` ("normal", "by_signal", "stop" or
///                 "continue") and, except for "continue", `exit_code` (integer).
/// \return 0; -1 when `jExit` has another type or the status fits no class, and `jExit` is then unchanged.
EORVA_EXPORT int getExitStatus(int iStatus, Json::Value& jExit);

/// Gives the text for an exit type in the server's mail language.
/// \param strExitType  "normal", "by_signal", "stop" or "continue"; the last three share one text.
/// \param strText      replaced by the text, empty when the language has none; untouched on failure.
/// \return 0; -1 when the type is empty or unknown, or the language has no texts at all.
EORVA_EXPORT int getExitTypeString(std::string& strExitType, std::string& strText);

/// @}

/// \name Output and presentation
/// @{

/// Reads the output of a run and the script that ran.
/// \param pApiResult  store handle of `task_result`; borrowed.
/// \param jIn         object: `result_id` (required), `task_name` (string, required). The whole object is the filter
///                    for the run record.
/// \param jOut        object or null; receives `script_out` and `script_in` (strings; empty when the file is missing or
///                    output is not kept). Unchanged when no run record matches.
/// \return 0, also when no run record matches or there is no configuration; -1 on failure, and `jOut` may then have
///         only `script_out`.
EORVA_EXPORT int recResultGetFile(OrvaJsonDbApi* pApiResult, Json::Value& jIn, Json::Value& jOut);

/// Translates a path that begins with a share's name into a path of the file system.
/// \param strSharePath   the share's name, optionally "/" and a path inside it; cut at 4095 bytes.
/// \param strVolumePath  replaced by the path, cut at 4095 bytes; untouched on failure.
/// \return 0; -1 when the path is empty or the share is unknown. When its volume is not available, the administrators
///         are notified.
EORVA_EXPORT int sharePath2VolumePath(std::string& strSharePath, std::string& strVolumePath);

/// Notifies the administrators that the volume of a share is not available.
/// \return 0; -1 when the notifier could not be run.
EORVA_EXPORT int errorNotify();

/// Converts task records from user interface form to stored form; see objectChangeFormatOwner().
/// \param jInOut  a task record or an array of them; null and empty values are unchanged.
/// \return 0; -1 when the argument has another type or a record failed. The records before it in an array stay
///         converted; the failed record may be partly converted.
EORVA_EXPORT int taskPreAction(Json::Value& jInOut);

/// Converts task records from stored form to user interface form: the owner, then the times.
/// \param jInOut  a task record or an array of them; null and empty values are unchanged.
/// \return 0; -1 when the argument has another type or a record failed. The records before it in an array stay
///         converted; the failed record may be partly converted.
EORVA_EXPORT int taskPostAction(Json::Value& jInOut);

/// Converts the times of run records to readable text; see objectChangeTimeStamp().
/// \param jInOut  a run record or an array of them; null and empty values are unchanged.
/// \return 0; -1 when the argument has another type or a record failed. The records before it in an array stay
///         converted; the failed record may be partly converted.
EORVA_EXPORT int resultPostAction(Json::Value& jInOut);

/// Converts the members `last_start_time`, `last_stop_time`, `start_time`, `stop_time` and `event_fire_time`, if
/// present, from Unix seconds to local time in the form "2026-11-20 09:57:01".
/// \param jRec        object, or an empty value, which is unchanged.
/// \param blToString  ignored: there is no conversion back.
/// \return 0; -1 when a member cannot be converted; the members before it stay converted.
EORVA_EXPORT int objectChangeTimeStamp(Json::Value& jRec, bool blToString);

/// Converts the member `owner` of a task record, if present.
/// \param jRec       object, or an empty value, which is unchanged.
/// \param blAddName  true: converts the uid (integer) to an object with one member; its name is the uid in decimal, its
///                   value the user's name (empty for an unknown user). False: converts such an object to the uid.
/// \return 0; -1 when `owner` has the wrong type, or is an object without members.
EORVA_EXPORT int objectChangeFormatOwner(Json::Value& jRec, bool blAddName);

/// Gives the decimal text of an integer.
/// \param iValue  any integer.
/// \return its digits, with a leading minus for a negative number; empty only when memory ran out.
EORVA_EXPORT std::string myto_string(const int& iValue);

/// @}

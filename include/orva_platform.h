/// \file orva_platform.h
/// The platform interfaces that libeorvascheduler.so.7 calls, and a few more for hosts.
///
/// `liborvaplatform.so.1` implements them for a plain Linux server; another platform implements the same declarations.
/// Plain functions have C linkage, the class and the two namespaces C++ linkage.
///
/// Unless a function says otherwise: Strings are NUL-terminated, in UTF-8, and borrowed for the call. An out buffer of
/// `cb` bytes is always NUL-terminated; a text that does not fit is a failure. A negative result is a failure, and out
/// values are then unchanged. Functions with C linkage throw no exceptions.

#pragma once

#include <json/value.h>
#include <memory>
#include <string>
#include <sys/types.h>

struct sqlite3;

/// Marks the exports of the platform library; all other symbols are hidden.
#define ORVA_EXPORT __attribute__((visibility("default")))

/// Record store of one table: its rows as JSON objects.
///
/// Members of a record are columns of the table, with the types that the table definitions give. A filter is
/// an object of members that must all be equal (the empty object matches every row), or an object whose only
/// member `orvaSqlWhereFilter` (string) is used as the WHERE clause, unchanged. A column that is SQL NULL
/// comes back as an absent member.
///
/// If the database is busy, an operation retries for up to 10 seconds. A write also retries if the disk is full or
/// returns an error. If a transaction is open on the connection, an operation fails at once instead.
class ORVA_EXPORT OrvaJsonDbApi {
public:
  /// Builds the handle, and creates missing tables.
  /// \param pDb           open connection; borrowed. The destructor does not use it, so it may be closed before.
  /// \param strTable      the table's name, a member of `jDefinitions`.
  /// \param jDefinitions  object: one definition a table; copied.
  /// \param strSqlCreate  SQL that creates every table; it must be harmless to run again. Empty: nothing is
  ///                      created.
  /// \throw std::exception when the definition is missing or malformed, or the SQL fails.
  OrvaJsonDbApi(sqlite3* pDb, const std::string& strTable, const Json::Value& jDefinitions,
                const std::string& strSqlCreate);
  ~OrvaJsonDbApi();

  OrvaJsonDbApi(const OrvaJsonDbApi&) = delete;
  OrvaJsonDbApi& operator=(const OrvaJsonDbApi&) = delete;

  /// Inserts a record; members without a column are dropped.
  /// \param jIn   object: the record.
  /// \param jOut  replaced by the whole created record, including numbers that the store assigned. May be `jIn`.
  /// \return 0; negative when `jIn` is not an object or the table refuses it.
  int recCreate(const Json::Value& jIn, Json::Value& jOut);

  /// Reads the first record that matches.
  /// \param jFilter  filter, see above. May be `jOut`.
  /// \param jOut     replaced by the record; by null when none matches.
  /// \return 0, also when none matches; negative on failure.
  int recGetOne(const Json::Value& jFilter, Json::Value& jOut);

  /// Reads every record that matches.
  /// \param jFilter  filter, see above. May be `jOut`.
  /// \param jOut     replaced by the array of records, in the order of the table's key; empty when none matches.
  /// \return 0; negative on failure.
  int recList(const Json::Value& jFilter, Json::Value& jOut);

  /// Changes every record that matches. Only members of `jUpdate` with a column are written.
  /// \param jFilter  filter of members; `orvaSqlWhereFilter` is not accepted.
  /// \param jUpdate  object: the new values.
  /// \return the number of records changed, 0 or more; negative on failure.
  int recUpdateByFilter(const Json::Value& jFilter, const Json::Value& jUpdate);

  /// Deletes the record whose key is the table's key member of `jIn`; other members are ignored.
  /// \param jIn          object with the key member.
  /// \param blMustExist  true: a missing record is a failure.
  /// \return the number of records deleted, 0 or 1; negative on failure.
  int recDelete(const Json::Value& jIn, bool blMustExist);

private:
  struct Impl;
  std::unique_ptr<Impl> m_pImpl;
};

/// \name Formats of ORVA_JSON_DB::convert2ReadableTime()
/// @{
constexpr int ORVA_TIME_FORMAT_FOR_MAIL = 2;              ///< for mail, with the time zone
constexpr int ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS = 4;  ///< "2026-11-20 09:57:01", local time
/// @}

/// Helpers of the record store.
namespace ORVA_JSON_DB {

/// Renders a point in time in local time.
/// \param lTime    Unix seconds. A time below 0 continues those of 32 bits: -2147483648 is 2038-01-19 03:14:08 UTC.
/// \param strOut   replaced by the text.
/// \param iFormat  one of the formats above.
/// \return 0; negative for an unknown format or a time that has no rendering.
ORVA_EXPORT int convert2ReadableTime(long lTime, std::string& strOut, int iFormat);

/// Copies all members of an object to another object.
/// \param jTarget      object or null.
/// \param jSource      object.
/// \param blOverwrite  true: existing members of the target are replaced; false: they are kept.
/// \return 0; negative when one of the values has another type.
ORVA_EXPORT int jsonCopyMember(Json::Value& jTarget, const Json::Value& jSource, bool blOverwrite);

}  // namespace ORVA_JSON_DB

/// Texts of the user interface.
namespace ORVA::UIX {

/// Reader of a language's texts.
class ORVA_EXPORT LocalizedStringParser {
public:
  /// Reads every file of texts in a language's folder.
  /// \param strDirectory  the folder.
  /// \return object of sections, each an object of keys; empty when the folder is missing or has no texts.
  static Json::Value ParseTexts(const std::string& strDirectory);
};

}  // namespace ORVA::UIX

extern "C" {

/// \name Users
/// @{

/// A user. The name is its first member.
typedef struct tagORVAUSER {
  char* szName;   ///< login name
  uid_t pw_uid;   ///< user id
  gid_t pw_gid;   ///< primary group
  char* szHome;   ///< home folder
  char* szShell;  ///< login shell
} ORVAUSER;

/// Pointer to a user record.
typedef ORVAUSER* PORVAUSER;

/// Looks a user up by id.
/// \param uid     user id.
/// \param ppUser  receives the user record; free it with ORVAUserFree().
/// \return 0; negative when there is no such user or the lookup failed, and `*ppUser` is then null.
ORVA_EXPORT int ORVAUserGetByUID(uid_t uid, PORVAUSER* ppUser);

/// Frees a user record; null is accepted.
/// \param pUser  the record.
ORVA_EXPORT void ORVAUserFree(PORVAUSER pUser);

/// @}

/// \name Shared folders and volumes
/// @{

/// Gives the absolute path of a share's folder.
/// \param szShare  name of the share.
/// \param szPath   receives the path.
/// \param cbPath   size of that buffer.
/// \return 0; negative when there is no such share, or it is not available. `errno` is 0x1400 if, and only if, the
///         share is defined and its volume is not available.
ORVA_EXPORT int ORVASharePathGet(const char* szShare, char* szPath, int cbPath);

/// Gives the folder for temporary files on a volume, which every user may write to.
/// \param szVolume  name of the volume, from VolumeAvailGet().
/// \param szPath    receives the path.
/// \param cbPath    size of that buffer.
/// \return 0; negative on failure.
ORVA_EXPORT int ORVAShareTmpPathGet(const char* szVolume, char* szPath, int cbPath);

/// Tells whether a share is available: it is defined, its volume is mounted, and its folder exists.
/// \param szShare  name of the share.
/// \return 1 or 0; after 0, the last error has the reason.
ORVA_EXPORT int KLIBShareIsAccessible(const char* szShare);

/// Finds a volume with free space.
/// \param cbMinimum   bytes that must be free for an unprivileged user.
/// \param iReserved1  0.
/// \param szVolume    receives the volume's name.
/// \param cbVolume    size of that buffer.
/// \param iReserved2  0.
/// \return positive when there is one; 0 when there is none; negative on failure.
ORVA_EXPORT int VolumeAvailGet(unsigned long long cbMinimum, int iReserved1, char* szVolume, int cbVolume,
                               int iReserved2);

/// Creates a folder and its missing parents. An existing folder is unchanged, and is not a failure.
/// \param szPath     absolute path.
/// \param szRoot     reserved: null.
/// \param iWithLeaf  non-zero: the last component is a folder to create as well.
/// \param uid        owner of new folders, or -1 for the default.
/// \param gid        group of new folders, or -1 for the default.
/// \param mode       permission bits of new folders; the umask has no effect.
/// \return 0; negative on failure, when some of the parents may have been created.
ORVA_EXPORT int ORVAFSMkdirP(const char* szPath, const char* szRoot, int iWithLeaf, uid_t uid, gid_t gid, mode_t mode);

/// @}

/// \name Processes and commands
/// @{

/// Tells whether a process exists.
/// \param pid  process id; 0 and less are never alive.
/// \return 1 or 0.
ORVA_EXPORT int KLIBCProcAlive(pid_t pid);

/// Runs a program, without a shell, and waits for it, within the platform's time limit.
/// \param szProgram  absolute path.
/// \param szArg1     first argument; null ends the list, here and below.
/// \param szArg2     second argument.
/// \param szArg3     third argument.
/// \param szArg4     fourth argument.
/// \return the program's exit status, 0 to 255; negative when it could not be run, was killed or took too long.
ORVA_EXPORT int KLIBCExec(const char* szProgram, const char* szArg1, const char* szArg2, const char* szArg3,
                          const char* szArg4);

/// @}

/// \name Lists and hashes of strings
/// @{

/// A list of strings; private members of the platform follow.
typedef struct tagKLIBCSZLIST {
  int nItem;  ///< number of strings
} KLIBCSZLIST;

/// Pointer to a list.
typedef KLIBCSZLIST* PKLIBCSZLIST;

/// A map from string to string; its members are private.
typedef struct tagKLIBCSZHASH KLIBCSZHASH;

/// Pointer to a map.
typedef KLIBCSZHASH* PKLIBCSZHASH;

/// Makes an empty list.
/// \param cItem  number of strings to expect; it grows as needed.
/// \return the list, or null; free it with KLIBCSzListFree().
ORVA_EXPORT PKLIBCSZLIST KLIBCSzListAlloc(int cItem);

/// Reads one string of a list.
/// \param pList   list.
/// \param iIndex  from 0 to `nItem` - 1.
/// \return the string, owned by the list; null outside that range.
ORVA_EXPORT const char* KLIBCSzListGet(PKLIBCSZLIST pList, int iIndex);

/// Frees a list; null is accepted.
/// \param pList  the list.
ORVA_EXPORT void KLIBCSzListFree(PKLIBCSZLIST pList);

/// Splits a text at every character of a set, and appends the pieces, including empty ones, to a list.
/// \param szText        text.
/// \param szSeparators  the characters.
/// \param ppList        the list; it may move.
/// \return the number of pieces; negative on failure.
ORVA_EXPORT int KLIBCStrTok(const char* szText, const char* szSeparators, PKLIBCSZLIST* ppList);

/// Makes an empty hash.
/// \param cItem  number of keys to expect; it grows as needed.
/// \return the hash, or null; free it with KLIBCSzHashFree().
ORVA_EXPORT PKLIBCSZHASH KLIBCSzHashAlloc(int cItem);

/// Sets a key, replacing its value.
/// \param ppHash   the hash; it may move.
/// \param szKey    key; copied.
/// \param szValue  value; copied.
/// \return 0; negative on failure.
ORVA_EXPORT int KLIBCSzHashSetValue(PKLIBCSZHASH* ppHash, const char* szKey, const char* szValue);

/// Frees a hash; null is accepted.
/// \param pHash  the hash.
ORVA_EXPORT void KLIBCSzHashFree(PKLIBCSZHASH pHash);

/// @}

/// \name Settings and mail
/// @{

/// Reads one key of a file of lines KEY=VALUE.
/// \param szFile   path.
/// \param szKey    key.
/// \param szValue  receives the value without enclosing quotes; the empty text when the key is absent.
/// \param cbValue  size of that buffer.
/// \return 1 when the key is present; 0 when it is absent; negative when the file cannot be read.
ORVA_EXPORT int KLIBCFileGetKeyValue(const char* szFile, const char* szKey, char* szValue, int cbValue);

/// Mails a template to one address, without waiting for delivery.
/// \param szTemplate  name of the mail template.
/// \param pValues     hash from placeholder (for example "%TASK%") to text; borrowed.
/// \param szTo        one address.
/// \param iFlags      0.
/// \return 0 when the mail was handed over; negative when it was refused.
ORVA_EXPORT int ORVAMailSendMessageWithoutBlock(const char* szTemplate, PKLIBCSZHASH pValues, const char* szTo,
                                                int iFlags);

/// Gives the most bytes of a mail's text. ORVAMailSendMessageWithoutBlock() cuts a longer text and adds a note. The
/// library then need not load more of an output. It works without this function, too: it refers to it weakly.
/// \return bytes, before the text is encoded.
ORVA_EXPORT int ORVAMailTextMax();

/// Tells whether mail is sent to an address, so that a host can refuse one that would be refused later.
/// \param szTo  one address: a local user, or one with a domain.
/// \return 1 when it is; else 0.
ORVA_EXPORT int ORVAMailIsAddress(const char* szTo);

/// @}

/// \name Errors and event log
/// @{

/// Gives the code of the platform's last error; 0 when there was none.
/// \return an `errno` value, or a platform code from 0x1400 on.
ORVA_EXPORT int KLIBCErrGet();

/// Gives the source file in which the last error was raised.
/// \return the name; never null.
ORVA_EXPORT const char* KLIBCErrorGetFile();

/// Gives the source line in which the last error was raised.
/// \return the line; 0 when there was none.
ORVA_EXPORT int KLIBCErrorGetLine();

/// Writes an entry to the event log.
/// \param iType   1.
/// \param iLevel  1 information, 2 warning, 3 error.
/// \param uCode   code of the event; its text is in the log catalogue.
/// \param szArg1  first argument of that text; the empty string for none, here and below.
/// \param szArg2  second argument.
/// \param szArg3  third argument.
/// \param szArg4  fourth argument.
/// \return 0; negative on failure.
ORVA_EXPORT int ORVALogSet1(int iType, int iLevel, unsigned int uCode, const char* szArg1, const char* szArg2,
                            const char* szArg3, const char* szArg4);

/// @}

/// \name Runs
/// The library's calls to a host that takes care of runs. They do nothing unless the host has asked for them, see
/// below. The library works without them, too: it refers to them weakly.
/// @{

/// Tells how a run ended. The child of a run calls it once, as the task's owner if it is that already, as soon as the
/// shell of the script has ended. A child that is killed before does not call it.
/// \param iStatus  wait status of the shell, as system() gave it; -1 when no script was started: the script file could
///                 not be written, the owner's identity could not be taken, the output file could not be used, or
///                 system() failed.
ORVA_EXPORT void ORVARunEnded(int iStatus);

/// Tells that the calling execution can do nothing until one of its children has ended. It is called once a second at
/// most. A host may wait for the end of a child here, but must not reap it.
ORVA_EXPORT void ORVARunWait();

/// Runs the command of a script as system() does, if the host wants to do that itself. Called in the child of a run, as
/// the task's owner.
/// \param szCommand  the command, for a shell.
/// \param pStatus    receives the wait status of the shell; -1 when it could not be started.
/// \return 1 when the host has run it; 0 when it has not, and the library is to call system().
ORVA_EXPORT int ORVARunShell(const char* szCommand, int* pStatus);

/// @}

/// \name For hosts
/// The library itself does not call these.
/// @{

/// Makes every forked child of this process end as soon as it has written an event with the given code.
///
/// In an execution, a child that cannot write its script logs this event and then returns into its copy of the runner.
/// A host calls this function in the process of the execution, so that such a child ends with `_exit(0)` instead. The
/// calling process itself never ends.
/// \param uCode  code of the event; 0 switches this off.
ORVA_EXPORT void ORVALogEndChildAfter(unsigned int uCode);

/// Makes every ORVAFSMkdirP() of this process refuse to create a parent that others may write to. A missing parent is
/// then a failure; the last component may still be created.
///
/// The library creates the folders of a task and of its runs with a mode that is open to everybody. A host creates the
/// task's folder before, only for its owner. If that folder is removed at the last moment, this function keeps the
/// library from creating an open one.
/// \param iOn  0 switches this off.
ORVA_EXPORT void ORVAFSRefuseOpenParents(int iOn);

/// Tells whether the fork that goes on in this process makes a process that delivers mail. For handlers that a host has
/// registered with pthread_atfork().
/// \return 1 when it does; else 0.
ORVA_EXPORT int ORVAMailIsForking();

/// A function that is called before records are listed. \return 0 to go on; negative to make the listing fail.
/// It must not throw. It may use the same record store, but its own listings call it, too.
typedef int (*ORVALISTGUARD)(void* pContext);

/// Makes every `OrvaJsonDbApi::recList()` of this process call a function first.
///
/// The library lists the tasks that it will start, and starts them with the data that it has read. This call is a
/// host's last chance to prepare these tasks, or to wait for something.
/// \param pfnGuard  the function; null switches this off.
/// \param pContext  argument for the function.
ORVA_EXPORT void ORVAStoreAskBeforeList(ORVALISTGUARD pfnGuard, void* pContext);

/// A function that is called with the records that a listing has found, an array. It may remove some of them, or put
/// other records of the same store in their place. It must not throw.
typedef void (*ORVALISTED)(void* pContext, OrvaJsonDbApi* pStore, Json::Value* pRecords);

/// Makes every successful `OrvaJsonDbApi::recList()` of this process call a function with its result.
///
/// The library starts the tasks that it has listed. A host can keep it from starting one that it must not start.
/// \param pfnListed  the function; null switches this off.
/// \param pContext   argument for the function.
ORVA_EXPORT void ORVAStoreOnListed(ORVALISTED pfnListed, void* pContext);

/// A function that is called before a record is written. It must not throw. It may use the same record store; its own
/// writes do not call it.
/// \param pContext  the host's argument.
/// \param pStore    the store that writes.
/// \param pFilter   the filter of an update; null for a new record.
/// \param pRecord   copy of the record or of the update, an object. This copy is written, so members may be added.
typedef void (*ORVAWRITEGUARD)(void* pContext, OrvaJsonDbApi* pStore, const Json::Value* pFilter, Json::Value* pRecord);

/// Makes every `OrvaJsonDbApi::recCreate()` and `OrvaJsonDbApi::recUpdateByFilter()` of this process call a function
/// first, once, however often the write is tried.
///
/// A host uses it to store more about a run than the library knows, in the same write.
/// \param pfnGuard  the function; null switches this off.
/// \param pContext  argument for the function.
ORVA_EXPORT void ORVAStoreOnWrite(ORVAWRITEGUARD pfnGuard, void* pContext);

/// Sets a placeholder for the mails that this process sends from now on.
///
/// A host knows more about a run than the library puts into its mail. A value of the caller of
/// ORVAMailSendMessageWithoutBlock() comes first.
/// \param szKey    the placeholder, "%RUN%"; null forgets all values.
/// \param szValue  null forgets this value.
ORVA_EXPORT void ORVAMailAddValue(const char* szKey, const char* szValue);

/// A function that is called by ORVARunEnded(), in the child. It must not throw.
typedef void (*ORVARUNEND)(void* pContext, int iStatus);

/// Makes the children of this process's runs tell how they ended.
/// \param pfnEnd    the function; null switches this off.
/// \param pContext  argument for the function.
ORVA_EXPORT void ORVARunOnEnd(ORVARUNEND pfnEnd, void* pContext);

/// A function that is called by ORVARunWait(). It must not throw.
typedef void (*ORVARUNWAIT)(void* pContext);

/// Makes this process's executions call a function while they wait for their children.
///
/// The library looks at its children once a second. A host that returns only when a child has ended keeps it from
/// waking up in vain.
/// \param pfnWait   the function; null switches this off.
/// \param pContext  argument for the function.
ORVA_EXPORT void ORVARunOnWait(ORVARUNWAIT pfnWait, void* pContext);

/// A function that runs a command for ORVARunShell(). It must not throw. \return the wait status of the shell.
typedef int (*ORVARUNSHELL)(void* pContext, const char* szCommand);

/// Makes the children of this process's runs start the shells of their scripts with a function of the host.
///
/// system() leaves some signals ignored that the C library uses itself. A host can give a script a cleaner start.
/// \param pfnShell  the function; null switches this off.
/// \param pContext  argument for the function.
ORVA_EXPORT void ORVARunOnShell(ORVARUNSHELL pfnShell, void* pContext);

/// The definition and the present state of a share.
typedef struct tagORVASHARE {
  char* szName;               ///< name
  char* szPath;               ///< its folder, as defined
  char* szVolume;             ///< mount point of its volume; empty when unknown
  int iError;                 ///< 0 when it is available; else the last error of KLIBShareIsAccessible()
  unsigned long long cbFree;  ///< free bytes for an unprivileged user; 0 when read-only or not available
} ORVASHARE;

/// Pointer to a share.
typedef ORVASHARE* PORVASHARE;

/// Lists the defined shares, in the order of their definitions.
/// \param ppShares  list to which their names are appended; it may move.
/// \param ppFaults  list to which errors in definitions are appended, each a text with file and line; it may move.
///                  Null: the errors are logged.
/// \return the number of shares; negative on failure.
ORVA_EXPORT int ORVAShareList(PKLIBCSZLIST* ppShares, PKLIBCSZLIST* ppFaults);

/// Reads one share.
/// \param szShare  name of the share.
/// \param ppShare  receives the share; free it with ORVAShareFree().
/// \return 0, also when the share is not available; negative when there is no such share, and `*ppShare` is then null.
ORVA_EXPORT int ORVAShareGet(const char* szShare, PORVASHARE* ppShare);

/// Frees a share; null is accepted.
/// \param pShare  the share.
ORVA_EXPORT void ORVAShareFree(PORVASHARE pShare);

/// @}

}  // extern "C"

/// \file orva_platform.h
/// The platform interfaces that libeorvascheduler.so.7 calls, and the few that its hosts need besides.
///
/// `liborvaplatform.so.1` implements them for a plain Linux server; another platform implements the same
/// declarations. Plain functions have C linkage, the class and the two namespaces C++ linkage.
///
/// Unless a function says otherwise: strings are NUL-terminated, borrowed for the call, and in UTF-8; an out
/// buffer of `cb` bytes is always NUL-terminated and what does not fit is a failure; a negative result is a
/// failure, and out values are then untouched. Nothing is thrown from a function with C linkage.

#pragma once

#include <json/value.h>
#include <memory>
#include <string>
#include <sys/types.h>

struct sqlite3;

/// Marks what the platform library exports; everything else in it is hidden.
#define ORVA_EXPORT __attribute__((visibility("default")))

/// Record store of one table: its rows as JSON objects.
///
/// Members of a record are columns of the table, with the types that the table definitions give. A filter is
/// an object of members that must all be equal (the empty object matches every row), or an object whose only
/// member `orvaSqlWhereFilter` (string) is used as the WHERE clause, unchanged. A column that is SQL NULL
/// comes back as an absent member.
///
/// Every operation that finds the database busy tries again for up to 10 seconds, unless a transaction is
/// open on the connection; then it fails at once.
class ORVA_EXPORT OrvaJsonDbApi {
public:
  /// Builds the handle, and the tables when they are missing.
  /// \param pDb           open connection; borrowed. The destructor does not touch it: it may be closed by then.
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

  /// Inserts a record; members that are not columns are dropped.
  /// \param jIn   object: the record.
  /// \param jOut  replaced by the whole created record, numbers that the store assigned included. May be `jIn`.
  /// \return 0; negative when `jIn` is no object or the table refuses it.
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

  /// Changes every record that matches: the members of `jUpdate` that are columns, and no others.
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
constexpr int ORVA_TIME_FORMAT_FOR_MAIL = 2;              ///< for a reader of mail, with the zone
constexpr int ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS = 4;  ///< "2026-11-20 09:57:01", local time
/// @}

/// Helpers of the record store.
namespace ORVA_JSON_DB {

/// Renders a point in time in local time.
/// \param lTime    Unix seconds.
/// \param strOut   replaced by the text.
/// \param iFormat  one of the formats above.
/// \return 0; negative for an unknown format or a time that has no rendering.
ORVA_EXPORT int convert2ReadableTime(long lTime, std::string& strOut, int iFormat);

/// Copies every member of an object into another one.
/// \param jTarget      object or null.
/// \param jSource      object.
/// \param blOverwrite  true: members that the target has already are replaced; false: they are kept.
/// \return 0; negative when one of the values has another type.
ORVA_EXPORT int jsonCopyMember(Json::Value& jTarget, const Json::Value& jSource, bool blOverwrite);

}  // namespace ORVA_JSON_DB

/// Texts that are shown to people.
namespace ORVA::UIX {

/// Reader of a language's texts.
class ORVA_EXPORT LocalizedStringParser {
public:
  /// Reads every file of texts in a language's folder.
  /// \param strDirectory  the folder.
  /// \return object of sections, each an object of keys; empty when the folder is missing or holds no texts.
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

/// A user record by its address, as the calls hand it over.
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
/// \return 0; negative when there is no such share, or it cannot be used. `errno` is 0x1400 when it is defined but its
///         volume is not there; it is never that for another reason.
ORVA_EXPORT int ORVASharePathGet(const char* szShare, char* szPath, int cbPath);

/// Gives the folder for temporary files on a volume, which every user may write to.
/// \param szVolume  name of the volume, from VolumeAvailGet().
/// \param szPath    receives the path.
/// \param cbPath    size of that buffer.
/// \return 0; negative on failure.
ORVA_EXPORT int ORVAShareTmpPathGet(const char* szVolume, char* szPath, int cbPath);

/// Tells whether a share can be used now: it is defined, its volume is mounted, and its folder is there.
/// \param szShare  name of the share.
/// \return 1 or 0; with 0 the last error says why.
ORVA_EXPORT int KLIBShareIsAccessible(const char* szShare);

/// Finds a volume with room.
/// \param cbMinimum   bytes that must be free for an unprivileged writer.
/// \param iReserved1  0.
/// \param szVolume    receives the volume's name.
/// \param cbVolume    size of that buffer.
/// \param iReserved2  0.
/// \return positive when there is one; 0 when there is none; negative on failure.
ORVA_EXPORT int VolumeAvailGet(unsigned long long cbMinimum, int iReserved1, char* szVolume, int cbVolume,
                               int iReserved2);

/// Creates a folder and its missing parents. An existing folder is left as it is, and no failure.
/// \param szPath     absolute path.
/// \param szRoot     reserved: null.
/// \param iWithLeaf  non-zero: the last component is a folder to create as well.
/// \param uid        owner of what is created, or -1 to leave it.
/// \param gid        group of what is created, or -1 to leave it.
/// \param mode       permission bits of what is created, whatever the umask is.
/// \return 0; negative on failure, and then some of the parents may have been created.
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

/// A list of strings; more members follow for the platform alone.
typedef struct tagKLIBCSZLIST {
  int nItem;  ///< number of strings
} KLIBCSZLIST;

/// A list by its address, as the calls hand it over.
typedef KLIBCSZLIST* PKLIBCSZLIST;

/// A map from string to string; what it holds is the platform's own affair.
typedef struct tagKLIBCSZHASH KLIBCSZHASH;

/// A map by its address, as the calls hand it over.
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

/// Splits a text at every character of a set, and appends the pieces, empty ones included, to a list.
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
/// \return 1 when the key is there; 0 when it is absent; negative when the file cannot be read.
ORVA_EXPORT int KLIBCFileGetKeyValue(const char* szFile, const char* szKey, char* szValue, int cbValue);

/// Mails a template to one address without waiting for the delivery.
/// \param szTemplate  name of the mail template.
/// \param pValues     hash from placeholder (as "%TASK%") to its text; borrowed.
/// \param szTo        one address.
/// \param iFlags      0.
/// \return 0 when the mail was handed over; negative when it was refused.
ORVA_EXPORT int ORVAMailSendMessageWithoutBlock(const char* szTemplate, PKLIBCSZHASH pValues, const char* szTo,
                                                int iFlags);

/// Tells whether mail is sent to an address, so that a host can refuse one that would be refused later.
/// \param szTo  one address: a local user, or one with a domain.
/// \return 1 when it is; else 0.
ORVA_EXPORT int ORVAMailIsAddress(const char* szTo);

/// @}

/// \name Errors and event log
/// @{

/// Gives the code of the platform's last error; 0 when there was none.
/// \return an `errno` value, or a code of the platform's own from 0x1400 on.
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
/// \param szArg1  first argument of that text; the empty string when it has none, here and below.
/// \param szArg2  second argument.
/// \param szArg3  third argument.
/// \param szArg4  fourth argument.
/// \return 0; negative on failure.
ORVA_EXPORT int ORVALogSet1(int iType, int iLevel, unsigned int uCode, const char* szArg1, const char* szArg2,
                            const char* szArg3, const char* szArg4);

/// @}

/// \name For hosts
/// The library itself does not call these.
/// @{

/// Ends every process that is forked from the calling one as soon as it has written an event of one code.
///
/// In an execution, a child that cannot write its script reports that and then returns into the copy of the
/// runner that it is; a host switches this on for its process of executions, so that such a child ends there
/// with `_exit(0)`. The calling process itself is never ended.
/// \param uCode  code of the event; 0 switches it off again.
ORVA_EXPORT void ORVALogEndChildAfter(unsigned int uCode);

/// Has every ORVAFSMkdirP() of this process refuse to create a parent that others may write to. The last component
/// may be such a folder, and a missing parent is a failure then.
///
/// The library creates the folder of a run, and of its task, open to everybody. A host that has made the folder of the
/// task for its owner alone keeps the library from making another one when that goes away at the last moment.
/// \param iOn  0 switches it off again.
ORVA_EXPORT void ORVAFSRefuseOpenParents(int iOn);

/// Asked before records are listed. \return 0 to go on; negative to have the list fail.
/// Must not throw. It may use the same record store; what it lists itself it is asked about too.
typedef int (*ORVALISTGUARD)(void* pContext);

/// Has every `OrvaJsonDbApi::recList()` of this process ask a function first.
///
/// The library reads the tasks that it is going to start with a list, and starts them from what it has read; a host
/// that must make something ready for them, or wait for something, can do so at that moment and at no later one.
/// \param pfnGuard  the function; null switches it off again.
/// \param pContext  handed to it.
ORVA_EXPORT void ORVAStoreAskBeforeList(ORVALISTGUARD pfnGuard, void* pContext);

/// A share as it is defined, and what has become of it.
typedef struct tagORVASHARE {
  char* szName;               ///< name
  char* szPath;               ///< its folder, as it is defined
  char* szVolume;             ///< mount point that it lies on or should lie on; empty when that is unknown
  int iError;                 ///< 0 when it can be used; else what KLIBShareIsAccessible() leaves as last error
  unsigned long long cbFree;  ///< bytes that an unprivileged writer may use; 0 when it is read-only or unusable
} ORVASHARE;

/// A share by its address, as the calls hand it over.
typedef ORVASHARE* PORVASHARE;

/// Lists the shares that are defined, in the order of their definitions.
/// \param ppShares  the list that their names are appended to; it may move.
/// \param ppFaults  likewise for what is wrong with definitions, one text each with file and line; null: they are
///                  logged.
/// \return the number of shares; negative on failure.
ORVA_EXPORT int ORVAShareList(PKLIBCSZLIST* ppShares, PKLIBCSZLIST* ppFaults);

/// Looks at one share.
/// \param szShare  name of the share.
/// \param ppShare  receives the share; free it with ORVAShareFree().
/// \return 0, also when the share cannot be used; negative when there is no such share, and `*ppShare` is then null.
ORVA_EXPORT int ORVAShareGet(const char* szShare, PORVASHARE* ppShare);

/// Frees a share; null is accepted.
/// \param pShare  the share.
ORVA_EXPORT void ORVAShareFree(PORVASHARE pShare);

/// @}

}  // extern "C"

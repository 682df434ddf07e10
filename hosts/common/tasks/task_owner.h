/// \file task_owner.h
/// The owner of a task: a user id, and the name that it had when it was stored.
///
/// A script runs with the rights of the user id. If the user is deleted, the id can be given to somebody else. So a
/// task does not run when name and id no longer belong together.

#pragma once

#include <json/value.h>
#include <map>
#include <optional>
#include <string>

namespace Host {

class Session;

/// Why no run can have the rights of a task's owner.
struct OwnerProblem {
  std::string strText;  ///< "user bob (1010) does not exist"
  std::string strUser;  ///< the user to set, as the owner was meant; empty when there is none
};

/// Looks at the owners of tasks. Each user is looked up once.
class OwnerCheck {
public:
  /// A user who cannot be looked up now is a problem, too: a server of users may be away for a while.
  /// \param iOwner   user id; negative for none, which the library refuses.
  /// \param strName  the stored name; empty when unknown.
  std::optional<OwnerProblem> problemOf(Json::Int64 iOwner, const std::string& strName);

  /// \param jTask  a stored task record.
  std::optional<OwnerProblem> problemOf(const Json::Value& jTask);

private:
  struct User {
    std::string strName;     ///< empty when there is none
    std::string strFailure;  ///< why nobody could look
  };
  static User lookUp(Json::Int64 iOwner);

  std::map<Json::Int64, User> m_mapUsers;
};

/// Refuses to run a task whose owner is not who was meant. \throw Failure
void requireOwner(const Json::Value& jTask);

/// Brings a task, or an update of one, from the form of the user interface into that of the store: with the owner's
/// name, if it has an owner. \return false when the library refuses it.
bool toStored(Json::Value& jTask);

/// Stores the names that the owners' user ids have now, for tasks of a version that did not store them. \throw Failure
void storeOwnerNames(Session& session);

}  // namespace Host

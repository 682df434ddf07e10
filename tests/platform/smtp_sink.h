/// \file smtp_sink.h
/// A mail server that keeps what it gets, for a real mail program to deliver to.

#pragma once

#include <cstdio>
#include <json/value.h>
#include <string>
#include <sys/types.h>

namespace OrvaTest {

/// The server of smtp_sink.py as a child process; it ends with this object.
class SmtpSink {
public:
  SmtpSink();
  ~SmtpSink();
  SmtpSink(const SmtpSink&) = delete;
  SmtpSink& operator=(const SmtpSink&) = delete;

  /// Makes msmtp deliver to this server.
  void configureMsmtp() const;

  /// The next mail; waits for it. An object: `from`, `to` (array), `message`; null when the server ended.
  Json::Value nextMail();

private:
  std::string nextLine();

  pid_t m_pid = -1;
  int m_fdIn = -1;
  FILE* m_pOut = nullptr;
  std::string m_strPort;
};

/// Makes msmtp deliver to a port of this machine.
void configureMsmtp(const std::string& strPort);

/// What a mail reader makes of a message; see parse_mail.py.
Json::Value readMail(const std::string& strMessage);

}  // namespace OrvaTest

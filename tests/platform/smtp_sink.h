/// \file smtp_sink.h
/// A mail server that records messages from a real mail program.

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

  /// Waits for the next mail. An object: `from`, `to` (array), `message`; null when the server has ended.
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

/// A message, parsed like a mail reader does; see parse_mail.py.
Json::Value readMail(const std::string& strMessage);

}  // namespace OrvaTest

#include "smtp_sink.h"

#include <gtest/gtest.h>
#include <json/reader.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "support/files.h"
#include "support/processes.h"

namespace OrvaTest {

SmtpSink::SmtpSink() {
  int fdIn[2] = {-1, -1};
  int fdOut[2] = {-1, -1};
  if (pipe(fdIn) != 0 || pipe(fdOut) != 0) {
    throw std::runtime_error("pipe");
  }
  m_pid = fork();
  if (m_pid == 0) {
    dup2(fdIn[0], 0);
    dup2(fdOut[1], 1);
    for (const int fd : {fdIn[0], fdIn[1], fdOut[0], fdOut[1]}) {
      close(fd);
    }
    execl("/usr/bin/python3", "python3", ORVA_TEST_SCRIPTS "/smtp_sink.py", nullptr);
    _exit(127);
  }
  close(fdIn[0]);
  close(fdOut[1]);
  m_fdIn = fdIn[1];
  m_pOut = fdopen(fdOut[0], "r");
  m_strPort = nextLine();
  if (m_strPort.empty()) {
    throw std::runtime_error("the mail server did not start");
  }
}

SmtpSink::~SmtpSink() {
  close(m_fdIn);
  fclose(m_pOut);
  waitpid(m_pid, nullptr, 0);
}

void SmtpSink::configureMsmtp() const {
  OrvaTest::configureMsmtp(m_strPort);
}

Json::Value SmtpSink::nextMail() {
  Json::Value jMail;
  std::istringstream line(nextLine());
  if (!line.str().empty()) {
    line >> jMail;
  }
  return jMail;
}

std::string SmtpSink::nextLine() {
  std::string strLine;
  for (int ch = std::fgetc(m_pOut); ch != EOF && ch != '\n'; ch = std::fgetc(m_pOut)) {
    strLine += static_cast<char>(ch);
  }
  return strLine;
}

void configureMsmtp(const std::string& strPort) {
  writeFile("/etc/msmtprc", "defaults\ntls off\nauth off\naccount default\nhost 127.0.0.1\nport " + strPort + "\n");
}

Json::Value readMail(const std::string& strMessage) {
  writeFile("/tmp/message.eml", strMessage);
  const auto parsed =
      runCommand({"/bin/sh", "-c", "exec /usr/bin/python3 " ORVA_TEST_SCRIPTS "/parse_mail.py < /tmp/message.eml"});
  EXPECT_EQ(parsed.iStatus, 0) << parsed.strErrors;
  Json::Value jMail;
  std::istringstream(parsed.strOut) >> jMail;
  return jMail;
}

}  // namespace OrvaTest

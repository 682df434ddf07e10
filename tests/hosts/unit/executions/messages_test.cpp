/// Messages reach the starter of an execution or the system log, and wait for nobody.

#include "common/executions/messages.h"

#include <array>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

#include "common/support/files.h"

using namespace Host;

namespace {

std::string g_strLogged;

}  // namespace

// Replaces the function for all of this program.
extern "C" __attribute__((visibility("default"))) void syslog(int, const char* szFormat, ...) {
  std::array<char, 1024> text{};
  va_list arguments;
  va_start(arguments, szFormat);
  std::vsnprintf(text.data(), text.size(), szFormat, arguments);
  va_end(arguments);
  g_strLogged += text.data();
}

namespace {

class Messages : public testing::Test {
protected:
  void SetUp() override {
    // As in the processes of an execution.
    std::signal(SIGPIPE, [](int) {});
    for (const UniqueFd* pEnd : {&m_pipe.reader, &m_pipe.writer}) {
      ASSERT_EQ(fcntl(pEnd->get(), F_SETFL, O_NONBLOCK), 0);
    }
    sendMessagesTo(m_pipe.writer.get());
    g_strLogged.clear();
  }
  void TearDown() override {
    sendMessagesTo(-1);
    std::signal(SIGPIPE, SIG_DFL);
  }

  Pipe m_pipe;
};

}  // namespace

TEST_F(Messages, GoToTheStarter) {
  sendMessage("100% of it failed: %s");
  sendMessage("second");
  m_pipe.writer.reset();
  EXPECT_EQ(readAll(m_pipe.reader.get(), "the pipe"), "eorva: 100% of it failed: %s\neorva: second\n");
  EXPECT_EQ(g_strLogged, "");
}

TEST_F(Messages, GoToTheLogWhenNobodyReadsThem) {
  const std::string strMuch(4096, 'x');
  while (write(m_pipe.writer.get(), strMuch.data(), strMuch.size()) > 0) {
  }
  sendMessage("100% of it failed: %s");
  EXPECT_EQ(g_strLogged, "100% of it failed: %s");
}

TEST_F(Messages, GoToTheLogWhenTheStarterHasEnded) {
  m_pipe.reader.reset();
  sendMessage("it failed");
  EXPECT_EQ(g_strLogged, "it failed");
}

TEST_F(Messages, GoToTheLogWithoutAStarter) {
  sendMessagesTo(-1);
  sendMessage("it failed");
  EXPECT_EQ(g_strLogged, "it failed");
}

/// \file fake_systemd.h
/// A bus with a fake systemd, for tests that start units.

#pragma once

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include "common/support/unique_fd.h"

namespace HostTest {

/// The result of a request to start a unit.
enum class Fate { STARTED, STARTED_UNSEEN, CUT_OFF, STARTED_AND_CUT_OFF, LOST, REFUSED };

/// A bus with a fake systemd.
class FakeSystemd {
  static constexpr char SOCKET[] = "/tmp/bus";
  static constexpr char MANAGER[] = "org.freedesktop.systemd1.Manager";

public:
  explicit FakeSystemd(std::vector<Fate> vecFates) : m_vecFates(std::move(vecFates)) {
    m_listener = Host::UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, SOCKET, sizeof address.sun_path - 1);
    unlink(SOCKET);
    EXPECT_EQ(bind(m_listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(m_listener.get(), 8), 0);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", (std::string("unix:path=") + SOCKET).c_str(), 1);
    m_thread = std::thread([this] { serve(); });
  }
  ~FakeSystemd() {
    stop();
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  }
  FakeSystemd(const FakeSystemd&) = delete;
  FakeSystemd& operator=(const FakeSystemd&) = delete;

  void stop() {
    m_blStop = true;
    if (m_thread.joinable()) {
      m_thread.join();
    }
  }

  /// The requested units, in their order.
  std::vector<std::string> vecAsked;
  /// Properties of the last of them.
  std::vector<std::string> vecAfter;
  std::vector<std::string> vecCommand;
  std::string strSlice;
  int iDelegated = 0;
  std::uint32_t pidMoved = 0;
  /// How often a unit was started.
  int cStarted = 0;
  /// Called at each request to start a unit, in another thread.
  std::function<void()> fnAsked;

private:
  void serve() {
    while (!m_blStop) {
      pollfd entry{m_listener.get(), POLLIN, 0};
      if (poll(&entry, 1, 10) > 0) {
        talk(accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
      }
    }
  }

  /// Serves a connection until it ends.
  void talk(int fd) {
    sd_bus* pBus = nullptr;
    sd_id128_t id{};
    sd_id128_randomize(&id);
    EXPECT_GE(sd_bus_new(&pBus), 0);
    EXPECT_GE(sd_bus_set_fd(pBus, fd, fd), 0);
    EXPECT_GE(sd_bus_set_server(pBus, 1, id), 0);
    EXPECT_GE(sd_bus_set_anonymous(pBus, 1), 0);
    EXPECT_GE(sd_bus_set_trusted(pBus, 1), 0);
    EXPECT_GE(sd_bus_set_sender(pBus, "org.freedesktop.systemd1"), 0);
    EXPECT_GE(sd_bus_add_filter(pBus, nullptr, &FakeSystemd::onMessage, this), 0);
    EXPECT_GE(sd_bus_start(pBus), 0);
    m_blCut = false;
    while (!m_blStop && !m_blCut) {
      const int iResult = sd_bus_process(pBus, nullptr);
      if (iResult < 0 || (iResult == 0 && sd_bus_wait(pBus, 10'000) < 0)) {
        break;
      }
    }
    sd_bus_close_unref(pBus);
  }

  static int onMessage(sd_bus_message* pMessage, void* pData, sd_bus_error*) {
    return sd_bus_message_is_method_call(pMessage, nullptr, nullptr) > 0
               ? static_cast<FakeSystemd*>(pData)->answer(pMessage)
               : 0;
  }

  int answer(sd_bus_message* pCall) {
    const std::string strMember = sd_bus_message_get_member(pCall);
    if (strMember == "Hello") {
      return sd_bus_reply_method_return(pCall, "s", ":1.1");
    }
    if (strMember == "StartTransientUnit") {
      return startUnit(pCall);
    }
    if (strMember == "Get") {
      return tell(pCall);
    }
    return sd_bus_reply_method_return(pCall, "");
  }

  static std::vector<std::string> readTexts(sd_bus_message* pCall) {
    std::vector<std::string> vecTexts;
    EXPECT_GE(sd_bus_message_enter_container(pCall, 'v', "as"), 0);
    EXPECT_GE(sd_bus_message_enter_container(pCall, 'a', "s"), 0);
    for (const char* szText = nullptr; sd_bus_message_read(pCall, "s", &szText) > 0;) {
      vecTexts.emplace_back(szText);
    }
    EXPECT_GE(sd_bus_message_exit_container(pCall), 0);
    EXPECT_GE(sd_bus_message_exit_container(pCall), 0);
    return vecTexts;
  }

  void readCommand(sd_bus_message* pCall) {
    char** pszArguments = nullptr;
    EXPECT_GE(sd_bus_message_enter_container(pCall, 'v', "a(sasb)"), 0);
    EXPECT_GE(sd_bus_message_enter_container(pCall, 'a', "(sasb)"), 0);
    EXPECT_GE(sd_bus_message_enter_container(pCall, 'r', "sasb"), 0);
    EXPECT_GE(sd_bus_message_skip(pCall, "s"), 0);
    EXPECT_GE(sd_bus_message_read_strv(pCall, &pszArguments), 0);
    vecCommand.clear();
    for (char** pszArgument = pszArguments; pszArgument != nullptr && *pszArgument != nullptr; ++pszArgument) {
      vecCommand.emplace_back(*pszArgument);
      std::free(*pszArgument);
    }
    std::free(pszArguments);
    EXPECT_GE(sd_bus_message_skip(pCall, "b"), 0);
    for (int i = 0; i < 3; ++i) {
      EXPECT_GE(sd_bus_message_exit_container(pCall), 0);
    }
  }

  void readProperty(sd_bus_message* pCall, const std::string& strProperty) {
    if (strProperty == "ExecStart") {
      readCommand(pCall);
    } else if (strProperty == "After") {
      vecAfter = readTexts(pCall);
    } else if (strProperty == "Slice") {
      const char* szSlice = nullptr;
      EXPECT_GE(sd_bus_message_read(pCall, "v", "s", &szSlice), 0);
      strSlice = szSlice;
    } else if (strProperty == "Delegate") {
      EXPECT_GE(sd_bus_message_read(pCall, "v", "b", &iDelegated), 0);
    } else if (strProperty == "PIDs") {
      EXPECT_GE(sd_bus_message_read(pCall, "v", "au", 1, &pidMoved), 0);
    } else {
      EXPECT_GE(sd_bus_message_skip(pCall, "v"), 0);
    }
  }

  void readProperties(sd_bus_message* pCall) {
    EXPECT_GE(sd_bus_message_skip(pCall, "s"), 0);
    EXPECT_GE(sd_bus_message_enter_container(pCall, 'a', "(sv)"), 0);
    while (sd_bus_message_enter_container(pCall, 'r', "sv") > 0) {
      const char* szProperty = nullptr;
      EXPECT_GE(sd_bus_message_read(pCall, "s", &szProperty), 0);
      readProperty(pCall, szProperty);
      EXPECT_GE(sd_bus_message_exit_container(pCall), 0);
    }
  }

  int startUnit(sd_bus_message* pCall) {
    const char* szUnit = nullptr;
    EXPECT_GE(sd_bus_message_read(pCall, "s", &szUnit), 0);
    readProperties(pCall);
    const bool blThere = cStarted > 0 && vecAsked.back() == szUnit;
    vecAsked.emplace_back(szUnit);
    if (fnAsked) {
      fnAsked();
    }
    if (blThere) {
      return sd_bus_reply_method_errorf(pCall, "org.freedesktop.systemd1.UnitExists", "Unit %s already exists.",
                                        szUnit);
    }
    const Fate fate = m_vecFates.empty() ? Fate::STARTED : m_vecFates.front();
    m_vecFates.erase(m_vecFates.begin(), m_vecFates.begin() + (m_vecFates.empty() ? 0 : 1));
    switch (fate) {
      case Fate::CUT_OFF:
        m_blCut = true;
        return 1;
      case Fate::LOST:
        return sd_bus_reply_method_errorf(pCall, SD_BUS_ERROR_NO_REPLY,
                                          "Message recipient disconnected from message bus without replying");
      case Fate::REFUSED:
        return sd_bus_reply_method_errorf(pCall, SD_BUS_ERROR_ACCESS_DENIED, "Not today");
      default:
        break;
    }
    ++cStarted;
    if (fate == Fate::STARTED_AND_CUT_OFF) {
      m_blCut = true;
      return 1;
    }
    sd_bus_reply_method_return(pCall, "o", "/org/freedesktop/systemd1/job/7");
    return fate == Fate::STARTED_UNSEEN
               ? 1
               : sd_bus_emit_signal(sd_bus_message_get_bus(pCall), "/org/freedesktop/systemd1", MANAGER, "JobRemoved",
                                    "uoss", 7U, "/org/freedesktop/systemd1/job/7", szUnit, "done");
  }

  /// The first look still sees the job.
  int tell(sd_bus_message* pCall) {
    const char* szInterface = nullptr;
    const char* szProperty = nullptr;
    EXPECT_GE(sd_bus_message_read(pCall, "ss", &szInterface, &szProperty), 0);
    if (std::string(szProperty) == "Job") {
      const bool blJob = cStarted > 0 && m_cLooks++ == 0;
      return sd_bus_reply_method_return(pCall, "v", "(uo)", blJob ? 7U : 0U,
                                        blJob ? "/org/freedesktop/systemd1/job/7" : "/");
    }
    return sd_bus_reply_method_return(pCall, "v", "s", "active");
  }

  std::vector<Fate> m_vecFates;
  Host::UniqueFd m_listener;
  std::atomic<bool> m_blStop = false;
  bool m_blCut = false;
  int m_cLooks = 0;
  std::thread m_thread;
};

}  // namespace HostTest

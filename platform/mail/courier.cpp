#include "mail/courier.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <linux/close_range.h>
#include <optional>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "orva_platform.h"

#include "mail/address.h"
#include "mail/outbox.h"
#include "settings/server_settings.h"
#include "support/log.h"

namespace orva {
namespace {

thread_local bool g_blForking = false;

constexpr const char* PROGRAM_DEFAULT = "/usr/sbin/sendmail";

// Exit statuses of mail programs after which a retry is useless: malformed message, unknown recipient.
constexpr int EXIT_DATA_ERROR = 65;
constexpr int EXIT_NO_USER = 67;

enum class Handover { TAKEN, REFUSED, FAILED, UNAVAILABLE };

struct Envelope {
  std::string strFrom;
  std::string strTo;
  off_t offsetMessage = 0;
};

std::optional<Envelope> readEnvelope(int fd) {
  char szLine[1024] = "";
  const ssize_t cbRead = pread(fd, szLine, sizeof szLine - 1, 0);
  const std::string strLine(szLine, static_cast<std::size_t>(std::max<ssize_t>(cbRead, 0)));
  const std::size_t uEnd = strLine.find('\n');
  const std::size_t uBlank = strLine.find(' ');
  if (uEnd == std::string::npos || uBlank == std::string::npos || uBlank > uEnd) {
    return std::nullopt;
  }
  Envelope envelope{strLine.substr(0, uBlank), strLine.substr(uBlank + 1, uEnd - uBlank - 1),
                    static_cast<off_t>(uEnd + 1)};
  const bool blValid = isMailAddress(envelope.strFrom) && isMailAddress(envelope.strTo);
  return blValid ? std::optional(envelope) : std::nullopt;
}

Handover runMailProgram(const Envelope& envelope, int fdMessage, const RunLimits& limits) {
  // A new descriptor for the mail program: read-only, with its own file position.
  const std::string strOwn = "/proc/self/fd/" + std::to_string(fdMessage);
  const UniqueFd fdInput(open(strOwn.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fdInput || lseek(fdInput.get(), envelope.offsetMessage, SEEK_SET) < 0) {
    logError("cannot read the mail to %s: %s", envelope.strTo.c_str(), strerror(errno));
    return Handover::FAILED;
  }
  const std::string strProgram = serverSetting("mailprogram", PROGRAM_DEFAULT);
  const int iExit =
      strProgram.front() != '/'
          ? (errno = EINVAL, -1)
          : runProgram({strProgram, "-i", "-f", envelope.strFrom, "--", envelope.strTo}, fdInput.get(), -1, limits);
  if (iExit == 0) {
    return Handover::TAKEN;
  }
  if (iExit < 0) {
    logError("cannot hand over the mail for %s to %s: %s", envelope.strTo.c_str(), strProgram.c_str(),
             errno == EINTR ? "it was killed by a signal" : strerror(errno));
    return Handover::UNAVAILABLE;
  }
  logError("%s did not take the mail to %s, exit status %d", strProgram.c_str(), envelope.strTo.c_str(), iExit);
  return iExit == EXIT_DATA_ERROR || iExit == EXIT_NO_USER ? Handover::REFUSED : Handover::FAILED;
}

bool isTooOld(int fd) {
  struct stat status{};
  return fstat(fd, &status) == 0 && std::time(nullptr) - status.st_mtime > OUTBOX_SECONDS_MAX;
}

// Hands over one message of the outbox, and removes it when it was sent or refused.
Handover deliverEntry(const Outbox& outbox, const OutboxEntry& entry, const RunLimits& limits) {
  const auto envelope = readEnvelope(entry.fd());
  if (!envelope) {
    logError("%s in the outbox is no message, it is removed", entry.name().c_str());
    outbox.remove(entry);
    return Handover::REFUSED;
  }
  const Handover result = runMailProgram(*envelope, entry.fd(), limits);
  const bool blGivenUp = result != Handover::TAKEN && (result == Handover::REFUSED || isTooOld(entry.fd()));
  if (blGivenUp) {
    logError("dropped the mail for %s: the mail program refused it", envelope->strTo.c_str());
  }
  if (result == Handover::TAKEN || blGivenUp) {
    outbox.remove(entry);
  }
  return result;
}

void flush(const Outbox& outbox, const RunLimits& limits) {
  if (!outbox.lockAll()) {
    return;
  }
  for (const std::string& strName : outbox.names()) {
    const auto entry = outbox.lock(strName);
    // If the program is missing or hangs, it would fail for every message.
    if (entry && deliverEntry(outbox, *entry, limits) == Handover::UNAVAILABLE) {
      return;
    }
  }
}

// Hands over a message that the outbox cannot keep.
Handover deliverUnkept(int fdMessage, const RunLimits& limits) {
  const int iErrno = errno;
  const auto envelope = readEnvelope(fdMessage);
  const Handover result = envelope ? runMailProgram(*envelope, fdMessage, limits) : Handover::REFUSED;
  if (envelope && result != Handover::TAKEN) {
    logError("lost the mail for %s: cannot write it to the outbox: %s", envelope->strTo.c_str(), strerror(iErrno));
  }
  return result;
}

bool writeAll(int fd, std::string_view strText) {
  while (!strText.empty()) {
    const ssize_t cbWritten = write(fd, strText.data(), strText.size());
    if (cbWritten < 0 && errno == EINTR) {
      continue;
    }
    if (cbWritten <= 0) {
      return false;
    }
    strText.remove_prefix(static_cast<std::size_t>(cbWritten));
  }
  return true;
}

// Detaches this process from its parent's terminal, files and signals.
void becomeCourier(int& fdMessage) {
  setsid();
  prctl(PR_SET_NAME, "orvamail");
  struct sigaction action{};
  action.sa_handler = SIG_DFL;
  for (int iSignal = 1; iSignal < NSIG; ++iSignal) {
    sigaction(iSignal, &action, nullptr);
  }
  sigset_t set;
  sigemptyset(&set);
  sigprocmask(SIG_SETMASK, &set, nullptr);
  // Closing all descriptors below would also close syslog's socket, and another file could get its number.
  closelog();
  fdMessage = fcntl(fdMessage, F_DUPFD, STDERR_FILENO + 1);
  dup2(fdMessage, STDERR_FILENO + 1);
  fdMessage = STDERR_FILENO + 1;
  const int fdNull = open("/dev/null", O_RDWR);
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    dup2(fdNull, fd);
  }
  close_range(STDERR_FILENO + 2, ~0U, 0);
  fcntl(fdMessage, F_SETFD, FD_CLOEXEC);
  umask(0077);
  if (chdir("/") != 0) {
    logError("cannot enter /: %s", strerror(errno));
  }
}

[[noreturn]] void courierMain(int fdMessage) noexcept {
  becomeCourier(fdMessage);
  try {
    deliverAndFlush(fdMessage, COURIER_LIMITS);
  } catch (const std::exception& failure) {
    logError("mail: %s", failure.what());
  }
  _exit(0);
}

}  // namespace

int sendDetached(const std::string& strFrom, const std::string& strTo, const std::string& strMessage) {
  const UniqueFd fdMessage(memfd_create("orva-mail", MFD_CLOEXEC));
  if (!fdMessage || !writeAll(fdMessage.get(), strFrom + " " + strTo + "\n") ||
      !writeAll(fdMessage.get(), strMessage)) {
    return -1;
  }
  // The courier is a grandchild. Its parent ends at once and is reaped here.
  g_blForking = true;
  const pid_t pid = fork();
  if (pid != 0) {
    g_blForking = false;
  }
  if (pid == 0) {
    const pid_t pidCourier = fork();
    if (pidCourier == 0) {
      courierMain(fdMessage.get());
    }
    _exit(pidCourier < 0 ? 1 : 0);
  }
  if (pid < 0) {
    return -1;
  }
  int iStatus = 0;
  while (waitpid(pid, &iStatus, 0) < 0) {
    if (errno != EINTR) {
      // The caller's children are reaped elsewhere, so the result is unknown; assume success.
      return 0;
    }
  }
  if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) {
    errno = EAGAIN;
    return -1;
  }
  return 0;
}

void deliverAndFlush(int fdMessage, const RunLimits& limits) {
  const auto outbox = Outbox::open();
  const auto entry = outbox ? outbox->put(fdMessage) : std::nullopt;
  const Handover result = entry ? deliverEntry(*outbox, *entry, limits) : deliverUnkept(fdMessage, limits);
  // If the program took or refused this mail, it works again, so try the others. This also empties a full outbox.
  if (outbox && (result == Handover::TAKEN || result == Handover::REFUSED)) {
    flush(*outbox, limits);
  }
}

int flushOutbox(const RunLimits& limits) {
  const auto outbox = Outbox::open();
  if (!outbox) {
    return -1;
  }
  flush(*outbox, limits);
  return static_cast<int>(outbox->names().size());
}

}  // namespace orva

extern "C" int ORVAMailIsForking() {
  return orva::g_blForking ? 1 : 0;
}

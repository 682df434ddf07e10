// orvamailflush: tries to hand over all mail in the outbox. A timer runs it, and administrators who have repaired their
// mail program.

#include <cstdio>
#include <string_view>

#include "mail/courier.h"

int main(int argc, char** argv) {
  if (argc == 2 && std::string_view(argv[1]) == "--help") {
    std::puts(
        "Usage: orvamailflush\nTries to send all mail in /var/spool/orva/outbox.\n"
        "Exit status: 0 no mail is waiting, 1 some mail still waits, 2 wrong usage.");
    return 0;
  }
  if (argc != 1) {
    std::fputs("orvamailflush: unexpected argument; see orvamailflush --help\n", stderr);
    return 2;
  }
  const int cWaiting = orva::flushOutbox(orva::COURIER_LIMITS);
  if (cWaiting < 0) {
    std::perror("orvamailflush: cannot open the outbox");
    return 1;
  }
  std::printf("%d mail%s waiting\n", cWaiting, cWaiting == 1 ? "" : "s");
  return cWaiting == 0 ? 0 : 1;
}

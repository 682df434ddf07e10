#include "support/last_error.h"

#include "orva_platform.h"

namespace {

struct LastError {
  int iCode = 0;
  const char* szFile = "";
  int iLine = 0;
};

thread_local LastError lastError;

}  // namespace

void setLastError(int iCode, const char* szFile, int iLine) {
  lastError = {iCode, szFile, iLine};
}

int KLIBCErrGet() {
  return lastError.iCode;
}

const char* KLIBCErrorGetFile() {
  return lastError.szFile;
}

int KLIBCErrorGetLine() {
  return lastError.iLine;
}

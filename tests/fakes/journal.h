/// \file journal.h
/// The calls and lines of a test process and its children, in order.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace OrvaTest {

/// A list in memory shared with the forked children of the test, so that the test sees their lines and calls.
class Journal {
public:
  enum class Kind : std::uint8_t {
    PLATFORM,      ///< a call into the platform
    SYSTEM,        ///< a call into the C library or SQLite
    SYSLOG,        ///< a line given to syslog
    STDOUT,        ///< text written to standard output
    CHILD_RETURN,  ///< a child returned from a call that should have ended it
  };

  struct Entry {
    Kind kind;
    int iPriority;  ///< of a line given to syslog
    int iErrno;     ///< `errno` at that moment
    pid_t pid;
    std::string strText;
  };

  Journal();
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  /// Adds an entry of the calling process. Does not change `errno`, takes no lock.
  void append(Kind kind, const std::string& strText, int iErrno = 0, int iPriority = 0);

  std::vector<Entry> entries() const;
  void clear();
  /// Counts the calls of clear().
  int generation() const { return m_iGeneration; }

  /// Counts the faults that were injected, in this process and its children.
  void countFault() { m_pHeader->cFaults.fetch_add(1); }
  int faults() const { return m_pHeader->cFaults.load(); }

private:
  struct Header {
    std::atomic<size_t> cbUsed;
    std::atomic<int> cFaults;
  };
  struct Record {
    std::atomic<size_t> cbText;  // one more than the text has; 0 until the record is complete
    size_t cbRecord;
    Kind kind;
    int iPriority;
    int iErrno;
    pid_t pid;
  };

  char* data() const { return reinterpret_cast<char*>(m_pHeader) + sizeof(Header); }

  Header* m_pHeader;
  int m_iGeneration = 0;
};

}  // namespace OrvaTest

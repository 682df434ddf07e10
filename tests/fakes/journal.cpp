#include "fakes/journal.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <sys/mman.h>
#include <unistd.h>

namespace OrvaTest {

namespace {

// Only reserved; memory is used when pages are written.
constexpr size_t CB_JOURNAL = size_t{256} << 20U;

size_t alignedSize(size_t cb) {
  return (cb + 15U) & ~size_t{15};
}

}  // namespace

Journal::Journal() {
  void* pMemory =
      ::mmap(nullptr, CB_JOURNAL, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (pMemory == MAP_FAILED) {
    throw std::runtime_error("cannot map the journal");
  }
  m_pHeader = new (pMemory) Header{};
}

Journal::~Journal() {
  ::munmap(m_pHeader, CB_JOURNAL);
}

void Journal::append(Kind kind, const std::string& strText, int iErrno, int iPriority) {
  const int iErrnoBefore = errno;
  const size_t cbRecord = alignedSize(sizeof(Record) + strText.size());
  const size_t cbOffset = m_pHeader->cbUsed.fetch_add(cbRecord);
  if (sizeof(Header) + cbOffset + cbRecord + sizeof(Record) > CB_JOURNAL) {
    static const char szFull[] = "the journal of the fakes is full: does something loop?\n";
    [[maybe_unused]] const ssize_t cb = ::write(2, szFull, sizeof(szFull) - 1);
    std::abort();
  }
  auto* pRecord = new (data() + cbOffset) Record{{0}, cbRecord, kind, iPriority, iErrno, ::getpid()};
  std::memcpy(reinterpret_cast<char*>(pRecord + 1), strText.data(), strText.size());
  pRecord->cbText.store(strText.size() + 1, std::memory_order_release);
  errno = iErrnoBefore;
}

std::vector<Journal::Entry> Journal::entries() const {
  std::vector<Entry> entries;
  const size_t cbUsed = m_pHeader->cbUsed.load();
  for (size_t cbOffset = 0; cbOffset < cbUsed;) {
    const auto* pRecord = reinterpret_cast<const Record*>(data() + cbOffset);
    const size_t cbText = pRecord->cbText.load(std::memory_order_acquire);
    if (cbText == 0) {
      break;  // a child is writing it now, or died while writing it
    }
    entries.push_back({pRecord->kind, pRecord->iPriority, pRecord->iErrno, pRecord->pid,
                       std::string(reinterpret_cast<const char*>(pRecord + 1), cbText - 1)});
    cbOffset += pRecord->cbRecord;
  }
  return entries;
}

void Journal::clear() {
  std::memset(data(), 0, m_pHeader->cbUsed.load());
  m_pHeader->cbUsed.store(0);
  m_pHeader->cFaults.store(0);
  ++m_iGeneration;
}

}  // namespace OrvaTest

#include "record_store/lasting_text.h"

#include <mutex>
#include <set>

namespace record_store {
namespace {

constexpr std::size_t MAX_TEXTS = 512;
constexpr std::size_t MAX_LENGTH = 32;

struct Texts {
  std::mutex mutex;
  std::set<std::string, std::less<>> names;
  std::set<std::string, std::less<>> texts;
};

Texts& lasting() {
  static auto& texts = *new Texts;
  return texts;
}

}  // namespace

const char* lastingName(const std::string& strName) {
  const std::lock_guard<std::mutex> lock(lasting().mutex);
  return lasting().names.insert(strName).first->c_str();
}

const char* lastingText(std::string_view strText) {
  if (strText.size() > MAX_LENGTH || strText.find('\0') != std::string_view::npos) {
    return nullptr;
  }
  const std::lock_guard<std::mutex> lock(lasting().mutex);
  auto& texts = lasting().texts;
  const auto found = texts.find(strText);
  if (found != texts.end()) {
    return found->c_str();
  }
  return texts.size() < MAX_TEXTS ? texts.emplace(strText).first->c_str() : nullptr;
}

const char* RepeatedText::find(std::string_view strText) {
  if (strText.size() > MAX_LENGTH) {
    return nullptr;
  }
  if (strText != m_strLast) {
    m_strLast = strText;
    m_szLasting = nullptr;
    m_blAsked = false;
    return nullptr;
  }
  if (!m_blAsked) {
    m_szLasting = lastingText(strText);
    m_blAsked = true;
  }
  return m_szLasting;
}

}  // namespace record_store

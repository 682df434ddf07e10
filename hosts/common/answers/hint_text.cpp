#include "hint_text.h"

namespace Host {

namespace {

const char* hintText(Hint hint) {
  switch (hint) {
    case Hint::CREATE_STORE:
      return "; create it with: eorva init";
    case Hint::LIST_EVENTS:
      return "; list the events with: eorva event list";
    case Hint::NONE:
      break;
  }
  return "";
}

}  // namespace

std::string failureText(const Failure& failure) {
  return std::string(failure.what()) + hintText(failure.hint());
}

}  // namespace Host

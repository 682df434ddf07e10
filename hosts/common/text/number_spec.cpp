#include "number_spec.h"

#include <charconv>
#include <limits>

namespace Host {

std::optional<std::uint64_t> numberFrom(std::string_view strText) {
  std::uint64_t iValue = 0;
  const auto [pEnd, code] = std::from_chars(strText.data(), strText.data() + strText.size(), iValue);
  const bool blWhole = code == std::errc() && pEnd == strText.data() + strText.size();
  return blWhole ? std::optional(iValue) : std::nullopt;
}

std::optional<std::uint64_t> sizeFrom(std::string_view strText) {
  constexpr std::string_view UNITS = "KMGT";
  const std::size_t iUnit = strText.empty() ? std::string_view::npos : UNITS.find(strText.back());
  const bool blUnit = iUnit != std::string_view::npos;
  const std::size_t cShift = blUnit ? 10 * (iUnit + 1) : 0;
  const std::optional<std::uint64_t> count = numberFrom(strText.substr(0, strText.size() - (blUnit ? 1 : 0)));
  constexpr auto MAX_SIZE = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  return count && *count <= MAX_SIZE >> cShift ? std::optional(*count << cShift) : std::nullopt;
}

}  // namespace Host

#include "twin/kernel/duration_text.h"

#include <array>
#include <charconv>
#include <cmath>

namespace twin {

namespace {

struct Unit {
  std::string_view name;
  Duration length;
};
constexpr std::array<Unit, 6> units = {{{"ns", 1ns}, {"us", 1us}, {"ms", 1ms}, {"s", 1s}, {"min", 1min}, {"h", 1h}}};
constexpr Duration kLongest = 1000h;

}  // namespace

std::optional<Duration> ReadDuration(std::string_view text) {
  double number = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (error != std::errc{} || !std::isfinite(number) || number < 0) return std::nullopt;
  const std::string_view name = text.substr(static_cast<size_t>(rest - text.data()));
  for (const Unit& unit : units) {
    if (unit.name != name) continue;
    const double length = number * static_cast<double>(unit.length.count());
    if (length > static_cast<double>(kLongest.count())) return std::nullopt;
    return Duration(std::llround(length));
  }
  return std::nullopt;
}

std::string DurationText(Duration duration) {
  size_t unit = 3;
  while (unit > 0 && duration % units[unit].length != 0ns) unit--;
  return std::to_string(duration / units[unit].length) + std::string(units[unit].name);
}

}  // namespace twin

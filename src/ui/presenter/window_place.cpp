// SPDX-License-Identifier: MIT
#include "ui/presenter/window_place.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

#include "config/ascii.h"

namespace quillbeaker {
namespace {

constexpr std::string_view kPlace = "Place";
constexpr std::string_view kSize = "Size";
constexpr std::string_view kDpi = "Dpi";
constexpr std::string_view kColumns = "Columns";
constexpr std::string_view kSort = "Sort";

// The coordinates that a desktop has are 16 bits wide with a sign.
constexpr int kFarthest = 32767;
constexpr int kLeastDpi = 48;
constexpr int kMostDpi = 960;
constexpr std::size_t kMostColumns = 64;

std::optional<int> Number(std::string_view text, int least, int most) {
  text = TrimBlanks(text);
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < least || number > most) return {};
  return number;
}

// Numbers between commas; nothing when one of them is none, is out of its limits or there are too many.
std::vector<int> Numbers(std::string_view text, int least, int most) {
  std::vector<int> numbers;
  for (bool is_last = false; !is_last;) {
    const std::size_t comma = text.find(',');
    is_last = comma == std::string_view::npos;
    const auto number = Number(text.substr(0, comma), least, most);
    if (!number || numbers.size() == kMostColumns) return {};
    numbers.push_back(*number);
    if (!is_last) text.remove_prefix(comma + 1);
  }
  return numbers;
}

std::string Joined(std::span<const int> numbers) {
  std::string text;
  for (const int number : numbers) text += (text.empty() ? "" : ",") + std::to_string(number);
  return text;
}

int Scaled(int length, int from_dpi, int to_dpi) {
  return static_cast<int>((std::int64_t{length} * to_dpi + from_dpi / 2) / from_dpi);
}

ScreenSize Scaled(ScreenSize size, int from_dpi, int to_dpi) {
  return {Scaled(size.width, from_dpi, to_dpi), Scaled(size.height, from_dpi, to_dpi)};
}

int Overlap(int a, int a_length, int b, int b_length) {
  return std::max(0, std::min(a + a_length, b + b_length) - std::max(a, b));
}

std::int64_t Overlap(const ScreenArea& a, const ScreenArea& b) {
  return std::int64_t{Overlap(a.corner.x, a.size.width, b.corner.x, b.size.width)} *
         Overlap(a.corner.y, a.size.height, b.corner.y, b.size.height);
}

// The largest share of the window decides; the first screen wins where it is on none.
const Screen& ScreenOf(const ScreenArea& window, std::span<const Screen> screens) {
  return *std::max_element(screens.begin(), screens.end(), [&window](const Screen& a, const Screen& b) {
    return Overlap(a.work, window) < Overlap(b.work, window);
  });
}

int Inside(int from, int length, int area_from, int area_length) {
  return std::max(area_from, std::min(from, area_from + area_length - length));
}

}  // namespace

WindowPlace ReadWindowPlace(const IniFile& file, std::string_view window) {
  const auto document = file.Read();
  const auto text = [&](std::string_view key) { return document->Find(window, key).value_or(""); };
  WindowPlace place;
  if (const auto corner = Numbers(text(kPlace), -kFarthest, kFarthest); corner.size() == 2)
    place.corner = {corner[0], corner[1]};
  if (const auto order = Numbers(text(kSort), 0, static_cast<int>(kMostColumns)); order.size() == 2)
    place.order = {static_cast<std::size_t>(order[0]), order[1] != 0};
  const auto dpi = Number(text(kDpi), kLeastDpi, kMostDpi);
  if (!dpi) return place;  // without it the lengths mean nothing
  place.dpi = *dpi;
  if (const auto size = Numbers(text(kSize), 1, kFarthest); size.size() == 2) place.size = {size[0], size[1]};
  place.columns = Numbers(text(kColumns), 0, kFarthest);
  return place;
}

bool WriteWindowPlace(IniFile& file, std::string_view window, const WindowPlace& place) {
  const std::string section(window);
  std::vector<IniChange> changes;
  const auto set = [&](std::string_view key, bool is_known, std::span<const int> numbers) {
    changes.push_back({section, std::string(key), std::nullopt});
    if (is_known) changes.back().value = Joined(numbers);
  };
  const ScreenPoint corner = place.corner.value_or(ScreenPoint{});
  const ScreenSize size = place.size.value_or(ScreenSize{});
  const SortOrder order = place.order.value_or(SortOrder{});
  set(kPlace, place.corner.has_value(), std::vector{corner.x, corner.y});
  set(kSize, place.size.has_value(), std::vector{size.width, size.height});
  set(kColumns, !place.columns.empty(), place.columns);
  set(kDpi, place.size || !place.columns.empty(), std::vector{place.dpi});
  set(kSort, place.order.has_value(),
      std::vector{static_cast<int>(order.column), static_cast<int>(order.is_descending)});
  return file.Write(changes);
}

std::optional<ScreenArea> PlaceOnScreens(const WindowPlace& place, ScreenSize made, ScreenSize least,
                                         int made_dpi, std::span<const Screen> screens) {
  if (!place.corner || screens.empty() || made_dpi <= 0) return std::nullopt;
  const ScreenSize was = place.size.value_or(made);
  const Screen& screen = ScreenOf({*place.corner, was}, screens);
  ScreenSize size = Scaled(made, made_dpi, screen.dpi);
  if (place.size) {
    const ScreenSize wanted = Scaled(was, place.dpi, screen.dpi);
    const ScreenSize smallest = Scaled(least, made_dpi, screen.dpi);
    size.width = std::max(smallest.width, std::min(wanted.width, screen.work.size.width));
    size.height = std::max(smallest.height, std::min(wanted.height, screen.work.size.height));
  }
  const auto& [corner, room] = screen.work;
  return ScreenArea{{Inside(place.corner->x, size.width, corner.x, room.width),
                     Inside(place.corner->y, size.height, corner.y, room.height)},
                    size};
}

std::vector<int> ColumnsFor(const WindowPlace& place, std::size_t columns, int dpi) {
  if (place.columns.size() != columns) return {};
  std::vector<int> widths;
  for (const int width : place.columns) widths.push_back(Scaled(width, place.dpi, dpi));
  return widths;
}

void SortAs(ListRows& rows, const SortOrder& order) {
  if (order.column >= rows.Columns().size()) return;
  // A second time for the other direction.
  for (int i = 0; i < 2 && rows.Order() != order; ++i) rows.SortBy(order.column);
}

}  // namespace quillbeaker

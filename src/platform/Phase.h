// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvspc {

// Stage     a state of the process, such as after a new tool
// Trial     the same, of something that is tried
// Excluded  subgroups that are drawn and count for nothing
enum class PhaseKind : std::uint8_t { Stage, Trial, Excluded };

// By value: "stage", "trial", "excluded".
inline constexpr std::string_view kPhaseKindWords[] = {"stage", "trial", "excluded"};
constexpr std::string_view WordOf(PhaseKind kind) {
  return kPhaseKindWords[static_cast<std::size_t>(kind)];
}

// A stretch of time with limits of its own, from start up to and without finish.
struct Phase {
  std::int32_t id = 0;
  std::int32_t part = 0, process = 0, test = 0;  // 0: any
  std::int32_t start = 0;
  std::optional<std::int32_t> finish;  // none: it goes on
  std::string name, reason;
  PhaseKind kind = PhaseKind::Stage;
  std::int32_t freeze_after = 0;  // its calculated limits are those of so many points; 0: of all
  std::string who;                // who added it, and when
  std::int32_t made = 0;

  bool Holds(std::int32_t time) const { return start <= time && (!finish || time < *finish); }
  bool Counts() const { return kind != PhaseKind::Excluded; }
};

}  // namespace orvspc

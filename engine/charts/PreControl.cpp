// SPDX-License-Identifier: Apache-2.0
#include "engine/charts/PreControl.h"

#include <cmath>

#include "engine/catalogue/limits.h"
#include "platform/NaN.h"

namespace orvspc::engine::charts {
namespace {

// Of two pieces as far from the target, the first.
double Farthest(std::span<const double> pieces, double target) {
  double farthest = platform::kNaN;
  if (std::isnan(target)) return farthest;
  double distance = -1.0;
  for (const double piece : pieces) {
    if (std::fabs(piece - target) > distance) {
      distance = std::fabs(piece - target);
      farthest = piece;
    }
  }
  return farthest;
}

}  // namespace

bool FillPreControl(const PreControlInput& input, std::span<double> points,
                    std::span<std::uint32_t> marks) {
  catalogue::EffectiveRows rows(input.specs);
  store::PieceReader reader(input.data);
  std::vector<statistics::PieceZone> zones;
  std::vector<std::size_t> place_of;  // of each zone
  bool any = false;
  for (auto place = input.stream.begin; place < input.stream.end; ++place) {
    const auto subgroup = input.table.SubgroupAt(place);
    const auto* const row = rows.At(input.data.subgroups[subgroup].Sgtm);
    const auto spec = row == nullptr ? catalogue::SpecLimits() : catalogue::SpecLimitsOf(*row);
    const auto lines = statistics::PreControlLinesOf(spec.lsl, spec.target, spec.usl);
    const auto pieces = reader.Pieces(subgroup);
    points[place] = Farthest(pieces, lines.target);
    marks[place] = 0;
    any = any || !std::isnan(lines.target);
    if (!input.table.IsUsed(place)) continue;
    for (const double piece : pieces) {
      zones.push_back(statistics::ZoneOf(piece, spec.lsl, spec.target, spec.usl));
      place_of.push_back(place);
    }
  }
  std::vector<std::uint32_t> piece_marks(zones.size());
  statistics::EvaluatePreControl(zones, input.rules, piece_marks);
  for (std::size_t i = 0; i < zones.size(); ++i) marks[place_of[i]] |= piece_marks[i];
  return any;
}

}  // namespace orvspc::engine::charts
